#pragma once

#include "PopupPanel.h"

class QAbstractButton;
class QButtonGroup;
class CSkinButton;

// The layout popup of the control bar: 1, 4, 9 or 16 windows. Frameless; it
// hides itself when it loses the focus.
class CPlayWndLayoutMenu : public PopupPanel {
    Q_OBJECT

public:
    static const int MENU_WIDTH = 210;
    static const int MENU_HEIGHT = 62;

    explicit CPlayWndLayoutMenu(QWidget* pParent = nullptr);

    bool Init();
    void UpdateLanguage();
    // Marks the button of nWndNum (1, 4, 9 or 16) as the current one; any other
    // number leaves all four unmarked.
    bool SetCurWndNum(int nWndNum);

    void SkinChanged() override;

signals:
    void Sig_ChangePlayWndNum(int nWndNum);

public slots:
    bool On_ChangePlayWndNum(QAbstractButton* pBtn);

private:
    QButtonGroup* m_pBtnGroup = nullptr;
    CSkinButton* m_pBtn1Wnd = nullptr;
    CSkinButton* m_pBtn4Wnd = nullptr;
    CSkinButton* m_pBtn9Wnd = nullptr;
    CSkinButton* m_pBtn16Wnd = nullptr;
};
