#pragma once

#include "CustomDialog.h"
#include "IObserverBase.h"
#include "Tavrix.h"

class QDateTimeEdit;
class QEvent;
class QLabel;
class QPushButton;

// Asks for a calendar time inside the global time range of the selected
// window's file. It only checks the input and sends it with
// Sig_PlayLocateByGlobalTime; the receiver does the jump.
//
// Object names (skin resource 5 and tests): m_pLabTitle, m_pBtnClose,
// m_pLabelRangeBegin, m_pLabelRangeEnd, m_pLabelPleaseInput, m_pDateTimeEdit,
// m_pBtnOK, m_pBtnCancel.
class LocateGlobalTimeDlg : public CustomDialog, public IObserverBase {
    Q_OBJECT
public:
    explicit LocateGlobalTimeDlg(QWidget* pParent = nullptr);
    ~LocateGlobalTimeDlg() override;

    // Builds the dialog, connects, sets the texts and joins the skin observers.
    bool Init();
    // The valid range, both ends included; the input starts at the beginning.
    // False for a null pointer.
    bool SetTimeRange(TAVRIX_SYSTEM_TIME* pBegin, TAVRIX_SYSTEM_TIME* pEnd);

    void SetupUI() override;
    void ReTranslateUI() override;
    void ConnectSignals() override;
    void SkinChanged() override;

signals:
    // The record lives only during the emission: connect directly.
    void Sig_PlayLocateByGlobalTime(TAVRIX_SYSTEM_TIME* pstGlobalTime);

public slots:
    // A time outside the range keeps the dialog open with a message; otherwise
    // the time is sent and the dialog accepts.
    void On_OK() override;

protected:
    void changeEvent(QEvent* pEvent) override;

private:
    QString RangeText(const char* pKey, const char* pDefault, const TAVRIX_SYSTEM_TIME& stTime) const;

    TAVRIX_SYSTEM_TIME m_stRangeBegin{};
    TAVRIX_SYSTEM_TIME m_stRangeEnd{};
    QLabel* m_pLabTitle = nullptr;
    QPushButton* m_pBtnClose = nullptr;
    QLabel* m_pLabelRangeBegin = nullptr;
    QLabel* m_pLabelRangeEnd = nullptr;
    QLabel* m_pLabelPleaseInput = nullptr;
    QDateTimeEdit* m_pDateTimeEdit = nullptr;
    QPushButton* m_pBtnOK = nullptr;
    QPushButton* m_pBtnCancel = nullptr;
    bool m_bInited = false;
    bool m_bObserving = false;
};
