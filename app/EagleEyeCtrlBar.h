#pragma once

#include <QWidget>

#include "IObserverBase.h"

class QLabel;
class QMouseEvent;
class QPushButton;
class QTimerEvent;
class CCustomSlider;
class CSkinButton;
class TextLabel;

// The eagle eye bar at the bottom of the playlist column: eight direction
// buttons that repeat while held, an auto scan toggle and its speed slider.
// It only turns presses into SigPTZBtn codes; the main dialog hands them to the
// selected window.
//
// Codes of SigPTZBtn: 0 up, 1 down, 2 left, 3 auto scan toggle, 4 right,
// 5 left up, 6 left down, 7 right up, 8 right down.
class EagleEyeCtrlBar : public QWidget, public IObserverBase {
    Q_OBJECT

public:
    explicit EagleEyeCtrlBar(QWidget* pParent = nullptr);
    ~EagleEyeCtrlBar() override;

    // Builds the widgets once; a failure clears what was built.
    bool Init();
    // The auto button's down state, without a signal (the window's own state).
    void SetAutoScan(bool bAutoScan);
    bool IsAutoScan() const { return m_bAutoScan; }
    bool IsPanelShown() const { return m_bPanelShown; }
    // Texts of the current language; the main dialog calls it at a change.
    void ReTranslateUI();

    // IObserverBase: the skin notice.
    void SkinChanged() override;

signals:
    void SigPTZBtn(int nBtnType);
    void SigViewMode(int nViewMode);
    void SigPTZAutoSpeed(int nValue);

public slots:
    void On_BtnArrow();
    void On_BtnPTZLeftUp();
    void On_BtnPTZUp();
    void On_BtnPTZRightUp();
    void On_BtnPTZLeft();
    void On_BtnPTZAuto();
    void On_BtnPTZRight();
    void On_BtnPTZLeftDown();
    void On_BtnPTZDown();
    void On_BtnPTZRightDown();
    void On_SldChangeValue(int nValue);
    void On_BtnPTZRelease();

protected:
    void timerEvent(QTimerEvent* ev) override;
    void mousePressEvent(QMouseEvent* ev) override;

private:
    static const int kDirections = 8;
    // Slot index of a direction code in m_nTimerId (codes 0..8 without 3).
    static int SlotOfCode(int nCode) { return nCode < 3 ? nCode : nCode - 1; }
    static int CodeOfSlot(int nSlot) { return nSlot < 3 ? nSlot : nSlot + 1; }
    void PressDirection(int nCode);
    void UpdateSpeedTip();
    QPushButton* MakeDirButton(const char* szName);

    bool m_bInit = false;
    bool m_bPanelShown = false;
    // True until the first release, as the bar starts.
    bool m_bBtnPressed = true;
    int m_nTimerId[kDirections] = {0, 0, 0, 0, 0, 0, 0, 0};
    bool m_bAutoScan = false;

    QWidget* m_pWgtTitleBar = nullptr;
    TextLabel* m_pLabTitle = nullptr;
    CSkinButton* m_pBtnArrow = nullptr;
    QWidget* m_pWgtCtrlBar = nullptr;
    QPushButton* m_pBtnDir[kDirections] = {};
    QPushButton* m_pBtnAuto = nullptr;
    CCustomSlider* m_pSldAutoSpeed = nullptr;
    QLabel* m_pLabSpeed = nullptr;
};
