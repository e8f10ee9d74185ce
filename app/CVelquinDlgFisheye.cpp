// Fisheye material: the expansion dialog, the eagle eye bar and its mode menu,
// and the restrictions such a file puts on the other controls.
#include "CVelquinDlg.h"

#include <QAction>
#include <QActionGroup>
#include <QDebug>
#include <QMenu>
#include <QVBoxLayout>

#include "CDlgShow.h"
#include "CPlayHelper.h"
#include "CPlaylist.h"
#include "CSkinButton.h"
#include "EagleEyeCtrlBar.h"
#include "Halvane.h"
#include "LanguageKeys.h"
#include "MainDlgCommon.h"
#include "NonModalMessageBox.h"

using namespace maindlg;

namespace {
// The hot key table in the order of its record, as the expansion dialog takes it.
const int kHotKeyNum = 19;

void HotKeyTable(const HotKeysCfg& stKeys, int (&arrKeys)[kHotKeyNum]) {
    const int arrOrdered[kHotKeyNum] = {
        stKeys.nOpenFiles, stKeys.nOpenFolder,   stKeys.nOpenURL,         stKeys.nPlayOrPause,
        stKeys.nStop,      stKeys.nFrameForward, stKeys.nFrameBackward,   stKeys.nFast,
        stKeys.nSlow,      stKeys.nRestoreSpeed, stKeys.nVolumeUp,        stKeys.nVolumeDown,
        stKeys.nGotoBegin, stKeys.nGotoEnd,      stKeys.nCapPic,          stKeys.nFullScreen,
        stKeys.nExit,      stKeys.nRepeatAB,     stKeys.nFisheyeExpansion};
    std::copy(std::begin(arrOrdered), std::end(arrOrdered), arrKeys);
}
} // namespace

void CVelquinDlg::BuildEagleEyeBar(QVBoxLayout* pColumn) {
    // Made without a parent; the layout gives it the list column as one.
    m_pEagleEyeCtrlBar = new EagleEyeCtrlBar(nullptr);
    m_pEagleEyeCtrlBar->Init();
    pColumn->addWidget(m_pEagleEyeCtrlBar);
    m_pEagleEyeCtrlBar->hide();
}

bool CVelquinDlg::InitFisheye() {
    m_pEagleEyeMenu = new QMenu(this);
    m_pEagleEyeMenu->setObjectName(QStringLiteral("m_pEagleEyeMenu"));
    m_pEagleEyeGroup = new QActionGroup(this);
    m_pEagleEyeGroup->setExclusive(true);
    m_pActOriginalMode = NewKeyedAction(m_pEagleEyeMenu, IDS_SRCtrl_OriginalMode, "Original Mode", true);
    m_pActOriginalMode->setObjectName(QStringLiteral("m_pActOriginalMode"));
    m_pActPTZMode = NewKeyedAction(m_pEagleEyeMenu, IDS_SRCtrl_PTZMode, "PTZ Mode", true);
    m_pActPTZMode->setObjectName(QStringLiteral("m_pActPTZMode"));
    m_pEagleEyeGroup->addAction(m_pActOriginalMode);
    m_pEagleEyeGroup->addAction(m_pActPTZMode);

    bool bOk = true;
    bOk &=
        bool(connect(m_pEagleEyeGroup, &QActionGroup::triggered, this, &CVelquinDlg::OnChangeEagleEyeMode));
    bOk &= bool(connect(m_pBtnEagleEyeCtrl, &QPushButton::clicked, this, [this]() {
        m_pEagleEyeMenu->popup(m_pBtnEagleEyeCtrl->mapToGlobal(QPoint(0, m_pBtnEagleEyeCtrl->height())));
    }));
    bOk &= bool(connect(m_pBtnPanoPlayer, &QPushButton::clicked, this, &CVelquinDlg::On_OpenFEC));
    if (m_pEagleEyeCtrlBar) {
        bOk &=
            bool(connect(m_pEagleEyeCtrlBar, &EagleEyeCtrlBar::SigPTZBtn, this, &CVelquinDlg::On_SigPTZBtn));
        bOk &= bool(connect(m_pEagleEyeCtrlBar, &EagleEyeCtrlBar::SigPTZAutoSpeed, this,
                            &CVelquinDlg::On_SigAutoSpeed));
    }
    return bOk;
}

void CVelquinDlg::UnInitFisheye() {
    delete m_pEagleEyeCtrlBar;
    m_pEagleEyeCtrlBar = nullptr;
    if (m_pEagleEyeGroup) {
        m_lstKeyedActions.removeAll(m_pActOriginalMode);
        m_lstKeyedActions.removeAll(m_pActPTZMode);
    }
    delete m_pActOriginalMode;
    m_pActOriginalMode = nullptr;
    delete m_pActPTZMode;
    m_pActPTZMode = nullptr;
    delete m_pEagleEyeGroup;
    m_pEagleEyeGroup = nullptr;
    delete m_pEagleEyeMenu;
    m_pEagleEyeMenu = nullptr;
}

void CVelquinDlg::RetranslateFisheye() {
    if (m_pEagleEyeCtrlBar)
        m_pEagleEyeCtrlBar->ReTranslateUI();
}

bool CVelquinDlg::On_OpenFEC() {
    if (!m_pDlgShow)
        return false;
    const int nState = m_pDlgShow->GetPlayState();
    if (nState == 0 || nState == 3)
        return false;
    const int nSel = m_pDlgShow->GetSelWndIndex();
    const bool bAdd = IsActiveState(m_pDlgShow->GetPlayState(nSel)) && m_pDlgShow->GetOpenMode(nSel) != 2;
    return On_ShowPanoDlg(bAdd);
}

