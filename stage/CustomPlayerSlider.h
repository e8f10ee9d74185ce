#pragma once

#include <QColor>
#include <QPoint>
#include <QRect>
#include <QWidget>

#include "IObserverBase.h"

class QHBoxLayout;
class QLabel;

// The progress bar of the main dialog. It paints the played part itself, shows
// a handle only while the mouse is over it, and can carry the two marks of an
// A-B repeat which the user may drag. It deals in one integer range and knows
// nothing of files, frames or times: the main dialog converts.
class CustomPlayerSlider : public QWidget, public IObserverBase {
    Q_OBJECT

public:
    explicit CustomPlayerSlider(QWidget* pParent = nullptr);
    ~CustomPlayerSlider() override;

    void SetMaximum(int nMaximum);
    void SetMinimum(int nMinimum);
    int GetMaximum() const { return m_nMaximum; }
    int GetMinimum() const { return m_nMinimum; }
    int GetValue() const { return m_nValue; }
    // Ignored outside the range; emits nothing.
    void SetValue(int nValue);

    // The marks, in slider units. Setting B without A puts A at the start.
    bool SetRepeatPointA(uint nValue);
    bool SetRepeatPointB(uint nValue);
    bool GetRepeatPointA(bool* pbSet, uint* pnValue) const;
    bool GetRepeatPointB(bool* pbSet, uint* pnValue) const;
    // Hides both marks; the stored values stay.
    bool ClearRepeatPoints();
    // An inactive bar is painted in one colour, hides its handle and drops the marks.
    bool SetSliderEnable(bool bEnable);
    bool IsSliderEnable() const { return m_bEnable; }

    // Where the bar lies in the slider's own coordinates (for tests and hit checks).
    QRect GrooveRect() const;

    // IObserverBase: the skin notice.
    void SkinChanged() override;

signals:
    void Sig_ChangeValue(int nPos);
    void Sig_MousePress();
    void Sig_MouseRelease();
    void Sig_ChangeRepeatValue(bool bPointAOrPointB, uint nValue);
    void Sig_MouseMoveValue(bool bShowGlobalTimeTips, QPoint ptMouse, uint nMouseMoveValue);

protected:
    void mousePressEvent(QMouseEvent* ev) override;
    void mouseMoveEvent(QMouseEvent* ev) override;
    void mouseReleaseEvent(QMouseEvent* ev) override;
    void enterEvent(QEnterEvent* ev) override;
    void leaveEvent(QEvent* ev) override;
    void paintEvent(QPaintEvent* ev) override;
    void resizeEvent(QResizeEvent* ev) override;

private:
    void Init();
    void UpdateSlider();
    bool InRange(qint64 nValue) const { return nValue >= m_nMinimum && nValue <= m_nMaximum; }
    int ValueToOffset(qint64 nValue) const;
    // Mouse x in slider coordinates to a value; false off the bar.
    bool PixelToValue(int nX, int* pnValue) const;
    QLabel* MakeMark(const char* szName, const QString& strLetter);

    QHBoxLayout* m_pHLayout = nullptr;
    QLabel* m_pLabelGroove = nullptr;
    QLabel* m_pLabelSliderHandle = nullptr;
    QLabel* m_pLabelRepeatPointA = nullptr;
    QLabel* m_pLabelRepeatPointB = nullptr;
    uint m_nPointA = 0;
    uint m_nPointB = 0;
    bool m_bPointA = false;
    bool m_bPointB = false;
    bool m_bDragPointA = false;
    bool m_bDragPointB = false;
    int m_nMaximum = 100;
    int m_nMinimum = 0;
    int m_nValue = 0;
    bool m_bDragValue = false;
    bool m_bMouseIn = false;
    bool m_bEnable = true;
    QColor m_clrBeforeA = QColor(0x3A, 0x3D, 0x44);
    QColor m_clrPlayed = QColor(0x2F, 0x8C, 0xEB);
    QColor m_clrAToB = QColor(0xE8, 0xE8, 0xE8);
    QColor m_clrRest = QColor(0x3A, 0x3D, 0x44);
};
