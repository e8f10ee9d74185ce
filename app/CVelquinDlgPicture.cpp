// The main dialog: picture commands of the selected window, the colour dialog
// and the picture entries of the stage's right-click menu.

#include "CVelquinDlg.h"

#include <QAction>
#include <QActionGroup>
#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QScreen>

#include <algorithm>

#include "CDlgShow.h"
#include "CLanguageParser.h"
#include "CPlayHelper.h"
#include "CPlayWnd.h"
#include "CSkinButton.h"
#include "ColorAdjustDlg.h"
#include "LanguageKeys.h"

namespace {

const int kColorDlgWidth = 410;
const int kColorDlgHeight = 260;
// The dialog is never made smaller than its minimum by a size command.
const int kMinDlgWidth = 914;
const int kMinDlgHeight = 565;
// Margin of the stage's grid on both sides of the picture.
const int kStageMargin = 4;

// Private data kinds in menu order, with their keys and texts.
struct PrivateDataEntry {
    uint nBit;
    const char* szKey;
    const char* szDefault;
};
const PrivateDataEntry kPrivateDataEntries[] = {
    {1, IDS_IVS_AnaIntelData, "Intelligent Analysis"},
    {2, IDS_IVS_MD, "Move Detect"},
    {4, IDS_IVS_AddPos, "POS Add"},
    {32, IDS_IVS_TEM, "Temperature Info"},
    {8, IDS_IVS_AddPic, "Picture Add"},
    {16, IDS_IVS_FireDetec, "Fire Detect Info"},
};
// The order in which a window's choices are given to a newly opened file.
const uint kPrivateDataApplyOrder[] = {1, 2, 4, 32, 8, 16};

bool IsActive(int nState) {
    return nState == 1 || nState == 2;
}

QString Tr(const char* szKey, const char* szDefault) {
    QString strText;
    CLanguageParser::FindString(QString::fromLatin1(szKey), strText, QString::fromUtf8(szDefault));
    return strText;
}

// Builds a submenu whose actions carry the values given, all in one group.
QMenu* MakeGroupMenu(QWidget* pParent, const char* szName, QActionGroup* pGroup, bool bCheckable,
                     std::initializer_list<int> lstValues) {
    auto* pMenu = new QMenu(pParent);
    pMenu->setObjectName(QString::fromLatin1(szName));
    for (int nValue : lstValues) {
        QAction* pAction = pMenu->addAction(QString());
        pAction->setCheckable(bCheckable);
        pAction->setData(nValue);
        pGroup->addAction(pAction);
    }
    return pMenu;
}

QActionGroup* MakeGroup(QObject* pParent, bool bExclusive) {
    auto* pGroup = new QActionGroup(pParent);
    pGroup->setExclusionPolicy(bExclusive ? QActionGroup::ExclusionPolicy::Exclusive
                                          : QActionGroup::ExclusionPolicy::None);
    return pGroup;
}

// Checks the action whose value is nValue, or the one of nFallback when none has it.
void CheckByValue(QActionGroup* pGroup, int nValue, int nFallback) {
    QAction* pFound = nullptr;
    QAction* pFallback = nullptr;
    for (QAction* pAction : pGroup->actions()) {
        if (pAction->data().toInt() == nValue)
            pFound = pAction;
        if (pAction->data().toInt() == nFallback)
            pFallback = pAction;
    }
    if (!pFound)
        pFound = pFallback;
    for (QAction* pAction : pGroup->actions())
        pAction->setChecked(pAction == pFound);
}

void SetTexts(QActionGroup* pGroup, std::initializer_list<std::pair<const char*, const char*>> lstTexts) {
    const QList<QAction*> lstActions = pGroup->actions();
    int i = 0;
    for (const auto& text : lstTexts) {
        if (i >= lstActions.size())
            break;
        lstActions[i++]->setText(Tr(text.first, text.second));
    }
}

} // namespace

// ---------------------------------------------------------------------------
// Menus

