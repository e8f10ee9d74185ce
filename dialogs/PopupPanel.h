#pragma once

#include <QDialog>

#include "IObserverBase.h"

class QFocusEvent;
class QMouseEvent;

// A frameless popup panel of the control bar: a press outside or the loss of
// the focus folds it away, as a menu does, and a press on the button that
// opened it only closes it instead of closing and opening it again. It follows
// the skin from FollowSkin() on.
class PopupPanel : public QDialog, public IObserverBase {
    Q_OBJECT

public:
    explicit PopupPanel(QWidget* pParent = nullptr);
    ~PopupPanel() override;

    // The button that opens the popup: a press on it while the popup is up only
    // closes the popup, instead of closing and opening it again.
    void SetAnchor(QWidget* pAnchor) { m_pAnchor = pAnchor; }

protected:
    // Registers at the skin manager, which calls SkinChanged() at once; without
    // one, reads the skin once.
    void FollowSkin();

    void focusOutEvent(QFocusEvent* ev) override;
    void mousePressEvent(QMouseEvent* ev) override;

private:
    QWidget* m_pAnchor = nullptr;
};
