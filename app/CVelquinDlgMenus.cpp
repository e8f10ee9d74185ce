// The main dialog's menus: the whole tree of menus and actions, what each action
// calls, the states of the stage's right-click menu and the other popups.
#include "CVelquinDlg.h"

#include <QAction>
#include <QActionGroup>
#include <QCursor>
#include <QListWidgetItem>
#include <QMenu>

#include "CDlgShow.h"
#include "CPlayHelper.h"
#include "CPlayWnd.h"
#include "CPlaylist.h"
#include "CSkinButton.h"
#include "LanguageKeys.h"
#include "MainDlgCommon.h"

using namespace maindlg;

namespace {

// The property names under which an action keeps its language key and the
// text shown when the language file lacks the key.
const char* const kLangKeyProp = "langKey";
const char* const kLangDefaultProp = "langDefault";

struct KeyedEntry {
    int nValue; // the action's data()
    const char* szKey;
    const char* szDefault;
};

// Private data kinds in menu order: the bit of each in a window's mask.
const KeyedEntry kPrivateDataEntries[] = {
    {1, IDS_IVS_AnaIntelData, "Intelligent Analysis"},
    {2, IDS_IVS_MD, "Move Detect"},
    {4, IDS_IVS_AddPos, "POS Add"},
    {32, IDS_IVS_TEM, "Temperature Info"},
    {8, IDS_IVS_AddPic, "Picture Add"},
    {16, IDS_IVS_FireDetec, "Fire Detect Info"},
};

QActionGroup* MakeGroup(QObject* pParent, bool bExclusive) {
    auto* pGroup = new QActionGroup(pParent);
    pGroup->setExclusionPolicy(bExclusive ? QActionGroup::ExclusionPolicy::Exclusive
                                          : QActionGroup::ExclusionPolicy::None);
    return pGroup;
}

// Checks the action whose value is nValue; none when no action has it.
void CheckByValue(QActionGroup* pGroup, int nValue) {
    for (QAction* pAction : pGroup->actions())
        pAction->setChecked(pAction->data().toInt() == nValue);
}

// Menu text of a language type; types without their own name read "English".
struct LangName {
    int nType;
    const char* szKey;
    const char* szDefault;
};
const LangName kLangNames[] = {
    {0, IDS_MainWnd_LangChinese_SI, "Chinese"},  {1, IDS_MainWnd_LangEnglish, "English"},
    {2, IDS_MainWnd_LangRussian, "Russian"},     {4, IDS_MainWnd_LangBulgarian, "Bulgarian"},
    {5, IDS_MainWnd_LangHungarian, "Hungarian"}, {7, IDS_MainWnd_LangGerman, "German"},
    {8, IDS_MainWnd_LangItalian, "Italian"},     {9, IDS_MainWnd_LangCzech, "Czech"},
    {11, IDS_MainWnd_LangFrance, "Frence"},      {12, IDS_MainWnd_LangPolish, "Polski"},
    {13, IDS_MainWnd_LangDutch, "Nederlands"},   {14, IDS_MainWnd_LangPortuguese, "Portuguese"},
    {15, IDS_MainWnd_LangSpanish, "Español"},    {17, IDS_MainWnd_LangDanish, "Dansk"},
    {24, IDS_MainWnd_LangTurkish, "Turkish"},    {26, IDS_MainWnd_LangChinese_TR, "繁體中文"},
    {27, IDS_MainWnd_LangThai, "ภาษาไทย"},       {29, IDS_MainWnd_LangJapanese, "日本語"},
};

// Language type of the i-th language action; the single action of a missing
// language list is English.
int LangTypeAt(const PlayerConfig& stCfg, int i) {
    return i >= 0 && i < stCfg.vecLanguages.size() ? stCfg.vecLanguages.at(i).nLanguageId : 1;
}

const LangName& LangNameOfType(int nType) {
    for (const LangName& name : kLangNames) {
        if (name.nType == nType)
            return name;
    }
    return kLangNames[1];
}

} // namespace

// ---------------------------------------------------------------------------
// Keyed actions

QAction* CVelquinDlg::KeyAction(QAction* pAction, const char* szKey, const char* szDefault) {
    pAction->setProperty(kLangKeyProp, QString::fromLatin1(szKey));
    pAction->setProperty(kLangDefaultProp, QString::fromUtf8(szDefault));
    if (!m_lstKeyedActions.contains(pAction))
        m_lstKeyedActions.append(pAction);
    return pAction;
}

QMenu* CVelquinDlg::NewKeyedMenu(const char* szName, const char* szKey, const char* szDefault) {
    auto* pMenu = new QMenu(this);
    pMenu->setObjectName(QString::fromLatin1(szName));
    // A menu's title is the text of its menu action.
    KeyAction(pMenu->menuAction(), szKey, szDefault);
    return pMenu;
}

