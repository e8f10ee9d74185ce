// Transport, sound, stepping, jumps, seeking and A-B repeat.
#include "CVelquinDlg.h"

#include <algorithm>
#include <QListWidgetItem>

#include <QMenu>
#include <QTimer>
#include <QTimerEvent>

#include "CCustomSlider.h"
#include "CDlgShow.h"
#include "CustomPlayerSlider.h"
#include "LanguageKeys.h"
#include "SliderTips.h"
#include "CPlaylist.h"
#include "CPlayHelper.h"
#include "MainDlgCommon.h"

using namespace maindlg;

// ---------------------------------------------------------------------------
// Transport and sound

bool CVelquinDlg::On_PlayOrPause() {
    if (!m_pDlgShow)
        return false;
    const int nState = m_pDlgShow->GetPlayState();
    if (IsActiveState(nState)) {
        // A network stream neither pauses nor resumes.
        if (m_pDlgShow->GetOpenMode(m_pDlgShow->GetSelWndIndex()) != 2)
            m_pDlgShow->PlayOrPause();
        return true;
    }
    // Nothing plays in the selected window: the button opens the selected
    // playlist row, the first of them whose file is there (or the last read).
    if (!m_pPlaylist || m_pDlgShow->IsSyncPlay())
        return false;
    QList<QListWidgetItem*> lstSel = m_pPlaylist->selectedItems();
    if (lstSel.isEmpty())
        return false;
    std::sort(lstSel.begin(), lstSel.end(), [this](QListWidgetItem* a, QListWidgetItem* b) {
        return m_pPlaylist->row(a) < m_pPlaylist->row(b);
    });
    OpenInfo stInfo;
    bool bRead = false;
    for (QListWidgetItem* pItem : lstSel) {
        if (!pItem || !m_pPlaylist->GetOpenInfo(pItem, &stInfo))
            continue;
        bRead = true;
        bool bExists = false;
        if (CPlayHelper::IsFileExist(stInfo.strFilePath, &bExists) && bExists)
            break;
    }
    return bRead && On_OpenFileInSelWnd(&stInfo);
}

