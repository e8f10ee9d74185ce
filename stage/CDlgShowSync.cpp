// Synchronous play: several windows play their files in lock step by the
// global time embedded in the files. The stage keeps the members, their
// ranges and the time math; the engine keeps the members' pictures together
// once their ports are in one group.

#include "CDlgShow.h"

#include <QDebug>

#include "CLanguageParser.h"
#include "CPlayHelper.h"
#include "CPlayWnd.h"
#include "LanguageKeys.h"
#include "NonModalMessageBox.h"

namespace {

QString SyncText(const char* szKey, const char* szDefault) {
    QString strText;
    CLanguageParser::FindString(szKey, strText, szDefault);
    return strText;
}

bool IsActiveState(int nState) {
    return nState == 1 || nState == 2;
}

} // namespace

void CDlgShow::ShowNoSyncTimeMessage() {
    NonModalMessageBox::MsgBox(
        m_pMainDlg, SyncText(IDS_Global_Information, "Information"),
        SyncText(IDS_PlayWnd_FilesHasNoSyncTime, "Files has no synchronous time, can not play!"));
}

void CDlgShow::BuildSyncDaySpan(TAVRIX_SYSTEM_TIME* pstDayBegin, TAVRIX_SYSTEM_TIME* pstDayEnd) const {
    // The ruler shows whole days: 100 % is the last second of the last file's
    // day, not the end of that file.
    const TAVRIX_SYSTEM_TIME& stFirst = m_stSyncFirstFile.stBegin;
    const TAVRIX_SYSTEM_TIME& stLast = m_stSyncLastFile.stEnd;
    *pstDayBegin = {stFirst.nYear, stFirst.nMonth, stFirst.nDay, 0, 0, 0, 0};
    *pstDayEnd = {stLast.nYear, stLast.nMonth, stLast.nDay, 23, 59, 59, 0};
}

bool CDlgShow::SwitchSyncPlay() {
    if (m_bSyncPlay) {
        SetSyncPlayMode(false);
        emit Sig_UpdateCtrlStatus();
        return true;
    }

    std::vector<QString> vecFiles;
    for (CPlayWnd* pWnd : m_pPlayWnd) {
        if (!pWnd || !IsActiveState(pWnd->GetPlayState()))
            continue;
        // Only local files carry a global time the group can follow.
        if (pWnd->GetOpenMode() != 1) {
            ShowNoSyncTimeMessage();
            return false;
        }
        vecFiles.push_back(pWnd->GetFilePath());
    }
    // The group's own ranges change only once the files are accepted.
    FILE_INFO_SYNC stFirst{};
    FILE_INFO_SYNC stLast{};
    std::vector<FILE_INFO_SYNC> vecRanges;
    if (!CPlayHelper::IsSynchronizeFiles(vecFiles, &stFirst, &stLast, vecRanges) ||
        vecRanges.size() != vecFiles.size()) {
        ShowNoSyncTimeMessage();
        return false;
    }
    m_stSyncFirstFile = stFirst;
    m_stSyncLastFile = stLast;

    SetSyncPlayMode(true);
    for (bool& bActive : m_bSyncWndActive)
        bActive = false;
    // A stopped window would hold a file that takes no part: it goes.
    for (CPlayWnd* pWnd : m_pPlayWnd) {
        if (pWnd && pWnd->GetPlayState() == 3)
            pWnd->Close();
    }
    m_vecSyncFiles.clear();

    size_t j = 0;
    for (int i = 0; i < MAX_PLAY_WND && j < vecRanges.size(); ++i) {
        CPlayWnd* pWnd = m_pPlayWnd[i];
        if (!pWnd || !IsActiveState(pWnd->GetPlayState()))
            continue;
        const QString strPath = pWnd->GetFilePath();
        const QString strKey = pWnd->GetSecretKey();
        const FILE_INFO_SYNC stRange = vecRanges[j++];
        // A fresh port joins the group from the start of its file; the group
        // clock then decides what each member shows.
        pWnd->Close();
        if (!pWnd->OpenFile(strPath, strKey))
            continue;
        if (!pWnd->SetSyncGroup(true))
            continue; // plays on by itself, outside the group
        m_bSyncWndActive[i] = true;
        SYNC_WND_FILE stRow;
        stRow.nWndIndex = i;
        stRow.lPort = pWnd->GetPort();
        stRow.strFilePath = strPath;
        stRow.stFileTime = stRange;
        stRow.nBeginStamp = CPlayHelper::GetGlobalTimeStamp(&stRange.stBegin);
        stRow.nEndStamp = CPlayHelper::GetGlobalTimeStamp(&stRange.stEnd);
        m_vecSyncFiles.push_back(stRow);
    }
    // All start together; a window without a file simply refuses.
    for (CPlayWnd* pWnd : m_pPlayWnd) {
        if (pWnd)
            pWnd->Play(false);
    }
    emit Sig_UpdateCtrlStatus();
    return true;
}