QAction* CVelquinDlg::NewKeyedAction(QMenu* pMenu, const char* szKey, const char* szDefault,
                                     bool bCheckable) {
    QAction* pAction = pMenu->addAction(QString());
    pAction->setCheckable(bCheckable);
    return KeyAction(pAction, szKey, szDefault);
}

void CVelquinDlg::RetranslateMenus() {
    for (QAction* pAction : m_lstKeyedActions)
        pAction->setText(
            Text(pAction->property(kLangKeyProp).toString(), pAction->property(kLangDefaultProp).toString()));
    SetLangActionTexts();
}

// ---------------------------------------------------------------------------
// The tree

bool CVelquinDlg::InitMenus() {
    if (!InitMainMenu())
        return false;

    // The playlist's right menu and the delete button's menu share their actions.
    m_pPlaylistRightMenu = new QMenu(this);
    m_pPlaylistRightMenu->setObjectName(QStringLiteral("m_pPlaylistRightMenu"));
    m_pActListPlayOrPause = NewKeyedAction(m_pPlaylistRightMenu, IDS_Global_PlayOrPause, "Play/Pause");
    m_pPlaylistRightMenu->addSeparator();
    m_pActListDelete =
        NewKeyedAction(m_pPlaylistRightMenu, IDS_MainWnd_DelFileInPlaylist, "Delete the Selected File");
    m_pActListRemoveInvalid =
        NewKeyedAction(m_pPlaylistRightMenu, IDS_MainWnd_RemoveInvalidFiles, "Remove invalid files");
    m_pActListClear = NewKeyedAction(m_pPlaylistRightMenu, IDS_MainWnd_ClearPlaylist, "Clear the Playlist");
    m_pPlaylistRightMenu->addSeparator();
    m_pActListOpenFolder =
        NewKeyedAction(m_pPlaylistRightMenu, IDS_MainWnd_OpenFolderOfFile, "Open folder of file");
    m_pPlaylistRightMenu->addSeparator();
    m_pActListSetSecret = NewKeyedAction(m_pPlaylistRightMenu, IDS_MainWnd_SetSecret, "Enter Key");
    m_pPlaylistDelMenu = new QMenu(this);
    m_pPlaylistDelMenu->setObjectName(QStringLiteral("m_pPlaylistDelMenu"));
    m_pPlaylistDelMenu->addAction(m_pActListDelete);
    m_pPlaylistDelMenu->addAction(m_pActListRemoveInvalid);
    m_pPlaylistDelMenu->addAction(m_pActListClear);

    m_pPlayModeMenu = NewKeyedMenu("m_pPlayModeMenu", IDS_MainWnd_PlayMode, "Play Mode");
    m_pPlayModeGroup = MakeGroup(this, true);
    const KeyedEntry kPlayModes[] = {{1, IDS_MainWnd_SinglePlay, "Single Play"},
                                     {2, IDS_MainWnd_ListPlay, "Playlist Order"},
                                     {3, IDS_MainWnd_SingleRepeat, "Loop Single File"},
                                     {4, IDS_MainWnd_ListRepeat, "Loop Playlist"}};
    for (int i = 0; i < 4; ++i) {
        m_pActPlayMode[i] =
            NewKeyedAction(m_pPlayModeMenu, kPlayModes[i].szKey, kPlayModes[i].szDefault, true);
        m_pActPlayMode[i]->setData(kPlayModes[i].nValue);
        m_pPlayModeGroup->addAction(m_pActPlayMode[i]);
    }

    // The stage's right menu.
    m_pMainRightMenu = new QMenu(this);
    m_pMainRightMenu->setObjectName(QStringLiteral("m_pMainRightMenu"));
    m_pMainRightMenu->addSeparator();
    m_pActFullScreen = NewKeyedAction(m_pMainRightMenu, IDS_MainWnd_FullScreen, "Full Screen", true);
    m_pMainRightMenu->addSeparator();

    m_pOnTopModeMenu = NewKeyedMenu("m_pOnTopModeMenu", IDS_MainWnd_TopDiaplay, "Display on Top");
    m_pTopModeGroup = MakeGroup(this, true);
    const KeyedEntry kTopModes[] = {{1, IDS_MainWnd_PlayTop, "Only When Playing"},
                                    {0, IDS_MainWnd_NeverTop, "Never"},
                                    {2, IDS_MainWnd_AlwaysTop, "Always"}};
    for (const KeyedEntry& entry : kTopModes) {
        QAction* pAction = NewKeyedAction(m_pOnTopModeMenu, entry.szKey, entry.szDefault, true);
        pAction->setData(entry.nValue);
        m_pTopModeGroup->addAction(pAction);
    }
    m_pMainRightMenu->addMenu(m_pOnTopModeMenu);

    if (!InitPlayControlMenu())
        return false;
    m_pMainRightMenu->addMenu(m_pPlayControlMenu);
    m_pMainRightMenu->addMenu(m_pPlayModeMenu);
    m_pActMute = NewKeyedAction(m_pMainRightMenu, IDS_Global_Mute, "Mute", true);

    m_pImageCtrlMenu = NewKeyedMenu("m_pImageCtrlMenu", IDS_PlaySetDlg_ImageControl, "Image Control");
    m_pImgTurnMenu = NewKeyedMenu("m_pImgTurnMenu", IDS_MainWnd_ImgTurn, "Image rotate angle");
    m_pImgTurnGroup = MakeGroup(this, true);
    const KeyedEntry kTurns[] = {{-1, IDS_MainWnd_Turn0, "Turn 0"},
                                 {0, IDS_MainWnd_TurnLeft90, "Turn left 90"},
                                 {1, IDS_MainWnd_TurnRight90, "Turn right 90"},
                                 {2, IDS_MainWnd_Turn180, "Turn 180"}};
    for (const KeyedEntry& entry : kTurns) {
        QAction* pAction = NewKeyedAction(m_pImgTurnMenu, entry.szKey, entry.szDefault, true);
        pAction->setData(entry.nValue);
        m_pImgTurnGroup->addAction(pAction);
    }
    m_pImageCtrlMenu->addMenu(m_pImgTurnMenu);
    // The two mirror bits are independent of each other and of the turn.
    m_pImgFlipGroup = MakeGroup(this, false);
    const KeyedEntry kFlips[] = {{int(TAVRIX_FLIP_HORIZONTAL), IDS_MainWnd_FlipHorizontal, "Flip horizontal"},
                                 {int(TAVRIX_FLIP_VERTICAL), IDS_MainWnd_FlipVertical, "Flip vertical"}};
    for (const KeyedEntry& entry : kFlips) {
        QAction* pAction = NewKeyedAction(m_pImageCtrlMenu, entry.szKey, entry.szDefault, true);
        pAction->setData(uint(entry.nValue));
        pAction->setObjectName(entry.nValue == int(TAVRIX_FLIP_HORIZONTAL)
                                   ? QStringLiteral("m_pActFlipHorizontal")
                                   : QStringLiteral("m_pActFlipVertical"));
        m_pImgFlipGroup->addAction(pAction);
    }
    m_pImageCtrlMenu->addSeparator();
    m_pActColorAdjust = NewKeyedAction(m_pImageCtrlMenu, IDS_PlaySetDlg_ColorAdjust, "Color Adjust");
    m_pActColorAdjust->setObjectName(QStringLiteral("m_pActColorAdjust"));
    m_pImageCtrlMenu->addSeparator();
    m_pActWatermark = NewKeyedAction(m_pImageCtrlMenu, IDS_Global_Watermark, "Watermark");
    m_pActWatermark->setObjectName(QStringLiteral("m_pActWatermark"));
    m_pIVSInfoMenu = NewKeyedMenu("m_pIVSInfoMenu", IDS_Global_IVS, "VCA Info");
    m_pIVSInfoGroup = MakeGroup(this, false);
    for (const KeyedEntry& entry : kPrivateDataEntries) {
        QAction* pAction = NewKeyedAction(m_pIVSInfoMenu, entry.szKey, entry.szDefault, true);
        pAction->setData(uint(entry.nValue));
        m_pIVSInfoGroup->addAction(pAction);
    }
    m_pImageCtrlMenu->addMenu(m_pIVSInfoMenu);
    m_pMainRightMenu->addMenu(m_pImageCtrlMenu);

    m_pImgScaleMenu = NewKeyedMenu("m_pImgScaleMenu", IDS_MainWnd_WHRatio, "Aspect ratio");
    m_pImgScaleGroup = MakeGroup(this, true);
    const KeyedEntry kScales[] = {{1, IDS_MainWnd_WHRatio_Original, "Original size"},
                                  {2, IDS_MainWnd_WHRatio_4_3, "4:3"},
                                  {3, IDS_MainWnd_WHRatio_16_9, "16:9"},
                                  {0, IDS_MainWnd_WHRatio_Covered, "Covered window"}};
    for (const KeyedEntry& entry : kScales) {
        QAction* pAction = NewKeyedAction(m_pImgScaleMenu, entry.szKey, entry.szDefault, true);
        pAction->setData(entry.nValue);
        m_pImgScaleGroup->addAction(pAction);
    }
    m_pPlayWndPrecentMenu =
        NewKeyedMenu("m_pPlayWndPrecentMenu", IDS_MainWnd_PlayWndPrecent, "Play windows precent");
    m_pPlayWndPrecentGroup = MakeGroup(this, false);
    const KeyedEntry kSizes[] = {{2, IDS_Global_DoubleSize, "2x"},
                                 {1, IDS_Global_NormalSize, "Original Size"},
                                 {3, IDS_Global_HalfSize, "1/2 Size"},
                                 {4, IDS_Global_QuarterSize, "1/4 Size"}};
    for (const KeyedEntry& entry : kSizes) {
        QAction* pAction = NewKeyedAction(m_pPlayWndPrecentMenu, entry.szKey, entry.szDefault);
        pAction->setData(entry.nValue);
        m_pPlayWndPrecentGroup->addAction(pAction);
    }
    m_pMainRightMenu->addMenu(m_pImgScaleMenu);
    m_pMainRightMenu->addMenu(m_pPlayWndPrecentMenu);

    m_pMainRightMenu->addSeparator();
    m_pPlayWndLayoutMenu = NewKeyedMenu("m_pPlayWndLayoutMenu", IDS_PlayWnd_PlayWndLayout, "Layout");
    m_pLayoutGroup = MakeGroup(this, true);
    m_pActLayout1 = NewKeyedAction(m_pPlayWndLayoutMenu, IDS_PlayWnd_1PlayWnd, "1 window", true);
    m_pActLayout4 = NewKeyedAction(m_pPlayWndLayoutMenu, IDS_PlayWnd_4PlayWnd, "4 window", true);
    m_pActLayout9 = NewKeyedAction(m_pPlayWndLayoutMenu, IDS_PlayWnd_9PlayWnd, "9 window", true);
    m_pActLayout16 = NewKeyedAction(m_pPlayWndLayoutMenu, IDS_PlayWnd_16PlayWnd, "16 window", true);
    for (QAction* pAction : {m_pActLayout1, m_pActLayout4, m_pActLayout9, m_pActLayout16})
        m_pLayoutGroup->addAction(pAction);
    m_pMainRightMenu->addMenu(m_pPlayWndLayoutMenu);

    m_pMainRightMenu->addSeparator();
    m_pActCapPic = NewKeyedAction(m_pMainRightMenu, IDS_Global_Capture, "Capture");
    m_pActCapPic->setObjectName(QStringLiteral("m_pActCapPic"));
    m_pActConCapPic =
        NewKeyedAction(m_pMainRightMenu, IDS_Global_ContinuousCapture, "Continuous Capture", true);
    m_pActConCapPic->setObjectName(QStringLiteral("m_pActConCapPic"));
    m_pActPartZoom = NewKeyedAction(m_pMainRightMenu, IDS_Global_Part, "Partial Zoom", true);
    m_pActPartZoom->setObjectName(QStringLiteral("m_pActPartZoom"));

    m_pMainRightMenu->addSeparator();
    m_pActCut = NewKeyedAction(m_pMainRightMenu, IDS_Global_Cut, "Clip");
    m_pActConvert = NewKeyedAction(m_pMainRightMenu, IDS_Global_Convert, "Convert");
    m_pActMerge = NewKeyedAction(m_pMainRightMenu, IDS_Global_Merge, "Merge");
    m_pActMediaStream = NewKeyedAction(m_pMainRightMenu, IDS_Global_MediaStream, "Media Streaming");
    m_pActFisheye = NewKeyedAction(m_pMainRightMenu, IDS_FEC_FisheyeExpansion, "Fisheye Expansion");
    connect(m_pActFisheye, &QAction::triggered, this, &CVelquinDlg::On_OpenFEC);

    m_pMainRightMenu->addSeparator();
    m_pMainRightMenu->addAction(m_pActSetting);
    m_pActFileInfo = NewKeyedAction(m_pMainRightMenu, IDS_Global_FileInfo, "File Information");
    connect(m_pActFileInfo, &QAction::triggered, this, &CVelquinDlg::On_ShowFileInfoDlg);
    return InitMenuConnections();
}