bool CVelquinDlg::On_ShowPanoDlg(bool /*bAddCurWndPlayFile*/) {
    if (!m_pDlgShow || m_pHalvane)
        return false;
    const QString strFailed = Text(IDS_FEC_FisheyeExpansionFailed, QStringLiteral("Information"));
    m_pHalvane = new Halvane(this);
    if (!m_pHalvane->InitHalvane()) {
        qDebug("InitHalvane Fail");
        NonModalMessageBox::MsgBox(this, strFailed, strFailed);
        delete m_pHalvane;
        m_pHalvane = nullptr;
        return false;
    }

    const QString strPath = m_pDlgShow->GetSelWndFilePath();
    // The defaults, not the user's keys: the dialog has keys of its own.
    int arrHotKeys[kHotKeyNum] = {};
    HotKeyTable(HotKeysCfg(), arrHotKeys);
    bool bEncrypted = false;
    QString strDecryptKey;
    if (m_pPlaylist) {
        m_pPlaylist->GetEncrypted(strPath, &bEncrypted);
        OpenInfo stInfo;
        const int nRow = m_pPlaylist->GetRowByPath(strPath);
        if (nRow >= 0 && m_pPlaylist->GetOpenInfo(nRow, &stInfo))
            strDecryptKey = stInfo.strDecryptKey;
    }
    if (m_pHalvane->StartPlay(strPath, m_stPlayerCfg.strCapPicFolder, m_stPlayerCfg.nCapPicSaveType,
                              arrHotKeys, kHotKeyNum, bEncrypted, strDecryptKey,
                              m_pDlgShow->GetPrivateDataMask())) {
        // Pausing only after a good start leaves the windows as they were on a
        // failure.
        On_PlayOrPauseWhenFECOpen();
        qDebug("StartPlay Succ");
        m_pHalvane->exec();
        On_PlayOrPauseWhenFECOpen();
    } else {
        qDebug("StartPlay Fail");
        NonModalMessageBox::MsgBox(this, strFailed, strFailed);
    }
    delete m_pHalvane;
    m_pHalvane = nullptr;
    return true;
}

bool CVelquinDlg::On_PlayOrPauseWhenFECOpen() {
    if (!m_pDlgShow)
        return false;
    return m_pDlgShow->PauseAllToggle();
}

bool CVelquinDlg::GuardSRView() {
    if (!m_pDlgShow)
        return false;
    const int nSel = m_pDlgShow->GetSelWndIndex();
    if (IsActiveState(m_pDlgShow->GetPlayState(nSel)) && m_pDlgShow->GetOpenMode(nSel) == 2)
        return false;
    const int nState = m_pDlgShow->GetPlayState();
    return nState != 0 && nState != 3;
}

bool CVelquinDlg::On_SigPTZBtn(int nBtnType) {
    if (!GuardSRView())
        return false;
    // The stage turns the view by the code and then applies the turn.
    m_pDlgShow->SRMove(nBtnType);
    return true;
}

bool CVelquinDlg::ChangeViewMode(int nViewMode) {
    if (!GuardSRView())
        return false;
    m_pDlgShow->SetSRViewMode(nViewMode);
    return On_UpdateCtrlsState();
}

bool CVelquinDlg::On_SigAutoSpeed(int nValue) {
    if (!GuardSRView())
        return false;
    m_pDlgShow->SetAutoSpeed(nValue);
    return true;
}

bool CVelquinDlg::OnChangeEagleEyeMode(QAction* pAction) {
    if (!pAction || !m_pEagleEyeCtrlBar)
        return false;
    if (pAction == m_pActPTZMode) {
        m_pEagleEyeCtrlBar->show();
        return ChangeViewMode(1);
    }
    if (pAction == m_pActOriginalMode) {
        m_pEagleEyeCtrlBar->hide();
        return ChangeViewMode(0);
    }
    return false;
}

void CVelquinDlg::UpdateSRUI() {
    if (!m_pDlgShow || !m_pEagleEyeCtrlBar)
        return;
    const int nSel = m_pDlgShow->GetSelWndIndex();
    const bool bActive = IsActiveState(m_pDlgShow->GetPlayState(nSel));
    bool bSRFile = false;
    const QString strPath = m_pDlgShow->GetSelWndFilePath();
    if (strPath.isEmpty() || !CPlayHelper::IsSRFile(strPath, &bSRFile) || !bSRFile) {
        m_pEagleEyeCtrlBar->hide();
        m_pBtnEagleEyeCtrl->setEnabled(false);
    } else if (bActive) {
        // A projected picture: these would act on the lens picture, not the view.
        for (CSkinButton* pBtn :
             {m_pBtnConCapPic, m_pBtnReversePlay, m_pBtnLastFrame, m_pBtnPanoPlayer, m_pBtnPartZoom})
            pBtn->setEnabled(false);
        m_pBtnEagleEyeCtrl->setEnabled(true);
        if (m_pDlgShow->GetSRViewMode() == 1) {
            m_pEagleEyeCtrlBar->show();
            m_pActPTZMode->setChecked(true);
            m_pBtnCapPic->setEnabled(false);
        } else {
            m_pEagleEyeCtrlBar->hide();
            m_pActOriginalMode->setChecked(true);
            m_pBtnCapPic->setEnabled(true);
        }
    } else {
        m_pBtnEagleEyeCtrl->setEnabled(false);
        m_pBtnPanoPlayer->setEnabled(false);
        m_pBtnPartZoom->setEnabled(false);
        m_pEagleEyeCtrlBar->hide();
    }
    m_pEagleEyeCtrlBar->SetAutoScan(m_pDlgShow->IsAutoTrans());
}