bool CDlgShow::SetSyncPlayMode(bool bOn) {
    if (m_bSyncPlay == bOn)
        return true;
    m_bSyncPlay = bOn;
    if (!bOn) {
        for (int i = 0; i < MAX_PLAY_WND; ++i) {
            CPlayWnd* pWnd = m_pPlayWnd[i];
            m_bSyncWndActive[i] = false;
            if (!pWnd)
                continue;
            if (pWnd->IsSyncGroup())
                pWnd->SetSyncGroup(false);
            // Every former member goes on alone from where it stands, a paused
            // one too: pause first so that Play restarts it on its own clock.
            if (IsActiveState(pWnd->GetPlayState())) {
                pWnd->Pause();
                pWnd->Play(false);
            }
        }
    }
    emit Sig_UpdateCtrlStatus();
    return true;
}

bool CDlgShow::GetSyncPlayPrecent(double* pdPrecent, TAVRIX_SYSTEM_TIME* pstTime) {
    if (!m_bSyncPlay || !pdPrecent || !pstTime)
        return false;
    TAVRIX_SYSTEM_TIME stDayBegin;
    TAVRIX_SYSTEM_TIME stDayEnd;
    BuildSyncDaySpan(&stDayBegin, &stDayEnd);
    *pdPrecent = 1.0;

    // The group stands where its latest-behind active member stands; on equal
    // places the earlier row speaks.
    for (const SYNC_WND_FILE& stRow : m_vecSyncFiles) {
        const int i = stRow.nWndIndex;
        CPlayWnd* pWnd = (i >= 0 && i < MAX_PLAY_WND) ? m_pPlayWnd[i] : nullptr;
        if (!pWnd) {
            qDebug("CDlgShow::GetSyncPlayPrecent() m_pPlayWnd[%d] == NULL", i);
            continue;
        }
        if (!IsActiveState(pWnd->GetPlayState()) || !m_bSyncWndActive[i])
            continue;
        TAVRIX_SYSTEM_TIME stTime;
        if (!pWnd->GetCurGlobalTime(&stTime)) {
            qDebug("!m_pPlayWnd[%d]->GetCurGlobalTime()", i);
            continue;
        }
        double dPrecent = 0.0;
        if (!CPlayHelper::GetPrecentByGlobalTime(&stTime, dPrecent, &stDayBegin, &stDayEnd)) {
            qDebug("!CPlayHelper::GetPrecentByGlobalTime");
            continue;
        }
        if (dPrecent < *pdPrecent) {
            *pdPrecent = dPrecent;
            *pstTime = stTime;
        }
    }
    // No active member: the group stands at the end of its last file.
    if (*pdPrecent == 1.0) {
        *pstTime = m_stSyncLastFile.stEnd;
        CPlayHelper::GetPrecentByGlobalTime(pstTime, *pdPrecent, &stDayBegin, &stDayEnd);
    }
    return true;
}