bool CVelquinDlg::InitMainMenu() {
    m_pMainMenu = new QMenu(this);
    m_pMainMenu->setObjectName(QStringLiteral("m_pMainMenu"));
    m_pOpenMenu = NewKeyedMenu("m_pOpenMenu", IDS_Global_Open, "Open");
    m_pActOpenFile = NewKeyedAction(m_pOpenMenu, IDS_Global_OpenFile, "Open File");
    m_pActOpenFolder = NewKeyedAction(m_pOpenMenu, IDS_Global_OpenFolder, "Open Folder");
    m_pActOpenURL = NewKeyedAction(m_pOpenMenu, IDS_Global_OpenURL, "Open URL");
    m_pMainMenu->addMenu(m_pOpenMenu);

    m_pLanguageMenu = NewKeyedMenu("m_pLanguageMenu", IDS_MainWnd_Language, "Language");
    m_pLangGroup = MakeGroup(this, true);
    CreateLangActions();
    m_pMainMenu->addMenu(m_pLanguageMenu);

    m_pActSetting = NewKeyedAction(m_pMainMenu, IDS_Global_Setting, "Setting");
    // Queued: the modal dialog runs after the menu has closed. The right menu
    // shows the same action.
    connect(m_pActSetting, &QAction::triggered, this, &CVelquinDlg::On_ShowPlaySettingDlg,
            Qt::QueuedConnection);
    m_pActUserManual = NewKeyedAction(m_pMainMenu, IDS_Global_UserManual, "User Manual");
    m_pActAbout = NewKeyedAction(m_pMainMenu, IDS_Global_About, "About");
    return true;
}

