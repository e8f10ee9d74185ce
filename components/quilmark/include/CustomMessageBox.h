#pragma once

#include "CustomDialog.h"
#include "IObserverBase.h"

class QLabel;
class QPushButton;

// Modal message box of the skin (resource 2).
class CustomMessageBox : public CustomDialog, public IObserverBase {
    Q_OBJECT
public:
    // Button styles of MsgBox.
    enum { MSGBOX_OK = 1, MSGBOX_OKCANCEL = 2 };
    // Answers of MsgBox.
    enum { MSGBOX_RESULT_CANCEL = 0, MSGBOX_RESULT_OK = 1 };

    // Shows the box modally and answers 1 for OK, 0 for Cancel, Escape or close.
    // nButtons: 1 OK only, 2 OK and Cancel; anything else counts as 1.
    static int MsgBox(QWidget* pParent, const QString& strTitle, const QString& strText,
                      int nButtons = MSGBOX_OK);

    CustomMessageBox(QWidget* pParent, const QString& strTitle, const QString& strText, int nButtons);
    ~CustomMessageBox() override;

    void SetupUI() override;
    void ReTranslateUI() override;
    void ConnectSignals() override;
    void SkinChanged() override;

private:
    QString m_strTitle;
    QString m_strText;
    int m_nButtons;
    QLabel* m_pLabTitle = nullptr;
    QLabel* m_pLabText = nullptr;
    QPushButton* m_pBtnClose = nullptr;
    QPushButton* m_pBtnOK = nullptr;
    QPushButton* m_pBtnCancel = nullptr;
};
