#pragma once

#include "CustomDialog.h"
#include "IObserverBase.h"

class QLabel;
class QPushButton;
class QTimer;

// The recorder's watermark of the selected window: MAC, serial number,
// channel, recording time, device information and type. Non-modal; its timer
// asks for the record once a second (Sig_WatermarkTimer), but only while the
// dialog is visible, so a hidden dialog costs the play windows nothing.
//
// Object names (skin resource 7 and tests): m_pLabTitle, m_pBtnClose and the
// pairs m_pLabelName_<Name> / m_pLabelValue_<Name> with Name one of Mac,
// DeviceSN, Chan, GTime, DeviceInfo, DeviceType.
class CWatermarkDlg : public CustomDialog, public IObserverBase {
    Q_OBJECT
public:
    static constexpr int kRecordBytes = 64;
    static constexpr int kTimerMs = 1000;

    explicit CWatermarkDlg(QWidget* pParent = nullptr);
    ~CWatermarkDlg() override;

    // Builds the dialog, starts the timer and joins the skin observers.
    bool Init();
    // Shows the 64-byte record pRecord (little-endian); a time of 0 empties
    // every value. False for a null record.
    bool SetWatermarkInfo(const unsigned char* pRecord);

    void SetupUI() override;
    void ReTranslateUI() override;
    void ConnectSignals() override;
    void SkinChanged() override;

signals:
    void Sig_WatermarkTimer();

public slots:
    void On_WatermarkTimer();

protected:
    void changeEvent(QEvent* pEvent) override;

private:
    void MakeRow(const char* szName, const char* szText, QLabel** ppName, QLabel** ppValue);

    QTimer* m_pTimer = nullptr;
    QLabel* m_pLabTitle = nullptr;
    QPushButton* m_pBtnClose = nullptr;
    QLabel* m_pLabelName_Mac = nullptr;
    QLabel* m_pLabelValue_Mac = nullptr;
    QLabel* m_pLabelName_DeviceSN = nullptr;
    QLabel* m_pLabelValue_DeviceSN = nullptr;
    QLabel* m_pLabelName_Chan = nullptr;
    QLabel* m_pLabelValue_Chan = nullptr;
    QLabel* m_pLabelName_GTime = nullptr;
    QLabel* m_pLabelValue_GTime = nullptr;
    QLabel* m_pLabelName_DeviceInfo = nullptr;
    QLabel* m_pLabelValue_DeviceInfo = nullptr;
    QLabel* m_pLabelName_DeviceType = nullptr;
    QLabel* m_pLabelValue_DeviceType = nullptr;
    bool m_bInited = false;
    bool m_bObserving = false;
};