bool CVelquinDlg::InitPlayControlMenu() {
    m_pPlayControlMenu = NewKeyedMenu("m_pPlayControlMenu", IDS_Global_PlayControl, "Play Control");
    QMenu* pMenu = m_pPlayControlMenu;
    m_pActPlayOrPause = NewKeyedAction(pMenu, IDS_Global_PlayOrPause, "Play/Pause");
    m_pActStop = NewKeyedAction(pMenu, IDS_Global_Stop, "Stop");
    pMenu->addSeparator();
    m_pActBackPlay = NewKeyedAction(pMenu, IDS_Global_BackPlay, "Reverse Play", true);
    m_pActTimeStampLocate = NewKeyedAction(pMenu, IDS_PlaySetDlg_TimeStampLocate, "Locate Time Stamp");
    m_pActFrameLocate = NewKeyedAction(pMenu, IDS_PlaySetDlg_FrameLocate, "Locate Frame");
    m_pActGlobalTimeLocate = NewKeyedAction(pMenu, IDS_PlaySetDlg_GlobalTimeLocate, "Locate Global Time");
    m_pActNextFrame = NewKeyedAction(pMenu, IDS_Global_NextFrame, "Forward One Frame");
    m_pActLastFrame = NewKeyedAction(pMenu, IDS_Global_LastFrame, "Backward One Frame");
    m_pActSpeedUp = NewKeyedAction(pMenu, IDS_Global_SpeedUp, "Fast Forward");
    m_pActSpeedDown = NewKeyedAction(pMenu, IDS_Global_SpeedDown, "Slow Forward");
    m_pActRestoreSpeed = NewKeyedAction(pMenu, IDS_Global_RestoreCommonSpeed, "Restore Common Speed");
    m_pActGotoStart = NewKeyedAction(pMenu, IDS_Global_GotoStart, "Back to the Opening");
    m_pActGotoEnd = NewKeyedAction(pMenu, IDS_Global_GotoEnd, "Go to End");
    pMenu->addSeparator();

    m_pThrowFrameMenu = NewKeyedMenu("m_pThrowFrameMenu", IDS_MainWnd_ThrowFrame, "Throw frame");
    m_pThrowFrameGroup = MakeGroup(this, true);
    const KeyedEntry kThrows[] = {{0, IDS_PlaySetDlg_DonotThrowB, "Don't drop frame"},
                                  {1, IDS_PlaySetDlg_ThrowB1, "Drop 1 frame"},
                                  {2, IDS_PlaySetDlg_ThrowB2, "Drop 2 frame"}};
    for (const KeyedEntry& entry : kThrows) {
        QAction* pAction = NewKeyedAction(m_pThrowFrameMenu, entry.szKey, entry.szDefault, true);
        pAction->setData(entry.nValue);
        m_pThrowFrameGroup->addAction(pAction);
    }
    m_pMotionFlowMenu = NewKeyedMenu("m_pMotionFlowMenu", IDS_MainWnd_MotionFlow, "Motion flow");
    m_pMotionFlowGroup = MakeGroup(this, true);
    const KeyedEntry kFlows[] = {{0, IDS_MainWnd_MotionFlow_No, "No motion flow"},
                                 {1, IDS_MainWnd_MotionFlow_CPU, "CPU motion flow"},
                                 {2, IDS_MainWnd_MotionFlow_GPU, "GPU motion flow"}};
    for (const KeyedEntry& entry : kFlows) {
        QAction* pAction = NewKeyedAction(m_pMotionFlowMenu, entry.szKey, entry.szDefault, true);
        pAction->setData(entry.nValue);
        m_pMotionFlowGroup->addAction(pAction);
    }
    // No graphics-card interpolator is available: its entry never shows.
    m_pMotionFlowGroup->actions().at(2)->setVisible(false);
    pMenu->addMenu(m_pThrowFrameMenu);
    pMenu->addMenu(m_pMotionFlowMenu);
    pMenu->addSeparator();
    m_pActABRepeat = NewKeyedAction(pMenu, IDS_MainWnd_ABRepeat, "A-B repeat", true);
    return true;
}

