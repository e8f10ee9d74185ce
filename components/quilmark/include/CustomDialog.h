#pragma once

#include <QDialog>
#include <QPoint>

class QBoxLayout;
class QKeyEvent;
class QLabel;
class QPushButton;
class QMouseEvent;

// Base of the skinned dialogs: frameless, dragged by the mouse on any free spot of
// the dialog; Escape goes to On_Cancel.
//
// A derived dialog overrides the virtuals and calls them from its Init():
//   SetupUI() (call the base first: it sets the frameless look), ReTranslateUI(),
//   InitBkgs(), ConnectSignals().
class CustomDialog : public QDialog {
    Q_OBJECT
public:
    explicit CustomDialog(QWidget* pParent = nullptr);
    ~CustomDialog() override;

    // Frameless window flags and a styled background; derived dialogs build on it.
    virtual void SetupUI();
    // Sets every text again from CLanguageParser. Base: nothing.
    virtual void ReTranslateUI();
    // Pictures and backgrounds. Base: nothing.
    virtual void InitBkgs();
    // Connections of the derived dialog's widgets. Base: nothing.
    virtual void ConnectSignals();

    // Height from the top in which a press starts a drag; 0 or less (default): the
    // whole dialog.
    void SetDragAreaHeight(int nHeight) { m_nDragAreaHeight = nHeight; }

public slots:
    virtual void On_OK();     // accept()
    virtual void On_Cancel(); // reject()
    virtual void On_Apply();  // nothing
    virtual void On_Exit();   // On_Cancel()

protected:
    // The title bar of the side dialogs, added to pRoot: the title label
    // "m_pLabTitle" and, at the right, a 24 x 24 close button named szCloseName,
    // in a bar "m_pWgtTitleBar" 32 high. bDragByBar: presses on the bar (only)
    // drag the dialog.
    QWidget* AddTitleBar(QBoxLayout* pRoot, QLabel** ppLabTitle, QPushButton** ppBtnClose,
                         const char* szCloseName = "m_pBtnClose", bool bDragByBar = true);

    void mousePressEvent(QMouseEvent* pEvent) override;
    void mouseMoveEvent(QMouseEvent* pEvent) override;
    void mouseReleaseEvent(QMouseEvent* pEvent) override;
    void keyPressEvent(QKeyEvent* pEvent) override;

private:
    QPoint m_ptDragOffset;
    bool m_bDragging = false;
    int m_nDragAreaHeight = 0;
};