bool CVelquinDlg::InitPictureMenus() {
    m_pMainRightMenu = new QMenu(this);
    m_pMainRightMenu->setObjectName(QStringLiteral("m_pMainRightMenu"));

    // Play control: the locate dialogs of the selected window.
    m_pPlayControlMenu = new QMenu(this);
    m_pPlayControlMenu->setObjectName(QStringLiteral("m_pPlayControlMenu"));
    m_pActTimeStampLocate = m_pPlayControlMenu->addAction(QString());
    m_pActFrameLocate = m_pPlayControlMenu->addAction(QString());
    m_pActGlobalTimeLocate = m_pPlayControlMenu->addAction(QString());
    connect(m_pActTimeStampLocate, &QAction::triggered, this, &CVelquinDlg::On_ShowTimeStampLocateDlg);
    connect(m_pActFrameLocate, &QAction::triggered, this, &CVelquinDlg::On_ShowFrameLocateDlg);
    connect(m_pActGlobalTimeLocate, &QAction::triggered, this, &CVelquinDlg::On_ShowGlobalTimeLocateDlg);
    m_pMainRightMenu->addMenu(m_pPlayControlMenu);
    m_pMainRightMenu->addSeparator();

    m_pThrowFrameGroup = MakeGroup(this, true);
    m_pThrowFrameMenu = MakeGroupMenu(this, "m_pThrowFrameMenu", m_pThrowFrameGroup, true, {0, 1, 2});
    m_pMotionFlowGroup = MakeGroup(this, true);
    m_pMotionFlowMenu = MakeGroupMenu(this, "m_pMotionFlowMenu", m_pMotionFlowGroup, true, {0, 1, 2});
    // No graphics-card interpolator is available: its entry never shows.
    m_pMotionFlowGroup->actions().at(2)->setVisible(false);
    m_pMainRightMenu->addMenu(m_pThrowFrameMenu);
    m_pMainRightMenu->addMenu(m_pMotionFlowMenu);

    m_pImageCtrlMenu = new QMenu(this);
    m_pImageCtrlMenu->setObjectName(QStringLiteral("m_pImageCtrlMenu"));
    m_pImgTurnGroup = MakeGroup(this, true);
    m_pImgTurnMenu = MakeGroupMenu(this, "m_pImgTurnMenu", m_pImgTurnGroup, true, {-1, 0, 1, 2});
    m_pImageCtrlMenu->addMenu(m_pImgTurnMenu);
    // The two mirror bits are independent of each other and of the turn.
    m_pImgFlipGroup = MakeGroup(this, false);
    for (uint nBit : {uint(TAVRIX_FLIP_HORIZONTAL), uint(TAVRIX_FLIP_VERTICAL)}) {
        QAction* pAction = m_pImageCtrlMenu->addAction(QString());
        pAction->setCheckable(true);
        pAction->setData(nBit);
        pAction->setObjectName(nBit == TAVRIX_FLIP_HORIZONTAL ? QStringLiteral("m_pActFlipHorizontal")
                                                              : QStringLiteral("m_pActFlipVertical"));
        m_pImgFlipGroup->addAction(pAction);
    }
    m_pImageCtrlMenu->addSeparator();
    m_pActColorAdjust = m_pImageCtrlMenu->addAction(QString());
    m_pActColorAdjust->setObjectName(QStringLiteral("m_pActColorAdjust"));
    m_pImageCtrlMenu->addSeparator();
    m_pIVSInfoGroup = MakeGroup(this, false);
    m_pIVSInfoMenu = new QMenu(this);
    m_pIVSInfoMenu->setObjectName(QStringLiteral("m_pIVSInfoMenu"));
    for (const PrivateDataEntry& entry : kPrivateDataEntries) {
        QAction* pAction = m_pIVSInfoMenu->addAction(QString());
        pAction->setCheckable(true);
        pAction->setData(entry.nBit);
        m_pIVSInfoGroup->addAction(pAction);
    }
    m_pImageCtrlMenu->addMenu(m_pIVSInfoMenu);
    m_pMainRightMenu->addMenu(m_pImageCtrlMenu);

    m_pImgScaleGroup = MakeGroup(this, true);
    m_pImgScaleMenu = MakeGroupMenu(this, "m_pImgScaleMenu", m_pImgScaleGroup, true, {1, 2, 3, 0});
    m_pPlayWndPrecentGroup = MakeGroup(this, false);
    m_pPlayWndPrecentMenu =
        MakeGroupMenu(this, "m_pPlayWndPrecentMenu", m_pPlayWndPrecentGroup, false, {2, 1, 3, 4});
    m_pMainRightMenu->addMenu(m_pImgScaleMenu);
    m_pMainRightMenu->addMenu(m_pPlayWndPrecentMenu);

    m_pMainRightMenu->addSeparator();
    m_pActCapPic = m_pMainRightMenu->addAction(QString());
    m_pActCapPic->setObjectName(QStringLiteral("m_pActCapPic"));
    m_pActConCapPic = m_pMainRightMenu->addAction(QString());
    m_pActConCapPic->setObjectName(QStringLiteral("m_pActConCapPic"));
    m_pActConCapPic->setCheckable(true);
    m_pActPartZoom = m_pMainRightMenu->addAction(QString());
    m_pActPartZoom->setObjectName(QStringLiteral("m_pActPartZoom"));
    m_pActPartZoom->setCheckable(true);

    bool bOk = true;
    bOk &= bool(connect(m_pThrowFrameGroup, &QActionGroup::triggered, this, &CVelquinDlg::On_SwitchThrowFrame));
    bOk &= bool(connect(m_pMotionFlowGroup, &QActionGroup::triggered, this, &CVelquinDlg::On_SwitchMotionFlow));
    bOk &= bool(connect(m_pImgTurnGroup, &QActionGroup::triggered, this, &CVelquinDlg::On_SwitchImgRotate));
    bOk &= bool(connect(m_pImgFlipGroup, &QActionGroup::triggered, this, &CVelquinDlg::On_SwitchImgFlip));
    bOk &= bool(connect(m_pIVSInfoGroup, &QActionGroup::triggered, this, &CVelquinDlg::On_ShowIVSInfo));
    bOk &=
        bool(connect(m_pImgScaleGroup, &QActionGroup::triggered, this, &CVelquinDlg::On_SwitchImageScaleMode));
    bOk &= bool(connect(m_pPlayWndPrecentGroup, &QActionGroup::triggered, this,
                        &CVelquinDlg::On_SwitchPlayWndPrecentMode));
    bOk &= bool(connect(m_pActColorAdjust, &QAction::triggered, this, &CVelquinDlg::On_ShowColorAdjustDlg));
    bOk &= bool(connect(m_pActCapPic, &QAction::triggered, this, &CVelquinDlg::On_CapPic));
    bOk &= bool(connect(m_pActConCapPic, &QAction::triggered, this, &CVelquinDlg::On_ConCapPic));
    bOk &= bool(connect(m_pActPartZoom, &QAction::triggered, this, &CVelquinDlg::On_PartZoom));
    return bOk;
}