bool CVelquinDlg::InitMenuConnections() {
    bool bOk = true;
    auto triggered = [&](QAction* pAction, bool (CVelquinDlg::*pSlot)()) {
        bOk &= bool(connect(pAction, &QAction::triggered, this, pSlot));
    };
    auto group = [&](QActionGroup* pGroup, bool (CVelquinDlg::*pSlot)(QAction*)) {
        bOk &= bool(connect(pGroup, &QActionGroup::triggered, this, pSlot));
    };
    group(m_pLangGroup, &CVelquinDlg::On_SwitchLanguage);
    group(m_pIVSInfoGroup, &CVelquinDlg::On_ShowIVSInfo);
    group(m_pThrowFrameGroup, &CVelquinDlg::On_SwitchThrowFrame);
    group(m_pMotionFlowGroup, &CVelquinDlg::On_SwitchMotionFlow);
    group(m_pImgTurnGroup, &CVelquinDlg::On_SwitchImgRotate);
    group(m_pImgFlipGroup, &CVelquinDlg::On_SwitchImgFlip);
    group(m_pPlayModeGroup, &CVelquinDlg::On_SwitchPlayMode);
    group(m_pPlayWndPrecentGroup, &CVelquinDlg::On_SwitchPlayWndPrecentMode);
    group(m_pImgScaleGroup, &CVelquinDlg::On_SwitchImageScaleMode);
    group(m_pLayoutGroup, &CVelquinDlg::On_SwitchLayoutMode);
    group(m_pTopModeGroup, &CVelquinDlg::On_SwitchTopMode);
    triggered(m_pActFullScreen, &CVelquinDlg::On_FullScreen);

    triggered(m_pActOpenFile, &CVelquinDlg::On_OpenFiles);
    triggered(m_pActOpenFolder, &CVelquinDlg::On_OpenFolder);
    // Queued: the modal dialog runs after the menu has closed.
    bOk &= bool(
        connect(m_pActOpenURL, &QAction::triggered, this, &CVelquinDlg::On_OpenURL, Qt::QueuedConnection));
    triggered(m_pActUserManual, &CVelquinDlg::On_ShowUserManual);
    triggered(m_pActAbout, &CVelquinDlg::On_ShowAboutDlg);

    triggered(m_pActPlayOrPause, &CVelquinDlg::On_PlayOrPause);
    triggered(m_pActStop, &CVelquinDlg::On_Stop);
    triggered(m_pActBackPlay, &CVelquinDlg::On_ReversePlay);
    triggered(m_pActTimeStampLocate, &CVelquinDlg::On_ShowTimeStampLocateDlg);
    triggered(m_pActFrameLocate, &CVelquinDlg::On_ShowFrameLocateDlg);
    triggered(m_pActGlobalTimeLocate, &CVelquinDlg::On_ShowGlobalTimeLocateDlg);
    triggered(m_pActNextFrame, &CVelquinDlg::On_FrameForward);
    triggered(m_pActLastFrame, &CVelquinDlg::On_FrameBackward);
    triggered(m_pActSpeedUp, &CVelquinDlg::On_Fast);
    triggered(m_pActSpeedDown, &CVelquinDlg::On_Slow);
    triggered(m_pActRestoreSpeed, &CVelquinDlg::On_RestoreCommonSpeed);
    triggered(m_pActGotoStart, &CVelquinDlg::On_GoToBegin);
    triggered(m_pActGotoEnd, &CVelquinDlg::On_GoToEnd);
    triggered(m_pActABRepeat, &CVelquinDlg::On_ABRepeat);
    triggered(m_pActMute, &CVelquinDlg::On_Mute);
    triggered(m_pActColorAdjust, &CVelquinDlg::On_ShowColorAdjustDlg);
    triggered(m_pActWatermark, &CVelquinDlg::On_ShowWatermarkDlg);
    triggered(m_pActCapPic, &CVelquinDlg::On_CapPic);
    triggered(m_pActConCapPic, &CVelquinDlg::On_ConCapPic);
    triggered(m_pActPartZoom, &CVelquinDlg::On_PartZoom);
    triggered(m_pActCut, &CVelquinDlg::On_RightMenuFileCutClick);
    triggered(m_pActConvert, &CVelquinDlg::On_RightMenuFileConvertClick);
    triggered(m_pActMerge, &CVelquinDlg::On_RightMenuFileMergeClick);
    triggered(m_pActMediaStream, &CVelquinDlg::On_RightMenuNpsStreamClick);

    triggered(m_pActListPlayOrPause, &CVelquinDlg::On_PlaySelectedRow);
    triggered(m_pActListDelete, &CVelquinDlg::On_DelSelFiles);
    triggered(m_pActListRemoveInvalid, &CVelquinDlg::On_ClearInvalidFiles);
    triggered(m_pActListClear, &CVelquinDlg::On_ClearPlaylist);
    triggered(m_pActListOpenFolder, &CVelquinDlg::On_OpenCurFileFolder);
    triggered(m_pActListSetSecret, &CVelquinDlg::On_ShowInputKeyDlg);
    return bOk;
}

