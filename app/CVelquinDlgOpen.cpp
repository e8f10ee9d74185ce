// The main dialog: opening files in the play windows and what follows the end
// of a file. A window reads its file on a worker thread, so an open here only
// starts; the rest (the row's mark, sound, the saved position, the timer)
// follows in On_WndOpenFinished when the window plays or has failed.

#include "CVelquinDlg.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QTimer>
#include <QUrl>

#include "CDlgShow.h"
#include "CPlaylist.h"
#include "OpenInfo.h"

namespace {

const int MAX_PLAY_WND = 16;
const int PLAYER_TIMER_MS = 500;

bool IsActiveState(int nState) {
    return nState == 1 || nState == 2;
}

} // namespace

bool CVelquinDlg::OpenFileList(QStringList lstPaths) {
    if (lstPaths.isEmpty() || !m_pDlgShow || !m_pPlaylist)
        return false;
    // Several paths move the selection window by window; the controls follow
    // the last one only.
    HoldSelReaction(true);
    for (int i = 0; i < lstPaths.size(); ++i) {
        if (IsPlaylistFull()) {
            ShowListFullMessage();
            break;
        }
        // A fresh request per path: a key read from one row must not reach the
        // next file's new row. What a row knows (type, key, flags) is read below.
        OpenInfo stInfo;
        stInfo.strFilePath = lstPaths.at(i);
        // A stream address becomes a URL row: the thumbnail thread, which reads
        // files, never sees it.
        if (IsStreamUrl(QUrl(stInfo.strFilePath))) {
            stInfo.nMediaType = 2;
            m_pPlaylist->AddUrl(&stInfo);
        } else {
            stInfo.nMediaType = 1;
            m_pPlaylist->AddFile(&stInfo);
        }
        const int nRow = m_pPlaylist->GetRowByPath(stInfo.strFilePath);
        if (nRow < 0)
            continue;
        m_pPlaylist->GetOpenInfo(nRow, &stInfo);
        if (lstPaths.size() == 1) {
            HoldSelReaction(false);
            return On_OpenFileInSelWnd(&stInfo);
        }
        // Several paths fill the windows from the first on; the rest only join the list.
        if (i < m_pDlgShow->GetPlayWndNum()) {
            m_pDlgShow->On_ChangeSelWnd(i);
            PlayFileInWnd(i, &stInfo);
        }
    }
    HoldSelReaction(false);
    return true;
}

void CVelquinDlg::HoldSelReaction(bool bHold) {
    m_bHoldSelReaction = bHold;
    if (bHold || !m_bSelReactionPending)
        return;
    m_bSelReactionPending = false;
    if (m_pDlgShow)
        On_ChangeSelectWnd(m_pDlgShow->GetSelWndIndex());
}

