#pragma once

#include <QPoint>
#include <QWidget>

#include <cstdint>

#include "IObserverBase.h"

class QHBoxLayout;
class QLabel;
class QPushButton;
class CPlayWnd;

// The navigator of partial zoom: a small child in the play window's lower right
// corner. The engine draws the whole picture into m_pDisplayWnd (display region
// 1) and the play window's draw callback marks the region on view. Dragging
// inside that mark moves the region; the button goes back to the whole picture.
class PartZoomWnd : public QWidget, public IObserverBase {
    Q_OBJECT

public:
    explicit PartZoomWnd(QWidget* pParent = nullptr, Qt::WindowFlags flags = {});
    ~PartZoomWnd() override;

    // Builds the children and joins the skin. False when a child cannot be made.
    bool Init();
    // Native window of the label the engine draws into; 0 without a label.
    uintptr_t GetDisplayHandle() const;
    QLabel* GetDisplayWnd() const { return m_pDisplayWnd; }

    // IObserverBase: the skin notice.
    void SkinChanged() override;

signals:
    bool Sig_PartZoomReset();
    // Offsets in picture pixels.
    bool Sig_PartZoomRectMove(int nXOffset, int nYOffset);

protected:
    void mousePressEvent(QMouseEvent* ev) override;
    void mouseReleaseEvent(QMouseEvent* ev) override;
    void mouseMoveEvent(QMouseEvent* ev) override;
    void paintEvent(QPaintEvent* ev) override;
    void resizeEvent(QResizeEvent* ev) override;

private:
    QHBoxLayout* m_pHLayout = nullptr;
    QLabel* m_pDisplayWnd = nullptr;
    QPushButton* m_pBtnReset = nullptr;
    bool m_bDragging = false;
    QPoint m_ptLast;
    CPlayWnd* m_pPlayWnd = nullptr;
};