// ---------------------------------------------------------------------------
// Language actions

bool CVelquinDlg::CreateLangActions() {
    for (QAction* pAction : m_listLangActions) {
        m_pLangGroup->removeAction(pAction);
        delete pAction;
    }
    m_listLangActions.clear();
    // Without a language list there is one entry, English.
    const int nCount = m_stPlayerCfg.vecLanguages.isEmpty() ? 1 : int(m_stPlayerCfg.vecLanguages.size());
    for (int i = 0; i < nCount; ++i) {
        QAction* pAction = m_pLanguageMenu->addAction(QString());
        pAction->setCheckable(true);
        m_pLangGroup->addAction(pAction);
        m_listLangActions.append(pAction);
    }
    return true;
}

bool CVelquinDlg::SetLangActionTexts() {
    if (m_listLangActions.isEmpty())
        return false;
    for (int i = 0; i < m_listLangActions.size(); ++i) {
        const LangName& name = LangNameOfType(LangTypeAt(m_stPlayerCfg, i));
        QAction* pAction = m_listLangActions.at(i);
        pAction->setProperty(kLangKeyProp, QString::fromLatin1(name.szKey));
        pAction->setProperty(kLangDefaultProp, QString::fromUtf8(name.szDefault));
        pAction->setText(Text(QString::fromLatin1(name.szKey), QString::fromUtf8(name.szDefault)));
    }
    return true;
}

