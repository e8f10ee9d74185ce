// The main dialog's side of synchronous play: the switch, the jumps the ruler
// asks for, the ruler's place under the dialog and its stand-in in full screen.

#include "CVelquinDlg.h"

#include <QGuiApplication>
#include <QMoveEvent>
#include <QPropertyAnimation>
#include <QResizeEvent>
#include <QScreen>
#include <QWidget>

#include <memory>
#include <vector>

#include "CDlgShow.h"
#include "LanguageKeys.h"
#include "SyncPlayProgressDlg.h"
#include "SyncPlayProgressFullScreenDlg.h"
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
        if (!m_bFullScreen) {
            ShowSyncRuler(false);
        } else {
            ShowSyncFullBar(false);
            ShowCtrlBar(true);
            // Counted as under the pointer: it goes once the pointer is away.
            m_bMouseOnBars = true;
        }
        if (m_pSyncDlg)
            m_pSyncDlg->ResetSyncRuler();
        if (m_pSyncFullDlg)
            m_pSyncFullDlg->ResetSyncRuler();
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
        // In full screen the small ruler slides up in place of the control bar.
        if (!m_bFullScreen) {
            ShowSyncRuler(true);
        } else {
            ShowSyncRuler(false);
            ShowCtrlBar(false);
            ShowSyncFullBar(true);
            m_bMouseOnBars = true;
        }

        std::vector<SYNC_WND_FILE*> vecFiles;
        FILE_INFO_SYNC stFirst{};
        FILE_INFO_SYNC stLast{};
        m_pDlgShow->GetSyncPlayInfo(vecFiles, &stFirst, &stLast);
        // The ruler keeps copies of its own; these go when it has them.
        std::vector<std::unique_ptr<SYNC_WND_FILE>> vecOwned(vecFiles.begin(), vecFiles.end());
        if (m_pSyncDlg)
            m_pSyncDlg->StartSyncRuler(vecFiles, &stFirst, &stLast);
        if (m_pSyncFullDlg)
            m_pSyncFullDlg->StartSyncRuler(vecFiles, &stFirst, &stLast);
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
    if (!m_pSyncFullDlg) {
        m_pSyncFullDlg = new SyncPlayProgressFullScreenDlg(this);
        m_pSyncFullDlg->hide();
        m_pSyncFullDlg->SetMainDlg(this);
        m_pSyncFullDlg->Init();
        connect(m_pSyncFullDlg, &SyncPlayProgressFullScreenDlg::Sig_CancelSyncPlay, this,
                &CVelquinDlg::On_SyncPlay);
    }
    if (m_bFullScreen && (!m_pAnimSyncShow || !m_pAnimSyncHide)) {
        // Made from the primary screen as it is now, like the bars' animations.
        QScreen* pScreen = QGuiApplication::primaryScreen();
        const QRect rcScreen = pScreen ? pScreen->geometry() : QRect();
        const int nW = rcScreen.width();
        const int nH = rcScreen.height();
        const int nF = m_pSyncFullDlg->height();
        const QRect rcShown(0, nH - nF, nW, nF);
        const QRect rcAway(0, nH, nW, nF);
        for (QPropertyAnimation** ppAnim : {&m_pAnimSyncShow, &m_pAnimSyncHide}) {
            if (!*ppAnim) {
                *ppAnim = new QPropertyAnimation(m_pSyncFullDlg, "geometry", this);
                (*ppAnim)->setDuration(250);
            }
        }
        m_pAnimSyncShow->setStartValue(rcAway);
        m_pAnimSyncShow->setEndValue(rcShown);
        m_pAnimSyncHide->setStartValue(rcShown);
        m_pAnimSyncHide->setEndValue(rcAway);
    }
    if (!bShow) {
        m_pSyncDlg->hide();
        m_pSyncFullDlg->hide();
        return;
    }
    if (m_bFullScreen)
        return;
    // A window of its own, directly under the dialog and as wide as it.
    m_pSyncDlg->setGeometry(QRect(mapToGlobal(QPoint(0, height())), QSize(width(), m_pSyncDlg->height())));
    m_pSyncFullDlg->hide();
    m_pSyncDlg->show();
}

void CVelquinDlg::UpdateSyncRuler() {
    if (!m_pDlgShow || !m_pDlgShow->IsSyncPlay())
        return;
    double dPrecent = 0.0;
    TAVRIX_SYSTEM_TIME stTime{};
    if (m_pDlgShow->GetSyncPlayPrecent(&dPrecent, &stTime)) {
        // Whichever of the two rulers can be seen follows the group.
        if (m_pSyncDlg && m_pSyncDlg->isVisible())
            m_pSyncDlg->SetPlayPos(&stTime);
        if (m_pSyncFullDlg && m_pSyncFullDlg->isVisible())
            m_pSyncFullDlg->SetPlayPos(&stTime);
    }
    m_pDlgShow->On_Update();
}

void CVelquinDlg::moveEvent(QMoveEvent* ev) {
    QDialog::moveEvent(ev);
    if (m_pDlgShow && m_pDlgShow->IsSyncPlay() && m_pSyncDlg && m_pSyncDlg->isVisible())
        ShowSyncRuler(true);
    ChangePlaylistCtrlPos();
}

void CVelquinDlg::resizeEvent(QResizeEvent* ev) {
    QDialog::resizeEvent(ev);
    if (m_pDlgShow && m_pDlgShow->IsSyncPlay() && m_pSyncDlg && m_pSyncDlg->isVisible())
        ShowSyncRuler(true);
    ChangePlaylistCtrlPos();
}
