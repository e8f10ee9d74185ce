#include "PopupPanel.h"

#include <QFocusEvent>
#include <QMouseEvent>

#include "SkinManager.h"

PopupPanel::PopupPanel(QWidget* pParent) : QDialog(pParent) {
    // A popup: a press anywhere outside closes it, as a menu does. The dialog
    // itself holds the focus (its buttons take none); losing it folds it away too.
    setWindowFlags(Qt::Popup | Qt::FramelessWindowHint);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_StyledBackground);
}

PopupPanel::~PopupPanel() {
    SkinManager::DelObserver(this);
}

void PopupPanel::FollowSkin() {
    if (SkinManager::GetInstance())
        SkinManager::AddObserver(this);
    else
        SkinChanged();
}

void PopupPanel::focusOutEvent(QFocusEvent* ev) {
    QDialog::focusOutEvent(ev);
    hide();
}

void PopupPanel::mousePressEvent(QMouseEvent* ev) {
    // A press outside closes the popup (the base class does that); on the button
    // that opened it, the press must not reach the button again and reopen it.
    if (!rect().contains(ev->position().toPoint()) && m_pAnchor && m_pAnchor->isVisible()) {
        const QRect rcAnchor(m_pAnchor->mapToGlobal(QPoint(0, 0)), m_pAnchor->size());
        setAttribute(Qt::WA_NoMouseReplay, rcAnchor.contains(ev->globalPosition().toPoint()));
    }
    QDialog::mousePressEvent(ev);
}