bool CVelquinDlg::PlayFileInWnd(int nWnd, OpenInfo* pOpenInfo) {
    if (!m_pDlgShow || !m_pPlaylist || nWnd < 0 || nWnd >= MAX_PLAY_WND || !pOpenInfo)
        return false;
    if (m_pDlgShow->IsSyncPlay())
        return false;

    // The file that leaves this window no longer shows progress in its row, unless
    // another window still plays it.
    const QString strLeaving = m_pDlgShow->GetWndFilePath(nWnd);
    if (CountActiveWndsWithPath(strLeaving, nWnd) == 0)
        ClearRowProgress(strLeaving);

    pOpenInfo->bHardDecode = m_stPlayerCfg.bStartHardDecodeEngine;
    const bool bSelected = (nWnd == m_pDlgShow->GetSelWndIndex());
    m_stPendingOpen[nWnd] = PendingOpen();
    if (!m_pDlgShow->OpenFileInWndAsync(nWnd, pOpenInfo)) {
        // The window reports the failure itself; the row says it cannot be played.
        m_pPlaylist->MarkInvalidFile(pOpenInfo->strFilePath, true);
        if (bSelected)
            On_UpdateCtrlsState();
        return false;
    }
    m_stPendingOpen[nWnd].bActive = true;
    m_stPendingOpen[nWnd].stInfo = *pOpenInfo;
    // The window holds nothing while its file is read.
    if (bSelected && !m_bHoldSelReaction)
        On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_WndOpenFinished(int nWnd, bool bOk) {
    if (!m_pDlgShow || !m_pPlaylist || nWnd < 0 || nWnd >= MAX_PLAY_WND)
        return false;
    PendingOpen stPending = m_stPendingOpen[nWnd];
    m_stPendingOpen[nWnd] = PendingOpen();
    // An open this dialog did not ask for, or one for a file the window no
    // longer shows, has nothing to finish here.
    if (!stPending.bActive ||
        QDir::toNativeSeparators(stPending.stInfo.strFilePath) != m_pDlgShow->GetWndFilePath(nWnd))
        return false;
    if (bOk)
        return FinishPlayFileInWnd(nWnd, &stPending.stInfo);

    m_pPlaylist->MarkInvalidFile(stPending.stInfo.strFilePath, true);
    if (nWnd == m_pDlgShow->GetSelWndIndex())
        On_UpdateCtrlsState();
    // A row the play mode chose at the end of a file: the search goes on past it.
    if (stPending.bFromEndSearch && !m_pDlgShow->IsSyncPlay()) {
        PlayNextRow(nWnd, stPending.strEndedPath, stPending.nNextRow, stPending.nVisits);
        UpdateSyncBtnState();
        FollowPlayInWindowModes(); // a search that found nothing to play leaves full screen
    }
    return false;
}

bool CVelquinDlg::FinishPlayFileInWnd(int nWnd, OpenInfo* pOpenInfo) {
    const bool bSelected = (nWnd == m_pDlgShow->GetSelWndIndex());
    m_pPlaylist->MarkInvalidFile(pOpenInfo->strFilePath, false);

    // Only the selected window sounds.
    if (bSelected && !m_bMute)
        m_pDlgShow->SetVolume(nWnd, true, m_nVolume, false);
    else
        m_pDlgShow->SetVolume(nWnd, false, 0, false);
    ApplyPrivateDataMask(nWnd);

    // Saved position: the exit stores the played windows first, with their
    // progress, then every row with none; the first entry of this path that has a
    // progress decides, so a file that is also a row still resumes. A row the
    // thumbnail thread has not examined yet is a local file all the same.
    if (pOpenInfo->nMediaType != 2 && m_stPlayerCfg.bKeepPlayProgress) {
        for (const PlaylistFileCfg& stEntry : m_stPlayerCfg.lstPlaylistFiles) {
            if (stEntry.nFilePlayProgress > 0 && stEntry.strFilePath == pOpenInfo->strFilePath) {
                m_pDlgShow->SetTimePos(nWnd, uint(stEntry.nFilePlayProgress));
                break;
            }
        }
    }

    if (bSelected) {
        On_UpdateCtrlsState();
        On_PlayerTimer();
    } else {
        // A second window that plays may make synchronous play possible.
        UpdateSyncBtnState();
    }
    // Every window that opens takes the colour last chosen.
    ApplyRememberedColor(nWnd);

    if (!m_pPlayerTimer) {
        m_pPlayerTimer = new QTimer(this);
        if (!connect(m_pPlayerTimer, &QTimer::timeout, this, &CVelquinDlg::On_PlayerTimer))
            return false;
    }
    if (!m_pPlayerTimer->isActive())
        m_pPlayerTimer->start(PLAYER_TIMER_MS);
    FollowPlayInWindowModes(); // display on top "only when playing" comes on
    return true;
}

bool CVelquinDlg::On_FilePlayEnd(int nPlayWndIndex) {
    if (!m_pDlgShow || !m_pPlaylist || nPlayWndIndex < 0 || nPlayWndIndex >= MAX_PLAY_WND)
        return false;
    const QString strPath = m_pDlgShow->GetWndFilePath(nPlayWndIndex);
    if (CountActiveWndsWithPath(strPath, nPlayWndIndex) == 0)
        ClearRowProgress(strPath);
    if (nPlayWndIndex == m_pDlgShow->GetSelWndIndex())
        m_bSliderPressed = false; // a drag in progress must not freeze the slider

    if (!m_pDlgShow->IsSyncPlay()) {
        switch (m_nPlayMode) {
        case 2:
        case 4: {
            // The next row plays in the window that ended, searched from the ended
            // file's row: only the list order counts, not the selection.
            const int nCur = m_pPlaylist->GetRowByPath(strPath);
            if (nCur < 0)
                return false;
            PlayNextRow(nPlayWndIndex, strPath, nCur + 1, 0);
            break;
        }
        case 3:
            StopWnd(nPlayWndIndex);
            ReplayWnd(nPlayWndIndex);
            break;
        default:
            StopWnd(nPlayWndIndex);
            break;
        }
        UpdateSyncBtnState();
    }
    FollowPlayInWindowModes(); // the last window leaves full screen; top mode 1 follows
    return true;
}

bool CVelquinDlg::PlayNextRow(int nWnd, const QString& strEndedPath, int nDst, int nVisits) {
    const int nCur = m_pPlaylist->GetRowByPath(strEndedPath);
    if (nCur < 0)
        return false;
    for (;;) {
        if (nDst > m_pPlaylist->count() - 1) {
            if (m_nPlayMode != 4) {
                StopWnd(nWnd);
                return true;
            }
            nDst = 0;
        }
        if (nDst == nCur) {
            // Every other row was tried: a list of one plays it again, a list
            // where nothing opens ends here instead of going round for ever.
            qDebug() << "On_FilePlayEnd nDstPlayIndex == nCurPlayIndex";
            if (++nVisits >= 2)
                return true;
        }
        OpenInfo stInfo;
        if (m_pPlaylist->GetOpenInfo(nDst, &stInfo) && stInfo.nMediaType != 2) {
            // A file gone from disk is marked without an open attempt, so that
            // a list of missing files does not raise one error box each.
            if (!QFile::exists(stInfo.strFilePath)) {
                m_pPlaylist->MarkInvalidFile(stInfo.strFilePath, true);
            } else if (PlayFileInWnd(nWnd, &stInfo)) {
                // Should this file fail to open, the search goes on from here.
                PendingOpen& stPending = m_stPendingOpen[nWnd];
                stPending.bFromEndSearch = true;
                stPending.strEndedPath = strEndedPath;
                stPending.nNextRow = nDst + 1;
                stPending.nVisits = nVisits;
                return true;
            }
        }
        ++nDst;
    }
}