// ---------------------------------------------------------------------------
// Popups

bool CVelquinDlg::On_ShowMainMenu() {
    if (!m_pMainMenu || !m_pBtnMainMenu)
        return false;
    m_pOpenMenu->menuAction()->setEnabled(!IsSyncPlay());
    for (int i = 0; i < m_listLangActions.size(); ++i) {
        const bool bCurrent =
            m_stPlayerCfg.vecLanguages.isEmpty() || LangTypeAt(m_stPlayerCfg, i) == m_stPlayerCfg.nLanguage;
        m_listLangActions.at(i)->setChecked(bCurrent);
    }
    m_pMainMenu->popup(m_pBtnMainMenu->mapToGlobal(QPoint(0, m_pBtnMainMenu->height())));
    return true;
}

void CVelquinDlg::UpdateRightMenuState() {
    const int nSel = m_pDlgShow->GetSelWndIndex();
    CPlayWnd* pSelWnd = m_pDlgShow->GetPlayWnd(nSel);
    const bool bActive = IsActiveState(m_pDlgShow->GetPlayState(nSel));
    const bool bSelNet = bActive && m_pDlgShow->GetOpenMode(nSel) == 2;
    const bool bHard = m_pDlgShow->IsHardDecode(nSel);
    const bool bSync = m_pDlgShow->IsSyncPlay();
    int nShown = 0;
    for (int i = 0; i < m_pDlgShow->GetPlayWndNum() && i < MAX_PLAY_WND; ++i)
        nShown += IsActiveState(m_pDlgShow->GetPlayState(i)) ? 1 : 0;

    // Check marks.
    CheckByValue(m_pTopModeGroup, m_nTopMode == 1 || m_nTopMode == 2 ? m_nTopMode : 0);
    CheckByValue(m_pPlayModeGroup, m_nPlayMode >= 2 && m_nPlayMode <= 4 ? m_nPlayMode : 1);
    const int nWndNum = m_pDlgShow->GetPlayWndNum();
    m_pActLayout1->setChecked(nWndNum != 4 && nWndNum != 9 && nWndNum != 16);
    m_pActLayout4->setChecked(nWndNum == 4);
    m_pActLayout9->setChecked(nWndNum == 9);
    m_pActLayout16->setChecked(nWndNum == 16);
    m_pActMute->setChecked(m_bMute);
    m_pActFullScreen->setChecked(m_bFullScreen);
    const int nThrow = m_pDlgShow->GetThrowBFrame();
    CheckByValue(m_pThrowFrameGroup, nThrow == 1 || nThrow == 2 ? nThrow : 0);
    const int nFlow = m_pDlgShow->GetMotionFlow();
    CheckByValue(m_pMotionFlowGroup, nFlow == 1 || nFlow == 2 ? nFlow : 0);
    const uint nMask = m_pDlgShow->GetPrivateDataMask();
    for (QAction* pAction : m_pIVSInfoGroup->actions())
        pAction->setChecked((nMask & pAction->data().toUInt()) != 0);
    const int nScale = m_pDlgShow->GetImageScaleMode();
    CheckByValue(m_pImgScaleGroup, nScale >= 1 && nScale <= 3 ? nScale : 0);
    const int nTurn = m_pDlgShow->GetRotateAngle();
    CheckByValue(m_pImgTurnGroup, nTurn >= 0 && nTurn <= 2 ? nTurn : -1);
    const uint nFlip = m_pDlgShow->GetFlip();
    for (QAction* pAction : m_pImgFlipGroup->actions())
        pAction->setChecked((nFlip & pAction->data().toUInt()) != 0);
    m_pActPartZoom->setChecked(pSelWnd && pSelWnd->IsPartZoom());
    m_pActConCapPic->setChecked(pSelWnd && pSelWnd->IsConCapping());

    // Enabled and visible.
    m_pOpenMenu->menuAction()->setEnabled(!bSync);
    m_pOnTopModeMenu->menuAction()->setEnabled(!m_bFullScreen);
    m_pPlayModeMenu->menuAction()->setEnabled(!bSync);
    m_pPlayModeMenu->setEnabled(!bSync);
    m_pActFullScreen->setEnabled(m_bFullScreen || nShown >= 1);
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
    // A running stream is stopped, not paused.
    m_pActPlayOrPause->setEnabled(!bSelNet);
    m_pActStop->setEnabled(bActive || bSync);
    // Stepping and locating move one window of a file: not a stream, not a group.
    const bool bStep = !bSelNet && bActive && !bSync;
    for (QAction* pAction : {m_pActBackPlay, m_pActTimeStampLocate, m_pActFrameLocate, m_pActGlobalTimeLocate,
                             m_pActNextFrame, m_pActLastFrame, m_pActGotoStart, m_pActGotoEnd})
        pAction->setEnabled(bStep);
    m_pActBackPlay->setChecked(bStep && m_pDlgShow->IsBackPlay());
    // Speed acts on a group as well.
    const bool bSpeed = !bSelNet && (bActive || bSync);
    for (QAction* pAction : {m_pActSpeedUp, m_pActSpeedDown, m_pActRestoreSpeed})
        pAction->setEnabled(bSpeed);
    m_pActFileInfo->setEnabled(!bSelNet && bActive);
    m_pActFisheye->setEnabled(!bSelNet && bActive);
    bool bASet = false;
    bool bBSet = false;
    uint nA = 0;
    uint nB = 0;
    m_pDlgShow->GetRepeatA(&bASet, &nA);
    m_pDlgShow->GetRepeatB(&bBSet, &nB);
    m_pActABRepeat->setEnabled(bStep);
    m_pActABRepeat->setChecked(bStep && bASet && bBSet);
    m_pPlayWndPrecentMenu->menuAction()->setVisible(nWndNum == 1 || m_pDlgShow->IsMaxWnd());
    // Sizing the dialog to the picture means nothing while the stage fills the screen.
    m_pPlayWndPrecentMenu->menuAction()->setEnabled(!m_bFullScreen);
    m_pPlayWndLayoutMenu->menuAction()->setVisible(!bSync);

    // Fisheye material: its picture is a projection that these would break.
    bool bSRFile = false;
    if (CPlayHelper::IsSRFile(m_pDlgShow->GetSelWndFilePath(), &bSRFile) && bSRFile) {
        for (QAction* pAction :
             {m_pActBackPlay, m_pActGlobalTimeLocate, m_pActLastFrame, m_pActConCapPic, m_pActPartZoom,
              m_pActFisheye, m_pMotionFlowMenu->menuAction(), m_pImgTurnMenu->menuAction()})
            pAction->setEnabled(false);
        for (QAction* pAction : m_pImgFlipGroup->actions())
            pAction->setEnabled(false);
    }
}

