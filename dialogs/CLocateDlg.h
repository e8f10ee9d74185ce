#pragma once

#include "CustomDialog.h"
#include "IObserverBase.h"

class QEvent;
class QIntValidator;
class QLabel;
class QLineEdit;
class QPushButton;

// Asks for one place of the selected window's file: a time stamp in seconds
// (mode 0) or a frame number (mode 1). It only checks the input and sends it
// with Sig_PlayLocate; the receiver does the jump.
//
// Object names (skin resource 5 and tests): m_pLabTitle, m_pBtnClose,
// m_pLabelPleaseInput, m_pEditInputNum, m_pLabelRange, m_pBtnOK, m_pBtnCancel.
class CLocateDlg : public CustomDialog, public IObserverBase {
    Q_OBJECT
public:
    explicit CLocateDlg(QWidget* pParent = nullptr);
    ~CLocateDlg() override;

    // Builds the dialog, connects, sets the texts and joins the skin observers.
    bool Init();
    // nMode 0 time stamp, 1 frame number; nRange positions, so the input runs
    // from 0 to nRange - 1. Sets the texts and the field's validator.
    void SetLocateInfo(int nMode, int nRange);
    int GetLocateMode() const { return m_nLocateMode; }
    int GetRange() const { return m_nRange; }

    void SetupUI() override;
    void ReTranslateUI() override;
    void ConnectSignals() override;
    void SkinChanged() override;

signals:
    void Sig_PlayLocate(int nMode, int nPos);

public slots:
    // An empty field keeps the dialog open with a message; otherwise the number
    // is sent and the dialog accepts. The validator has kept it in range.
    void On_OK() override;

protected:
    void changeEvent(QEvent* pEvent) override;

private:
    int m_nLocateMode = 0;
    int m_nRange = 1;
    QLabel* m_pLabTitle = nullptr;
    QPushButton* m_pBtnClose = nullptr;
    QLabel* m_pLabelPleaseInput = nullptr;
    QLineEdit* m_pEditInputNum = nullptr;
    QIntValidator* m_pValidator = nullptr; // 0 .. m_nRange - 1
    QLabel* m_pLabelRange = nullptr;
    QPushButton* m_pBtnOK = nullptr;
    QPushButton* m_pBtnCancel = nullptr;
    bool m_bInited = false;
    bool m_bObserving = false;
};
