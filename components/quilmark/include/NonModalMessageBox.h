#pragma once

#include "CustomDialog.h"
#include "IObserverBase.h"

class QLabel;
class QPushButton;

// Message box that does not block: MsgBox shows it and returns; the box deletes
// itself when it is closed. Object name "NonModalMessageBox"; its text is in the
// QLabel "m_pLabText", its title in "m_pLabTitle". Skin resource 2.
class NonModalMessageBox : public CustomDialog, public IObserverBase {
    Q_OBJECT
public:
    static void MsgBox(QWidget* pParent, const QString& strTitle, const QString& strText);

    NonModalMessageBox(QWidget* pParent, const QString& strTitle, const QString& strText);
    ~NonModalMessageBox() override;

    void SetupUI() override;
    void ReTranslateUI() override;
    void ConnectSignals() override;
    void SkinChanged() override;

public slots:
    // Escape and the buttons close the box, which deletes it.
    void On_OK() override;
    void On_Cancel() override;

private:
    QString m_strTitle;
    QString m_strText;
    QLabel* m_pLabTitle = nullptr;
    QLabel* m_pLabText = nullptr;
    QPushButton* m_pBtnClose = nullptr;
    QPushButton* m_pBtnOK = nullptr;
};
