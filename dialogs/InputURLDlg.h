#pragma once

#include <QPoint>
#include <QString>
#include <QStringList>

#include "CustomDialog.h"
#include "IObserverBase.h"

class QComboBox;
class QEvent;
class QEventLoop;
class QLabel;
class QLineEdit;
class QMouseEvent;
class QPushButton;
class QWidget;
class UrlConnectTest;
struct PlayerConfig;

// Asks for the address of a network stream, its transmit mode and, for HTTP, a
// port, and proves the address with a test session before it closes, so that
// only addresses that answer reach a play window. Keeps the recent addresses in
// the configuration record, newest first.
//
// The test runs on a worker (UrlConnectTest) while the dialog waits in a local
// event loop: the dialog stays painted, OK is disabled until the answer, and
// Cancel or the close button end the test and the dialog at once.
//
// Object names (skin resource 4 and tests): m_pWgtTitleBar, m_pLabTitle,
// m_pBtnExit, m_pLabelURL, m_pComboURL, m_pLabelTransmitMode,
// m_pComboTransmitMode, m_pLabelPort, m_pEditPort, m_pLabelExample, btnCopy,
// m_pBtnOK, m_pBtnCancel.
class InputURLDlg : public CustomDialog, public IObserverBase {
    Q_OBJECT
public:
    // At most this many URL records are kept.
    static constexpr int MAX_URL_RECORDS = 30;
    // The address On_Copy writes into the URL field.
    static const char* const kExampleURL;

    explicit InputURLDlg(QWidget* pParent = nullptr);
    ~InputURLDlg() override;

    // Builds the widgets, connects, sets the texts, hides the port row, joins the
    // skin observers and gives the URL field the focus. Call once.
    bool Init();
    // Takes the record that holds the URL records (not owned) and fills the URL
    // list from it; null is ignored.
    void SetConfig(PlayerConfig* pConfig);
    // The URL as typed, the transmit mode index and the port (0 unless the mode
    // is HTTP; 0 for a port that is no number). Always true.
    bool GetURLInfo(QString& strURL, int& nTransmitMode, int& nPort) const;

    // Puts strURL at the head of lstRecords, removing an equal entry first, and
    // keeps at most MAX_URL_RECORDS.
    static void AddRecord(QStringList& lstRecords, const QString& strURL);
    // The message for the answer of a connection test that failed.
    static QString MessageForCode(int nCode);

    void SetupUI() override;
    void ReTranslateUI() override;
    void InitBkgs() override;
    void ConnectSignals() override;
    void SkinChanged() override;

public slots:
    // Checks the URL, tests it (the dialog stays open on every failure, with a
    // message) and accepts when it answered.
    void On_OK() override;
    // Both end a test under way and reject.
    void On_Cancel() override;
    void On_Exit() override;
    void On_TransmitModeChanged(int nMode);
    void On_URLTextChanged(const QString& strText);
    void On_URLIndexChanged(int nIndex);
    void On_Copy();

protected:
    // Every way of ending the dialog (OK, Cancel, close button, Escape, closing
    // the window) ends a test under way.
    void done(int nResult) override;
    // Dragging by the title bar.
    void mousePressEvent(QMouseEvent* pEvent) override;
    void mouseMoveEvent(QMouseEvent* pEvent) override;
    void mouseReleaseEvent(QMouseEvent* pEvent) override;
    void changeEvent(QEvent* pEvent) override;

private:
    void FillURLList();
    void ShowMessage(const QString& strText);
    // Waits in a local event loop for the test's answer, at most the session's
    // time-out and a margin. False when the dialog was closed meanwhile.
    bool WaitForTest(int* pnCode);
    void StopTest();

    QPoint m_ptDragOffset;
    bool m_bDragging = false;
    PlayerConfig* m_pConfig = nullptr;

    UrlConnectTest* m_pTest = nullptr;
    QEventLoop* m_pWaitLoop = nullptr; // the local loop of a test under way
    bool m_bFilling = false;           // FillURLList is changing the list
    int m_nDoneCount = 0;              // times the dialog ended (done()), to see an end during a test
    bool m_bInited = false;
    bool m_bObserving = false;

    QWidget* m_pWgtTitleBar = nullptr;
    QLabel* m_pLabTitle = nullptr;
    QPushButton* m_pBtnExit = nullptr;
    QLabel* m_pLabelURL = nullptr;
    QComboBox* m_pComboURL = nullptr;
    QLabel* m_pLabelTransmitMode = nullptr;
    QComboBox* m_pComboTransmitMode = nullptr;
    QLabel* m_pLabelPort = nullptr;
    QLineEdit* m_pEditPort = nullptr;
    QLabel* m_pLabelExample = nullptr;
    QLabel* m_pLabelExampleColon = nullptr;
    QLabel* m_pLabelExampleScheme = nullptr;
    QLabel* m_pLabelExampleUser = nullptr;
    QLabel* m_pLabelExampleSep = nullptr;
    QLabel* m_pLabelExamplePassword = nullptr;
    QLabel* m_pLabelExampleAt = nullptr;
    QLabel* m_pLabelExampleIP = nullptr;
    QLabel* m_pLabelExamplePath = nullptr;
    QPushButton* btnCopy = nullptr;
    QPushButton* m_pBtnOK = nullptr;
    QPushButton* m_pBtnCancel = nullptr;
};
