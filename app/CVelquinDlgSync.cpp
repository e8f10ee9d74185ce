// The main dialog's side of synchronous play: the switch, the jumps the ruler
// asks for, and the ruler's place under the dialog.

#include "CVelquinDlg.h"

#include <QMoveEvent>
#include <QResizeEvent>
#include <QWidget>

#include <memory>
#include <vector>

#include "CDlgShow.h"
#include "LanguageKeys.h"
#include "SyncPlayProgressDlg.h"
#include "SyncWndFile.h"

namespace {
const int kMaxPlayWnd = 16;

bool IsPlayingOrPaused(int nState) {
    return nState == 1 || nState == 2;
}
} // namespace

bool CVelquinDlg::On_SyncPlay() {
    if (!m_pDlgShow)
        return false;
    // One running stream anywhere forbids the switch, leaving as well as entering.
    for (int i = 0; i < kMaxPlayWnd; ++i) {
        if (IsPlayingOrPaused(m_pDlgShow->GetPlayState(i)) && m_pDlgShow->GetOpenMode(i) == 2) {
            ShowInfoMessage(IDS_MainWnd_UnSupportInOpenNetStream,
                            QStringLiteral("The operation is not supported in open net stream."));
            return false;
        }
    }

    if (m_pDlgShow->IsSyncPlay()) {
        m_pDlgShow->SwitchSyncPlay();
        ShowSyncRuler(false);
        if (m_pSyncDlg)
            m_pSyncDlg->ResetSyncRuler();
    } else {
        int nActive = 0;
        for (int i = 0; i < kMaxPlayWnd; ++i)
            nActive += IsPlayingOrPaused(m_pDlgShow->GetPlayState(i)) ? 1 : 0;
        if (nActive < 2)
            return false;
        // A window still reading its file would start playing on its own
        // after the group has formed.
        for (int i = 0; i < kMaxPlayWnd; ++i) {
            if (m_pDlgShow->IsOpening(i))
                return false;
        }
        if (!m_pDlgShow->SwitchSyncPlay())
            return false;
        // The members play on fresh ports, silent and in the engine's colour:
        // each takes the remembered colour again, the selected one the sound.
        for (int i = 0; i < kMaxPlayWnd; ++i) {
            if (IsPlayingOrPaused(m_pDlgShow->GetPlayState(i))) {
                ApplyRememberedColor(i);
                ApplyPrivateDataMask(i);
            }
        }
        const int nSel = m_pDlgShow->GetSelWndIndex();
        if (!m_bMute)
            m_pDlgShow->SetVolume(nSel, true, m_nVolume, false);
        else
            m_pDlgShow->SetVolume(nSel, false, 0, false);
        // There is no full screen ruler yet: in full screen too the ruler stands
        // under the dialog.
        ShowSyncRuler(true);

        std::vector<SYNC_WND_FILE*> vecFiles;
        FILE_INFO_SYNC stFirst{};
        FILE_INFO_SYNC stLast{};
        m_pDlgShow->GetSyncPlayInfo(vecFiles, &stFirst, &stLast);
        // The ruler keeps copies of its own; these go when it has them.
        std::vector<std::unique_ptr<SYNC_WND_FILE>> vecOwned(vecFiles.begin(), vecFiles.end());
        if (m_pSyncDlg)
            m_pSyncDlg->StartSyncRuler(vecFiles, &stFirst, &stLast);
    }

    // The room the maximised dialog may take differs with the ruler below it.
    if (m_bMaximized) {
        On_ShowMaximized();
        On_ShowMaximized();
    }
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_SyncPlayLocate(double dPrecent, TAVRIX_SYSTEM_TIME* pstTime) {
    if (!pstTime || !m_pDlgShow || dPrecent < 0.0 || dPrecent > 1.0)
        return false;
    m_pDlgShow->SetSyncPlayPrecent(dPrecent);
    return true;
}

void CVelquinDlg::ShowSyncRuler(bool bShow) {
    if (!m_pCtrlBarContainer)
        return;
    if (!m_pSyncDlg) {
        m_pSyncDlg = new SyncPlayProgressDlg(this);
        m_pSyncDlg->hide();
        m_pSyncDlg->SetMainDlg(this);
        m_pSyncDlg->Init();
        connect(m_pSyncDlg, &SyncPlayProgressDlg::Sig_SyncPlayLocate, this, &CVelquinDlg::On_SyncPlayLocate);
    }
    if (!bShow) {
        m_pSyncDlg->hide();
        return;
    }
    // A window of its own, directly under the dialog and as wide as it.
    m_pSyncDlg->setGeometry(QRect(mapToGlobal(QPoint(0, height())), QSize(width(), m_pSyncDlg->height())));
    m_pSyncDlg->show();
}

void CVelquinDlg::UpdateSyncRuler() {
    if (!m_pDlgShow || !m_pDlgShow->IsSyncPlay())
        return;
    double dPrecent = 0.0;
    TAVRIX_SYSTEM_TIME stTime{};
    if (m_pDlgShow->GetSyncPlayPrecent(&dPrecent, &stTime) && m_pSyncDlg && m_pSyncDlg->isVisible())
        m_pSyncDlg->SetPlayPos(&stTime);
    m_pDlgShow->On_Update();
}

void CVelquinDlg::moveEvent(QMoveEvent* ev) {
    QDialog::moveEvent(ev);
    if (m_pDlgShow && m_pDlgShow->IsSyncPlay() && m_pSyncDlg && m_pSyncDlg->isVisible())
        ShowSyncRuler(true);
}

void CVelquinDlg::resizeEvent(QResizeEvent* ev) {
    QDialog::resizeEvent(ev);
    if (m_pDlgShow && m_pDlgShow->IsSyncPlay() && m_pSyncDlg && m_pSyncDlg->isVisible())
        ShowSyncRuler(true);
}