void CVelquinDlg::RetranslatePictureMenus() {
    if (!m_pMainRightMenu)
        return;
    m_pPlayControlMenu->setTitle(Tr(IDS_Global_PlayControl, "Play Control"));
    m_pActTimeStampLocate->setText(Tr(IDS_PlaySetDlg_TimeStampLocate, "Locate Time Stamp"));
    m_pActFrameLocate->setText(Tr(IDS_PlaySetDlg_FrameLocate, "Locate Frame"));
    m_pActGlobalTimeLocate->setText(Tr(IDS_PlaySetDlg_GlobalTimeLocate, "Locate Global Time"));
    m_pThrowFrameMenu->setTitle(Tr(IDS_MainWnd_ThrowFrame, "Throw frame"));
    SetTexts(m_pThrowFrameGroup, {{IDS_PlaySetDlg_DonotThrowB, "Don't drop frame"},
                                  {IDS_PlaySetDlg_ThrowB1, "Drop 1 frame"},
                                  {IDS_PlaySetDlg_ThrowB2, "Drop 2 frame"}});
    m_pMotionFlowMenu->setTitle(Tr(IDS_MainWnd_MotionFlow, "Motion flow"));
    SetTexts(m_pMotionFlowGroup, {{IDS_MainWnd_MotionFlow_No, "No motion flow"},
                                  {IDS_MainWnd_MotionFlow_CPU, "CPU motion flow"},
                                  {IDS_MainWnd_MotionFlow_GPU, "GPU motion flow"}});
    m_pImageCtrlMenu->setTitle(Tr(IDS_PlaySetDlg_ImageControl, "Image Control"));
    m_pImgTurnMenu->setTitle(Tr(IDS_MainWnd_ImgTurn, "Image rotate angle"));
    SetTexts(m_pImgTurnGroup, {{IDS_MainWnd_Turn0, "Turn 0"},
                               {IDS_MainWnd_TurnLeft90, "Turn left 90"},
                               {IDS_MainWnd_TurnRight90, "Turn right 90"},
                               {IDS_MainWnd_Turn180, "Turn 180"}});
    SetTexts(m_pImgFlipGroup,
             {{IDS_MainWnd_FlipHorizontal, "Flip horizontal"}, {IDS_MainWnd_FlipVertical, "Flip vertical"}});
    m_pActColorAdjust->setText(Tr(IDS_PlaySetDlg_ColorAdjust, "Color Adjust"));
    m_pIVSInfoMenu->setTitle(Tr(IDS_Global_IVS, "VCA Info"));
    const QList<QAction*> lstIVS = m_pIVSInfoGroup->actions();
    for (int i = 0; i < lstIVS.size(); ++i)
        lstIVS[i]->setText(Tr(kPrivateDataEntries[i].szKey, kPrivateDataEntries[i].szDefault));
    m_pImgScaleMenu->setTitle(Tr(IDS_MainWnd_WHRatio, "Aspect ratio"));
    SetTexts(m_pImgScaleGroup, {{IDS_MainWnd_WHRatio_Original, "Original size"},
                                {IDS_MainWnd_WHRatio_4_3, "4:3"},
                                {IDS_MainWnd_WHRatio_16_9, "16:9"},
                                {IDS_MainWnd_WHRatio_Covered, "Covered window"}});
    m_pPlayWndPrecentMenu->setTitle(Tr(IDS_MainWnd_PlayWndPrecent, "Play windows precent"));
    SetTexts(m_pPlayWndPrecentGroup, {{IDS_Global_DoubleSize, "2x"},
                                      {IDS_Global_NormalSize, "Original Size"},
                                      {IDS_Global_HalfSize, "1/2 Size"},
                                      {IDS_Global_QuarterSize, "1/4 Size"}});
    m_pActCapPic->setText(Tr(IDS_Global_Capture, "Capture"));
    m_pActConCapPic->setText(Tr(IDS_Global_ContinuousCapture, "Continuous Capture"));
    m_pActPartZoom->setText(Tr(IDS_Global_Part, "Partial Zoom"));
}

