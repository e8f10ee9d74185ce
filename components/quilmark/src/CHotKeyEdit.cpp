#include "CHotKeyEdit.h"

#include <QEvent>
#include <QKeyEvent>
#include <QKeySequence>

namespace {

// Presses that only hold a modifier or a lock form no key of their own; the
// key they modify comes with the next press.
bool IsModifierOnly(int nKey) {
    switch (nKey) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Meta:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_ScrollLock:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_unknown:
    case 0:
        return true;
    default:
        return false;
    }
}

} // namespace

CHotKeyEdit::CHotKeyEdit(QWidget* pParent) : QLineEdit(pParent) {
    // The text is never typed: it only names the key.
    setContextMenuPolicy(Qt::NoContextMenu);
    setAttribute(Qt::WA_InputMethodEnabled, false);
    setFocusPolicy(Qt::ClickFocus);
}

QString CHotKeyEdit::KeyText(int nKey) {
    return QKeySequence(nKey).toString(QKeySequence::NativeText);
}

void CHotKeyEdit::SetKey(int nKey) {
    m_nSaveKey = nKey;
    ShowKey(nKey);
}

void CHotKeyEdit::SetSaveKey() {
    ShowKey(m_nSaveKey);
}

void CHotKeyEdit::ShowKey(int nKey) {
    m_nCurKey = nKey;
    setText(KeyText(nKey));
}

bool CHotKeyEdit::event(QEvent* pEvent) {
    // Tab and Backtab would otherwise move the focus before keyPressEvent sees them,
    // and a shortcut override would let the dialog take keys such as Escape.
    if (pEvent->type() == QEvent::KeyPress) {
        keyPressEvent(static_cast<QKeyEvent*>(pEvent));
        return true;
    }
    if (pEvent->type() == QEvent::ShortcutOverride) {
        pEvent->accept();
        return true;
    }
    return QLineEdit::event(pEvent);
}

void CHotKeyEdit::keyPressEvent(QKeyEvent* pEvent) {
    pEvent->accept();
    if (IsModifierOnly(pEvent->key()))
        return;
    const int nNew = int(pEvent->modifiers()) + pEvent->key();
    const int nOld = m_nCurKey;
    ShowKey(nNew);
    emit Sig_NewHotKey(this, nNew, nOld);
    // Still shown: nobody refused it, so it stands until the next key.
    if (m_nCurKey == nNew)
        m_nSaveKey = nNew;
}