bool CVelquinDlg::On_Stop() {
    if (!m_pDlgShow)
        return false;
    if (m_pDlgShow->GetPlayState() == 3)
        return false;
    m_pDlgShow->SyncStop();
    // Stop also leaves synchronous play.
    if (m_pDlgShow->IsSyncPlay())
        On_SyncPlay();
    FollowPlayInWindowModes(); // the last window leaves full screen; top mode 1 follows
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_Mute() {
    if (!m_pDlgShow)
        return false;
    m_bMute = !m_bMute;
    const int nSel = m_pDlgShow->GetSelWndIndex();
    if (m_bMute)
        m_pDlgShow->SetVolume(nSel, false, 0, false);
    else
        m_pDlgShow->SetVolume(nSel, true, m_nVolume, false);
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_NetStreamStartSound(int nWndIndex) {
    if (!m_pDlgShow || nWndIndex != m_pDlgShow->GetSelWndIndex() || m_bMute)
        return false;
    return m_pDlgShow->SetVolume(nWndIndex, true, m_nVolume, false);
}

bool CVelquinDlg::On_SliderSetVolume(int nPos) {
    if (!m_pDlgShow || nPos < 0 || nPos > 100)
        return false;
    return SetVolumeValue(nPos);
}

bool CVelquinDlg::SetVolumeValue(int nPos) {
    if (!m_pDlgShow || nPos < 0 || nPos > 200)
        return false;
    m_pDlgShow->SetVolume(m_pDlgShow->GetSelWndIndex(), true, uint(nPos), true);
    m_pSliderSound->setToolTip(
        QStringLiteral("%1: %2%").arg(Text(IDS_Global_SoundVolume, QStringLiteral("Volume"))).arg(nPos));

    // Changing the volume always cancels mute; crossing 100 changes the mute icon.
    bool bRefresh = false;
    if ((nPos > 100 && m_nVolume <= 100) || (nPos <= 100 && m_nVolume > 100)) {
        m_bMute = false;
        bRefresh = true;
    } else if (m_bMute) {
        m_bMute = false;
        bRefresh = true;
    }
    m_nVolume = uint(nPos);
    if (bRefresh)
        On_UpdateCtrlsState();
    return true;
}

// ---------------------------------------------------------------------------
// Stepping, speed, jumps and seeking

bool CVelquinDlg::GuardNoNetStream() {
    const int nSel = m_pDlgShow->GetSelWndIndex();
    if (IsActiveState(m_pDlgShow->GetPlayState(nSel)) && m_pDlgShow->GetOpenMode(nSel) == 2) {
        ShowInfoMessage(IDS_MainWnd_UnSupportInOpenNetStream,
                        QStringLiteral("The operation is not supported in open net stream."));
        return false;
    }
    return true;
}

bool CVelquinDlg::GuardSomethingOpen() {
    const int nState = m_pDlgShow->GetPlayState();
    return nState != 0 && nState != 3;
}

bool CVelquinDlg::GuardFileRef() {
    if (m_pDlgShow->IsFileRefCreated())
        return true;
    ShowInfoMessage(IDS_MainWnd_FileRefNotDone, QStringLiteral("Generate file index,please wait..."));
    return false;
}

bool CVelquinDlg::On_GoToBegin() {
    if (!m_pDlgShow || !GuardNoNetStream() || !GuardSomethingOpen())
        return false;
    return m_pDlgShow->GoToStart();
}

bool CVelquinDlg::On_GoToEnd() {
    if (!m_pDlgShow || !GuardNoNetStream() || !GuardSomethingOpen())
        return false;
    return m_pDlgShow->GoToEnd();
}

bool CVelquinDlg::On_FrameForward() {
    if (!m_pDlgShow || !GuardNoNetStream() || !GuardSomethingOpen())
        return false;
    return m_pDlgShow->FrameForward();
}

bool CVelquinDlg::On_FrameBackward() {
    if (!m_pDlgShow || !GuardNoNetStream() || !GuardSomethingOpen() || !GuardFileRef())
        return false;
    return m_pDlgShow->FrameBackward();
}

bool CVelquinDlg::On_Fast() {
    if (!m_pDlgShow || !GuardNoNetStream() || !GuardSomethingOpen())
        return false;
    return m_pDlgShow->Fast();
}

bool CVelquinDlg::On_Slow() {
    if (!m_pDlgShow || !GuardNoNetStream() || !GuardSomethingOpen())
        return false;
    return m_pDlgShow->Slow();
}

bool CVelquinDlg::On_RestoreCommonSpeed() {
    if (!m_pDlgShow)
        return false;
    // Normal speed is reached by walking the ladder back, one step at a time.
    const int nSpeed = m_pDlgShow->GetPlaySpeed();
    if (nSpeed == 0)
        return false;
    for (int i = 0; i < qAbs(nSpeed); ++i) {
        if (nSpeed > 0)
            m_pDlgShow->Slow();
        else
            m_pDlgShow->Fast();
    }
    return true;
}

bool CVelquinDlg::On_ReversePlay() {
    if (!m_pDlgShow)
        return false;
    if (!GuardNoNetStream() || m_pDlgShow->IsSyncPlay() || !IsActiveState(m_pDlgShow->GetPlayState()) ||
        !GuardFileRef())
        return false;
    m_pDlgShow->BackPlay(!m_pDlgShow->IsBackPlay());
    On_UpdateCtrlsState();
    return true;
}

qint64 CVelquinDlg::SliderPosToFrame(uint nTotalFrames, int nPos) {
    return qint64(double(nTotalFrames) * double(nPos) * 1.0 / 65535.0);
}

qint64 CVelquinDlg::SliderPosToSeconds(uint nFileTime, int nPos) {
    return qint64(double(nFileTime) * double(float(double(nPos) / 65535.0)));
}

bool CVelquinDlg::On_SetPlayProgress(int nPos) {
    if (!m_pDlgShow || !GuardSomethingOpen())
        return false;
    // Seeking the synchronous group belongs to its ruler; the stage refuses the
    // single-window seek there.
    if (m_stPlayerCfg.nPlayLocateMode == 0)
        return m_pDlgShow->SetTimePos(uint(SliderPosToSeconds(m_pDlgShow->GetFileTime(), nPos)));

    const qint64 nFrame = SliderPosToFrame(m_pDlgShow->GetFileTotalFrames(), nPos);
    // A click where the picture already is must not restart the decoder.
    if (nFrame == qint64(m_pDlgShow->GetCurrentFrameNum()))
        return true;
    return m_pDlgShow->SetFramePos(uint(nFrame));
}

bool CVelquinDlg::On_PlayProgressSliderMousePress() {
    m_bSliderPressed = true;
    return true;
}

bool CVelquinDlg::On_PlayProgressSliderMouseRelease() {
    m_bSliderPressed = false;
    return true;
}

bool CVelquinDlg::On_PlayProgressSliderMouseMoveValue(bool bShowGlobalTimeTips, QPoint ptMouse,
                                                      unsigned int nMouseMoveValue) {
    if (!m_pDlgShow || !m_pSliderTips || !IsActiveState(m_pDlgShow->GetPlayState()))
        return false;
    if (!bShowGlobalTimeTips) {
        m_pSliderTips->hide();
        return true;
    }
    // The global time range of a file is known to the playlist, which is not part
    // of this build yet; without a range there is no time to show.
    Q_UNUSED(ptMouse);
    Q_UNUSED(nMouseMoveValue);
    return false;
}

void CVelquinDlg::timerEvent(QTimerEvent* ev) {
    if (m_nTipsTimerId != 0 && ev->timerId() == m_nTipsTimerId) {
        if (m_pSliderTips)
            m_pSliderTips->hide();
        killTimer(m_nTipsTimerId);
        m_nTipsTimerId = 0;
        return;
    }
    QDialog::timerEvent(ev);
}

// ---------------------------------------------------------------------------
// A-B repeat

qint64 CVelquinDlg::SliderValueToRepeatFrame(uint nTotalFrames, uint nValue, int nRange) {
    if (nRange <= 0)
        return 0;
    return qint64(quint64(nTotalFrames) * nValue / uint(nRange));
}

qint64 CVelquinDlg::RepeatFrameToSliderValue(uint nTotalFrames, uint nFrame, int nRange) {
    if (nTotalFrames == 0)
        return 0;
    return qint64(double(nRange) * double(float(double(nFrame) / double(nTotalFrames))));
}

bool CVelquinDlg::On_ABRepeat() {
    if (!m_pDlgShow || m_pDlgShow->IsSyncPlay())
        return false;
    bool bASet = false, bBSet = false;
    uint nA = 0, nB = 0;
    m_pDlgShow->GetRepeatA(&bASet, &nA);
    m_pDlgShow->GetRepeatB(&bBSet, &nB);
    if (bASet && bBSet) {
        m_pDlgShow->ClearRepeatAB();
        RefreshRepeatMarks();
        return true;
    }
    // Forward play repeats from here to the end, reverse play from the start to here.
    const uint nCur = m_pDlgShow->GetCurrentFrameNum();
    if (!m_pDlgShow->IsBackPlay())
        return SetRepeatPointA(nCur) && SetRepeatPointB(m_pDlgShow->GetFileTotalFrames());
    return SetRepeatPointA(0) && SetRepeatPointB(nCur);
}

bool CVelquinDlg::SetRepeatPointA(uint nFrame) {
    if (!m_pDlgShow || m_pDlgShow->IsSyncPlay())
        return false;
    const bool bOk = m_pDlgShow->SetRepeatA(nFrame);
    RefreshRepeatMarks();
    return bOk;
}

bool CVelquinDlg::SetRepeatPointB(uint nFrame) {
    if (!m_pDlgShow || m_pDlgShow->IsSyncPlay())
        return false;
    const bool bOk = m_pDlgShow->SetRepeatB(nFrame);
    RefreshRepeatMarks();
    return bOk;
}

void CVelquinDlg::RefreshRepeatMarks() {
    if (!m_pDlgShow || !m_pPlayProgressSlider || m_pDlgShow->IsSyncPlay())
        return;
    const uint nTotal = m_pDlgShow->GetFileTotalFrames();
    if (nTotal == 0)
        return;
    // The slider's marks are always derived from the window's points.
    bool bASet = false, bBSet = false;
    uint nA = 0, nB = 0;
    m_pDlgShow->GetRepeatA(&bASet, &nA);
    m_pDlgShow->GetRepeatB(&bBSet, &nB);
    if (!bASet && !bBSet) {
        m_pPlayProgressSlider->ClearRepeatPoints();
        return;
    }
    const int nRange = m_pPlayProgressSlider->GetMaximum() - m_pPlayProgressSlider->GetMinimum();
    if (bASet)
        m_pPlayProgressSlider->SetRepeatPointA(uint(RepeatFrameToSliderValue(nTotal, nA, nRange)));
    if (bBSet)
        m_pPlayProgressSlider->SetRepeatPointB(uint(RepeatFrameToSliderValue(nTotal, nB, nRange)));
}

bool CVelquinDlg::On_ChangeRepeatPointValue(bool bPointAOrPointB, unsigned int nValue) {
    if (!m_pDlgShow)
        return false;
    const uint nTotal = m_pDlgShow->GetFileTotalFrames();
    if (nTotal == 0)
        return false;
    const int nRange = m_pPlayProgressSlider->GetMaximum() - m_pPlayProgressSlider->GetMinimum();
    const qint64 nFrame = SliderValueToRepeatFrame(nTotal, nValue, nRange);
    bool bASet = false, bBSet = false;
    uint nA = 0, nB = 0;
    m_pDlgShow->GetRepeatA(&bASet, &nA);
    m_pDlgShow->GetRepeatB(&bBSet, &nB);
    // A mark may not be dragged onto or past the other; it goes back at the next refresh.
    if (bPointAOrPointB) {
        if (bBSet && nFrame >= qint64(nB))
            return false;
        return SetRepeatPointA(uint(nFrame));
    }
    if (bASet && nFrame <= qint64(nA))
        return false;
    return SetRepeatPointB(uint(nFrame));
}