bool CVelquinDlg::ShowRightMenu() {
    if (!m_pDlgShow || !m_pMainRightMenu)
        return false;
    const int nSel = m_pDlgShow->GetSelWndIndex();
    CPlayWnd* pSelWnd = m_pDlgShow->GetPlayWnd(nSel);
    const bool bActive = IsActive(m_pDlgShow->GetPlayState(nSel));
    const bool bSelNet = bActive && m_pDlgShow->GetOpenMode(nSel) == 2;
    const bool bHard = m_pDlgShow->IsHardDecode(nSel);

    // Check marks follow the selected window.
    const int nThrow = m_pDlgShow->GetThrowBFrame();
    CheckByValue(m_pThrowFrameGroup, nThrow == 1 || nThrow == 2 ? nThrow : 0, 0);
    const int nFlow = m_pDlgShow->GetMotionFlow();
    CheckByValue(m_pMotionFlowGroup, nFlow == 1 || nFlow == 2 ? nFlow : -1, -1);
    const uint nMask = m_pDlgShow->GetPrivateDataMask();
    for (QAction* pAction : m_pIVSInfoGroup->actions())
        pAction->setChecked((nMask & pAction->data().toUInt()) != 0);
    const int nScale = m_pDlgShow->GetImageScaleMode();
    CheckByValue(m_pImgScaleGroup, nScale >= 1 && nScale <= 3 ? nScale : 0, 0);
    CheckByValue(m_pImgTurnGroup, m_pDlgShow->GetRotateAngle(), -1);
    const uint nFlip = m_pDlgShow->GetFlip();
    for (QAction* pAction : m_pImgFlipGroup->actions())
        pAction->setChecked((nFlip & pAction->data().toUInt()) != 0);
    m_pActPartZoom->setChecked(pSelWnd && pSelWnd->IsPartZoom());
    m_pActConCapPic->setChecked(pSelWnd && pSelWnd->IsConCapping());

    // What needs a playing window.
    for (QMenu* pMenu : {m_pImgScaleMenu, m_pThrowFrameMenu, m_pMotionFlowMenu, m_pImageCtrlMenu})
        pMenu->menuAction()->setEnabled(bActive);
    m_pActCapPic->setEnabled(bActive);
    m_pActConCapPic->setEnabled(bActive && !(bHard && bSelNet));
    m_pActPartZoom->setEnabled(bActive);
    // A hardware-decoded stream cannot be turned or mirrored.
    const bool bTurnable = !(bHard && bSelNet);
    m_pImgTurnMenu->menuAction()->setEnabled(bTurnable);
    for (QAction* pAction : m_pImgFlipGroup->actions())
        pAction->setEnabled(bTurnable);
    m_pPlayWndPrecentMenu->menuAction()->setVisible(m_pDlgShow->GetPlayWndNum() == 1 || m_pDlgShow->IsMaxWnd());
    // Locating moves one window: not a stream, not a group.
    const bool bLocate = bActive && !bSelNet && !m_pDlgShow->IsSyncPlay();
    for (QAction* pAction : {m_pActTimeStampLocate, m_pActFrameLocate, m_pActGlobalTimeLocate})
        pAction->setEnabled(bLocate);

    // Fisheye material: its picture is a projection that these would break.
    bool bSRFile = false;
    if (CPlayHelper::IsSRFile(m_pDlgShow->GetSelWndFilePath(), &bSRFile) && bSRFile) {
        m_pMotionFlowMenu->menuAction()->setEnabled(false);
        m_pImgTurnMenu->menuAction()->setEnabled(false);
        for (QAction* pAction : m_pImgFlipGroup->actions())
            pAction->setEnabled(false);
        m_pActConCapPic->setEnabled(false);
        m_pActPartZoom->setEnabled(false);
        m_pActGlobalTimeLocate->setEnabled(false);
    }
    m_pMainRightMenu->popup(QCursor::pos());
    return true;
}