bool CDlgShow::SetSyncPlayPrecent(double dPrecent) {
    if (!m_bSyncPlay)
        return false;
    TAVRIX_SYSTEM_TIME stDayBegin;
    TAVRIX_SYSTEM_TIME stDayEnd;
    BuildSyncDaySpan(&stDayBegin, &stDayEnd);
    TAVRIX_SYSTEM_TIME stTarget;
    if (!CPlayHelper::GetGlobalTimeByPrecent(dPrecent, &stTarget, &stDayBegin, &stDayEnd))
        return false;
    // The empty parts of the first and the last day cannot be jumped to.
    if (!CPlayHelper::IsOneTimeEarly(&m_stSyncFirstFile.stBegin, &stTarget) ||
        !CPlayHelper::IsOneTimeEarly(&stTarget, &m_stSyncLastFile.stEnd))
        return false;

    const int nOldState = GetPlayState();
    for (const SYNC_WND_FILE& stRow : m_vecSyncFiles) {
        CPlayWnd* pWnd = GetPlayWnd(stRow.nWndIndex);
        if (pWnd && pWnd->GetPlayState() == 1)
            pWnd->Pause();
    }

    // A jump on one member moves the whole group to the global time of that
    // place, and members before their begin or past their end follow the group
    // clock by themselves (dark until their moment, or on their last frame).
    // So only members whose file holds the target are sent there, each with the
    // same global time; a start or end jump of one member would drag the group
    // to that member's begin or end instead.
    const SYNC_WND_FILE* pFirstAhead = nullptr; // the member that begins soonest after the target
    bool bMoved = false;
    bool bHeld = false; // some member's file holds the target
    for (const SYNC_WND_FILE& stRow : m_vecSyncFiles) {
        const int i = stRow.nWndIndex;
        CPlayWnd* pWnd = GetPlayWnd(i);
        if (!pWnd || pWnd->GetPlayState() != 2)
            continue;
        const TAVRIX_SYSTEM_TIME& stBegin = stRow.stFileTime.stBegin;
        const TAVRIX_SYSTEM_TIME& stEnd = stRow.stFileTime.stEnd;
        if (!CPlayHelper::IsOneTimeEarly(&stBegin, &stTarget)) {
            if (!pFirstAhead || CPlayHelper::IsOneTimeEarly(&stBegin, &pFirstAhead->stFileTime.stBegin))
                pFirstAhead = &stRow;
        } else if (CPlayHelper::IsOneTimeEarly(&stTarget, &stEnd)) {
            bHeld = true;
            bMoved = pWnd->SetTimePosMS(CPlayHelper::GetTimeSpanMS(&stBegin, &stTarget)) || bMoved;
        }
    }
    // The target lies in a gap between files: the group goes on where the next
    // file begins.
    if (!bHeld && pFirstAhead) {
        CPlayWnd* pWnd = GetPlayWnd(pFirstAhead->nWndIndex);
        qDebug("CDlgShow::SetSyncPlayPrecent() GoToStart() nSubIndex=%d, lPort=%d", pFirstAhead->nWndIndex,
               pWnd ? pWnd->GetPort() : -1);
        bMoved = pWnd && pWnd->GoToStart();
    }
    if (!bMoved) {
        // Nothing moved (the frame indexes are not ready): the group stays
        // where it was, and so do the flags.
        if (nOldState == 1) {
            for (const SYNC_WND_FILE& stRow : m_vecSyncFiles) {
                CPlayWnd* pWnd = GetPlayWnd(stRow.nWndIndex);
                if (pWnd && m_bSyncWndActive[stRow.nWndIndex])
                    pWnd->Resume();
            }
        }
        return false;
    }
    // Every member is where the group's time puts it: before its begin it
    // waits for its moment, past its end it is parked there. An end it had
    // reported may come again.
    for (const SYNC_WND_FILE& stRow : m_vecSyncFiles) {
        const int i = stRow.nWndIndex;
        CPlayWnd* pWnd = GetPlayWnd(i);
        if (!pWnd || pWnd->GetPlayState() != 2)
            continue;
        m_bSyncWndActive[i] = CPlayHelper::IsOneTimeEarly(&stTarget, &stRow.stFileTime.stEnd);
        pWnd->RearmFileEnd();
    }
    // A member parked at its end stays paused; a paused group stays paused.
    if (nOldState == 1) {
        for (const SYNC_WND_FILE& stRow : m_vecSyncFiles) {
            CPlayWnd* pWnd = GetPlayWnd(stRow.nWndIndex);
            if (pWnd && m_bSyncWndActive[stRow.nWndIndex])
                pWnd->Resume();
        }
    }
    return true;
}

bool CDlgShow::GetSyncPlayInfo(std::vector<SYNC_WND_FILE*>& vecFiles, FILE_INFO_SYNC* pFirst,
                               FILE_INFO_SYNC* pLast) {
    if (!pFirst || !pLast)
        return false;
    for (const SYNC_WND_FILE& stRow : m_vecSyncFiles)
        vecFiles.push_back(new SYNC_WND_FILE(stRow));
    *pFirst = m_stSyncFirstFile;
    *pLast = m_stSyncLastFile;
    return true;
}