bool CVelquinDlg::ShowRightMenu() {
    if (!m_pDlgShow || !m_pMainRightMenu)
        return false;
    UpdateRightMenuState();
    m_pMainRightMenu->popup(QCursor::pos());
    return true;
}

bool CVelquinDlg::On_ShowPlayModeMenu() {
    if (!m_pPlayModeMenu || !m_pBtnPlayMode)
        return false;
    m_pActPlayMode[(m_nPlayMode >= 1 && m_nPlayMode <= 4) ? m_nPlayMode - 1 : 0]->setChecked(true);
    m_pPlayModeMenu->setEnabled(!IsSyncPlay());
    m_pPlayModeMenu->popup(m_pBtnPlayMode->mapToGlobal(QPoint(0, m_pBtnPlayMode->height())));
    return true;
}

bool CVelquinDlg::On_ShowPlaylistRightMenu(QPoint ptMouseGlobalPos) {
    if (!m_pPlaylist || !m_pPlaylistRightMenu)
        return false;
    const QList<QListWidgetItem*> lstSel = m_pPlaylist->selectedItems();
    m_pActListDelete->setVisible(!lstSel.isEmpty());
    OpenInfo stInfo;
    const bool bOneFile =
        lstSel.size() == 1 && m_pPlaylist->GetOpenInfo(lstSel.first(), &stInfo) && stInfo.nMediaType != 2;
    m_pActListOpenFolder->setVisible(bOneFile);
    m_pActListPlayOrPause->setVisible(bOneFile);
    bool bAnyEncrypted = false;
    for (QListWidgetItem* pItem : lstSel) {
        OpenInfo stRow;
        if (m_pPlaylist->GetOpenInfo(pItem, &stRow) && stRow.bEncrypted) {
            bAnyEncrypted = true;
            break;
        }
    }
    m_pActListSetSecret->setVisible(bAnyEncrypted);
    m_pPlaylistRightMenu->popup(ptMouseGlobalPos);
    return true;
}

bool CVelquinDlg::On_ShowPlaylistDelMenu() {
    if (!m_pPlaylist || !m_pPlaylistDelMenu)
        return false;
    m_pActListDelete->setVisible(!m_pPlaylist->selectedItems().isEmpty());
    m_pPlaylistDelMenu->popup(m_pBtnListDelete->mapToGlobal(QPoint(0, m_pBtnListDelete->height())));
    return true;
}
