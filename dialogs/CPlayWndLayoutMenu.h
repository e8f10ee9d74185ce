#pragma once

#include <QDialog>

#include "IObserverBase.h"

class QAbstractButton;
class QButtonGroup;
class QFocusEvent;
class QHideEvent;
class QMouseEvent;
class CSkinButton;

// The layout popup of the control bar: 1, 4, 9 or 16 windows. Frameless; it
// hides itself when it loses the focus.
class CPlayWndLayoutMenu : public QDialog, public IObserverBase {
    Q_OBJECT

public:
    static const int MENU_WIDTH = 210;
    static const int MENU_HEIGHT = 62;

    explicit CPlayWndLayoutMenu(QWidget* pParent = nullptr);
    ~CPlayWndLayoutMenu() override;

    bool Init();
    void UpdateLanguage();
    // Marks the button of nWndNum (1, 4, 9 or 16) as the current one; any other
    // number leaves all four unmarked.
    bool SetCurWndNum(int nWndNum);

    // The button that opens the popup: a press on it while the popup is up only
    // closes the popup, instead of closing and opening it again.
    void SetAnchor(QWidget* pAnchor) { m_pAnchor = pAnchor; }

    void SkinChanged() override;

signals:
    void Sig_ChangePlayWndNum(int nWndNum);

public slots:
    bool On_ChangePlayWndNum(QAbstractButton* pBtn);

protected:
    void focusOutEvent(QFocusEvent* ev) override;
    void hideEvent(QHideEvent* ev) override;
    void mousePressEvent(QMouseEvent* ev) override;

private:
    QWidget* m_pAnchor = nullptr;
    QButtonGroup* m_pBtnGroup = nullptr;
    CSkinButton* m_pBtn1Wnd = nullptr;
    CSkinButton* m_pBtn4Wnd = nullptr;
    CSkinButton* m_pBtn9Wnd = nullptr;
    CSkinButton* m_pBtn16Wnd = nullptr;
};