// ---------------------------------------------------------------------------
// Commands of the selected window

bool CVelquinDlg::On_SwitchThrowFrame(QAction* pAction) {
    if (!m_pDlgShow || !pAction)
        return false;
    return m_pDlgShow->SetThrowBFrame(pAction->data().toInt());
}

bool CVelquinDlg::On_SwitchMotionFlow(QAction* pAction) {
    if (!m_pDlgShow || !pAction)
        return false;
    return m_pDlgShow->SetMotionFlow(pAction->data().toInt());
}

bool CVelquinDlg::On_SwitchImgRotate(QAction* pAction) {
    if (!m_pDlgShow || !pAction)
        return false;
    return m_pDlgShow->SetRotateAngle(pAction->data().toInt());
}

bool CVelquinDlg::On_SwitchImgFlip(QAction* pAction) {
    if (!m_pDlgShow || !pAction)
        return false;
    // The window's own bits decide, not the action's check mark: the menu may
    // be older than the window's state.
    const uint nBit = pAction->data().toUInt();
    return m_pDlgShow->SetFlip(m_pDlgShow->GetFlip() ^ nBit);
}

bool CVelquinDlg::On_SwitchImageScaleMode(QAction* pAction) {
    if (!m_pDlgShow || !pAction)
        return false;
    return m_pDlgShow->SetImageScaleMode(pAction->data().toInt());
}

