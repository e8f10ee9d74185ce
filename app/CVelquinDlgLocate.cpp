// The main dialog's locate commands: the dialogs that ask for a time stamp, a
// frame number or a global time, and the jumps they ask for.

#include "CVelquinDlg.h"

#include "CDlgShow.h"
#include "CLocateDlg.h"
#include "CPlayHelper.h"
#include "CPlayWnd.h"
#include "CPlaylist.h"
#include "FileInfoSync.h"
#include "LanguageKeys.h"
#include "LocateGlobalTimeDlg.h"

namespace {

const int kLocateDlgWidth = 400;
const int kLocateDlgHeight = 130;
const int kGlobalTimeDlgWidth = 440;
const int kGlobalTimeDlgHeight = 160;

bool IsPlayingOrPaused(int nState) {
    return nState == 1 || nState == 2;
}

// A file that stopped while a locate dialog was open plays again before the
// jump, and the selected window takes the sound as it does after an open.
void PlayAgainIfStopped(CDlgShow* pStage, bool bMute, uint nVolume) {
    if (IsPlayingOrPaused(pStage->GetPlayState()))
        return;
    pStage->PlayOrPause();
    const int nSel = pStage->GetSelWndIndex();
    if (bMute)
        pStage->SetVolume(nSel, false, 0, false);
    else
        pStage->SetVolume(nSel, true, nVolume, false);
}

} // namespace

bool CVelquinDlg::On_ShowTimeStampLocateDlg() {
    if (!m_pDlgShow || !GuardNoNetStream() || !IsPlayingOrPaused(m_pDlgShow->GetPlayState()))
        return false;
    CLocateDlg dlg(this);
    dlg.Init();
    dlg.resize(kLocateDlgWidth, kLocateDlgHeight);
    if (!connect(&dlg, &CLocateDlg::Sig_PlayLocate, this, &CVelquinDlg::On_PlayLocate))
        return false;
    dlg.SetLocateInfo(0, int(m_pDlgShow->GetFileTime()));
    dlg.exec();
    return true;
}

bool CVelquinDlg::On_ShowFrameLocateDlg() {
    if (!m_pDlgShow || !GuardNoNetStream() || !IsPlayingOrPaused(m_pDlgShow->GetPlayState()))
        return false;
    CLocateDlg dlg(this);
    dlg.Init();
    dlg.resize(kLocateDlgWidth, kLocateDlgHeight);
    if (!connect(&dlg, &CLocateDlg::Sig_PlayLocate, this, &CVelquinDlg::On_PlayLocate))
        return false;
    dlg.SetLocateInfo(1, int(m_pDlgShow->GetFileTotalFrames()));
    dlg.exec();
    return true;
}

bool CVelquinDlg::On_ShowGlobalTimeLocateDlg() {
    if (!m_pDlgShow || !GuardNoNetStream() || !IsPlayingOrPaused(m_pDlgShow->GetPlayState()))
        return false;
    // The playlist examines a file in the background; asking for a range it
    // does not know yet puts the file first in its queue, so a second try
    // succeeds.
    FILE_INFO_SYNC stRange{};
    if (!m_pPlaylist || !m_pPlaylist->GetGlobalTimeRange(m_pDlgShow->GetSelWndFilePath(), &stRange)) {
        ShowInfoMessage(IDS_MainWnd_FileRefNotDone, QStringLiteral("Generate file index,please wait..."));
        return false;
    }
    LocateGlobalTimeDlg dlg(this);
    dlg.Init();
    dlg.resize(kGlobalTimeDlgWidth, kGlobalTimeDlgHeight);
    // Direct: the time record lives only while the signal is emitted.
    connect(&dlg, &LocateGlobalTimeDlg::Sig_PlayLocateByGlobalTime, this,
            &CVelquinDlg::On_PlayLocateByGlobalTime, Qt::DirectConnection);
    dlg.SetTimeRange(&stRange.stBegin, &stRange.stEnd);
    dlg.exec();
    return true;
}

bool CVelquinDlg::On_PlayLocate(int nMode, int nPos) {
    if (!m_pDlgShow)
        return false;
    PlayAgainIfStopped(m_pDlgShow, m_bMute, m_nVolume);
    if (nPos < 0)
        return false;
    if (nMode == 0)
        return m_pDlgShow->SetTimePos(uint(nPos));
    if (nMode == 1)
        return m_pDlgShow->SetFramePos(uint(nPos));
    return false;
}

bool CVelquinDlg::On_PlayLocateByGlobalTime(TAVRIX_SYSTEM_TIME* pstGlobalTime) {
    if (!m_pDlgShow || !pstGlobalTime)
        return false;
    // The frame count reads 0 while the file stands stopped, so it is read
    // after the file plays again.
    PlayAgainIfStopped(m_pDlgShow, m_bMute, m_nVolume);
    const uint nTotalFrames = m_pDlgShow->GetFileTotalFrames();
    if (nTotalFrames < 1)
        return false;
    if (!m_pPlaylist)
        return false;
    FILE_INFO_SYNC stRange{};
    if (!m_pPlaylist->GetGlobalTimeRange(m_pDlgShow->GetSelWndFilePath(), &stRange))
        return false;

    // The range's begin is the global time of the file's first frame, and the
    // window's time seek lands on the last frame that starts at or before a
    // time counted from that frame on the file's continuous time line. So the
    // span from the begin to the time names exactly the frame whose global
    // time is the latest not after it, whatever the frame rate, gaps or
    // restarting stamps inside the file; a time before the first frame shows
    // the first. The stage's single-window seeks are refused in synchronous
    // play, and so is this one.
    if (m_pDlgShow->IsSyncPlay())
        return false;
    CPlayWnd* pWnd = m_pDlgShow->GetPlayWnd(m_pDlgShow->GetSelWndIndex());
    const uint32_t nSpanMs = CPlayHelper::GetTimeSpanMS(&stRange.stBegin, pstGlobalTime);
    if (pWnd && pWnd->SetTimePosMS(nSpanMs)) {
        On_UpdateCtrlsState();
        return true;
    }

    // Fallback where the window cannot seek by time: the place of the time
    // between the ends of the range, in frames, the end taken to its last
    // millisecond. Exact only for a file of even frame rate without gaps.
    stRange.stBegin.nMilliseconds = 0;
    stRange.stEnd.nMilliseconds = 999;
    double dPrecent = 0.0;
    if (!CPlayHelper::GetPrecentByGlobalTime(pstGlobalTime, dPrecent, &stRange.stBegin, &stRange.stEnd))
        return false;
    return m_pDlgShow->SetFramePos(uint(double(nTotalFrames - 1) * dPrecent));
}
