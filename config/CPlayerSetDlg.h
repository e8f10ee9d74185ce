#pragma once

#include "CustomDialog.h"
#include "IObserverBase.h"
#include "PlayerSettingInfo.h"

class QAbstractButton;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QEvent;
class QGridLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QWidget;
class CHotKeyEdit;
class CSkinButton;

// The modal settings dialog: general settings, capture and hot keys on three
// pages. It edits its own copy of the settings; Apply and OK announce the result
// with ApplyPlayerSetting() and the receiver reads it with GetSettingInfo. Nothing
// goes to disk here. The resets change only the widgets, so Cancel after a reset
// loses it, while an earlier Apply stands.
//
// Object names (skin resource 3 and tests): the pages m_pCommonConfigPage,
// m_pCapPicPage, m_pHotKeysPage and their buttons m_pBtnCommonConfig, m_pBtnCapPic,
// m_pBtnHotKeys; every widget below under its member's name; m_pBtnOK,
// m_pBtnCancel, m_pBtnApply, and the title bar's m_pLabTitle, m_pBtnClose.
class CPlayerSetDlg : public CustomDialog, public IObserverBase {
    Q_OBJECT
public:
    static constexpr int kHotKeyCount = 19;

    explicit CPlayerSetDlg(QWidget* pParent = nullptr);
    ~CPlayerSetDlg() override;

    // Builds the widgets, connects, sets the texts, shows page 1 and joins the
    // skin observers. Once; later calls do nothing.
    bool Init();
    // Loads the record into the widgets; false on null.
    bool SetSettingInfo(PlayerSettingInfo* pInfo);
    // The record of the last Apply, with the keys the edits show now; false on null.
    bool GetSettingInfo(PlayerSettingInfo* pInfo);

    void SetupUI() override;
    void ReTranslateUI() override;
    void ConnectSignals() override;
    void SkinChanged() override;

signals:
    void ApplyPlayerSetting();

public slots:
    void On_OK() override;
    void On_Cancel() override;
    void On_Apply() override;
    bool On_ShowPage(QAbstractButton* pBtn);
    bool On_BrowserCapPicFolder();
    bool On_ResetCommon();
    bool On_ResetCapPic();
    bool On_ResetHotKeys();
    // The conflict rule: a key another action holds is refused silently, the
    // typed-in edit going back to its saved key. nOldKey is not needed.
    bool On_NewHotKey(CHotKeyEdit* pThis, int nNewKey, int nOldKey);
    bool On_ConCapModeChanged(int nMode);

protected:
    void changeEvent(QEvent* pEvent) override;

private:
    // Pages 1 general, 2 capture, 3 hot keys; any other number means page 1.
    void ShowPage(int nPage);
    QWidget* BuildCommonPage();
    QWidget* BuildCapPicPage();
    QWidget* BuildHotKeysPage();
    QLabel* NewLabel(QWidget* pParent, const char* szName);
    QPushButton* NewResetButton(QWidget* pParent, const char* szName);

    PlayerSettingInfo m_stInfo; // the record of the last SetSettingInfo or Apply
    bool m_bInited = false;
    bool m_bObserving = false;

    QLabel* m_pLabTitle = nullptr;
    QPushButton* m_pBtnClose = nullptr;
    QButtonGroup* m_pPageGroup = nullptr;
    CSkinButton* m_pBtnCommonConfig = nullptr;
    CSkinButton* m_pBtnCapPic = nullptr;
    CSkinButton* m_pBtnHotKeys = nullptr;
    QWidget* m_pCommonConfigPage = nullptr;
    QWidget* m_pCapPicPage = nullptr;
    QWidget* m_pHotKeysPage = nullptr;

    // General
    QLabel* m_pLabelTopDisplay = nullptr;
    QButtonGroup* m_pTopGroup = nullptr;
    QRadioButton* m_pRadioPlayTop = nullptr;
    QRadioButton* m_pRadioNeverTop = nullptr;
    QRadioButton* m_pRadioAlwaysTop = nullptr;
    QLabel* m_pLabelPlayLocateMode = nullptr;
    QButtonGroup* m_pLocateGroup = nullptr;
    QRadioButton* m_pRadioLocateTimeStamp = nullptr;
    QRadioButton* m_pRadioLocateFrameNum = nullptr;
    QCheckBox* m_pCheckExitSavePlaylistFiles = nullptr;
    QCheckBox* m_pCheckStartHardDecodeEngine = nullptr;
    QCheckBox* m_pCheckExitSavePlayProgress = nullptr;
    QCheckBox* m_pCheckAutoAddSimilarFiles = nullptr;
    QCheckBox* m_pCheckAutoShowGuide = nullptr;
    QPushButton* m_pBtnResetCommon = nullptr;

    // Capture
    QLabel* m_pLabelOutputConfig = nullptr;
    QLabel* m_pLabelFormat = nullptr;
    QComboBox* m_pComboSaveType = nullptr;
    QLabel* m_pLabelSavePath = nullptr;
    QLineEdit* m_pEditSaveFolder = nullptr;
    QPushButton* m_pBtnCapSaveFolder = nullptr;
    QLabel* m_pLabelConCapConfig = nullptr;
    QLabel* m_pLabelConCapMode = nullptr;
    QComboBox* m_pComboConCapMode = nullptr;
    QLabel* m_pLabelConCapSpace = nullptr;
    QDoubleSpinBox* m_pSpinConCapSpace = nullptr;
    QLabel* m_pLabelConCapUnit = nullptr;
    QLabel* m_pLabelConCapMaxNum = nullptr;
    QDoubleSpinBox* m_pSpinConCapMaxNum = nullptr;
    QPushButton* m_pBtnResetCapPic = nullptr;

    // Hot keys, in the order of the page's rows
    CHotKeyEdit* m_pHotKeyEdit[kHotKeyCount] = {};
    QLabel* m_pHotKeyLabel[kHotKeyCount] = {};
    QPushButton* m_pBtnResetHotKeys = nullptr;

    QPushButton* m_pBtnOK = nullptr;
    QPushButton* m_pBtnCancel = nullptr;
    QPushButton* m_pBtnApply = nullptr;
};