bool CVelquinDlg::On_SwitchPlayWndPrecentMode(QAction* pAction) {
    if (!m_pDlgShow || !pAction)
        return false;
    if (m_pDlgShow->GetPlayWndNum() != 1 && !m_pDlgShow->IsMaxWnd())
        return false;
    CPlayWnd* pSelWnd = m_pDlgShow->GetPlayWnd(m_pDlgShow->GetSelWndIndex());
    if (!pSelWnd || !IsActive(pSelWnd->GetPlayState()))
        return false;
    int nSrcW = 0;
    int nSrcH = 0;
    if (!pSelWnd->GetSourceSize(&nSrcW, &nSrcH) || nSrcW == 0 || nSrcH == 0)
        return false;

    // The frame around the picture stays; the stage's share is sized to the picture.
    const int nExtraW = width() - (m_pDlgShow->width() - kStageMargin);
    const int nExtraH = height() - (m_pDlgShow->height() - kStageMargin);
    const int nMode = pAction->data().toInt();
    int nPicW = nSrcW;
    int nPicH = nSrcH;
    CPlayWnd::PercentSize(nMode, nSrcW, nSrcH, &nPicW, &nPicH); // other modes keep the source size
    const int nTargetW = std::max(nPicW + nExtraW, kMinDlgWidth);
    const int nTargetH = std::max(nPicH + nExtraH, kMinDlgHeight);

    QScreen* pScreen = QGuiApplication::primaryScreen();
    const QRect rcAvail = pScreen ? pScreen->availableGeometry() : QRect(0, 0, nTargetW, nTargetH);
    if (nTargetW >= rcAvail.width() && nTargetH >= rcAvail.height()) {
        if (!m_bMaximized)
            On_ShowMaximized();
    } else {
        if (m_bMaximized)
            On_ShowMaximized();
        QRect rcDlg;
        if (nTargetW >= rcAvail.width()) {
            const int nH = static_cast<int>(static_cast<qint64>(nTargetH) * rcAvail.width() / nTargetW);
            rcDlg = QRect(0, (rcAvail.height() - nH) / 2, rcAvail.width(), nH);
        } else if (nTargetH >= rcAvail.height()) {
            const int nW = static_cast<int>(static_cast<qint64>(nTargetW) * rcAvail.height() / nTargetH);
            rcDlg = QRect((rcAvail.width() - nW) / 2, 0, nW, rcAvail.height());
        } else {
            rcDlg = QRect((rcAvail.width() - nTargetW) / 2, (rcAvail.height() - nTargetH) / 2, nTargetW,
                          nTargetH);
        }
        setGeometry(rcDlg);
    }
    // The dialog's resize has laid the windows out already; the size mode
    // comes after it so that it is not replaced at once.
    return m_pDlgShow->SetDisplayPercentMode(nMode);
}

bool CVelquinDlg::On_ShowIVSInfo(QAction* pAction) {
    if (!m_pDlgShow || !pAction)
        return false;
    const uint nBit = pAction->data().toUInt();
    const uint nMask = m_pDlgShow->GetPrivateDataMask();
    return m_pDlgShow->RenderPrivateData(m_pDlgShow->GetSelWndIndex(), nBit, (nMask & nBit) == 0);
}

bool CVelquinDlg::On_AdjustSelWndColor(int nBrightness, int nContrast, int nSaturation, int nHue) {
    if (!m_pDlgShow || !IsActive(m_pDlgShow->GetPlayState()))
        return false;
    m_pDlgShow->SetColor(nBrightness, nContrast, nSaturation, nHue);
    m_nBrightness = nBrightness;
    m_nContrast = nContrast;
    m_nSaturation = nSaturation;
    m_nHue = nHue;
    return true;
}

bool CVelquinDlg::On_ShowColorAdjustDlg() {
    if (!m_pDlgShow || !IsActive(m_pDlgShow->GetPlayState()))
        return false;
    ColorAdjustDlg dlg(this);
    dlg.Init();
    dlg.resize(kColorDlgWidth, kColorDlgHeight);
    connect(&dlg, &ColorAdjustDlg::Sig_AdjustColor, this, &CVelquinDlg::On_AdjustSelWndColor);
    dlg.SetColorValues(m_nBrightness, m_nContrast, m_nSaturation, m_nHue);
    dlg.exec();
    return true;
}

bool CVelquinDlg::On_PartZoom() {
    if (!m_pDlgShow || !IsActive(m_pDlgShow->GetPlayState()))
        return false;
    m_pDlgShow->SetPartZoom(!m_pDlgShow->IsPartZoom());
    On_UpdateCtrlsState();
    return true;
}

// ---------------------------------------------------------------------------
// A window that has just opened a file

void CVelquinDlg::ApplyPrivateDataMask(int nWnd) {
    CPlayWnd* pWnd = m_pDlgShow ? m_pDlgShow->GetPlayWnd(nWnd) : nullptr;
    if (!pWnd)
        return;
    // The window's choices survive a new file: the engine starts each with all on.
    const uint nMask = pWnd->GetPrivateDataMask();
    for (uint nBit : kPrivateDataApplyOrder)
        m_pDlgShow->RenderPrivateData(nWnd, nBit, (nMask & nBit) != 0);
}

void CVelquinDlg::ApplyRememberedColor(int nWnd) {
    CPlayWnd* pWnd = m_pDlgShow ? m_pDlgShow->GetPlayWnd(nWnd) : nullptr;
    if (pWnd)
        pWnd->SetColor(m_nBrightness, m_nContrast, m_nSaturation, m_nHue);
}
