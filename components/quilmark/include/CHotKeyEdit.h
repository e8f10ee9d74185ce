#pragma once

#include <QLineEdit>

class QEvent;
class QKeyEvent;

// One hot key in a line edit: shows the key as QKeySequence text and takes a new
// key from the next key press. A key is a plain sum of QKeyEvent::modifiers() and
// QKeyEvent::key(), as the main dialog compares it: nothing is normalised, so
// Shift+A and A, or a keypad key and its main keyboard twin, are different keys.
//
// Two values: the saved key (GetKey) and the shown one (GetCurKey). SetKey sets
// both. A typed key is shown and announced with Sig_NewHotKey; the receiver may
// send the edit back to its saved key (SetSaveKey) if another action holds the
// key. A typed key that is still shown after the signal becomes the saved key,
// so a later refused key falls back to it rather than to an older one.
class CHotKeyEdit : public QLineEdit {
    Q_OBJECT
public:
    explicit CHotKeyEdit(QWidget* pParent = nullptr);

    void SetKey(int nKey);
    int GetKey() const { return m_nSaveKey; }
    int GetCurKey() const { return m_nCurKey; }
    // Back to the saved key, shown.
    void SetSaveKey();

    // The text a key is shown with (native, as the desktop names keys).
    static QString KeyText(int nKey);

signals:
    void Sig_NewHotKey(CHotKeyEdit* pThis, int nNewKey, int nOldKey);

protected:
    // Every key press, Tab and Escape included, is a candidate hot key while the
    // edit has the focus; focus moves by mouse.
    bool event(QEvent* pEvent) override;
    void keyPressEvent(QKeyEvent* pEvent) override;

private:
    void ShowKey(int nKey);

    int m_nSaveKey = 0;
    int m_nCurKey = 0;
};
