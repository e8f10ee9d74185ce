// The streaming window: the recording, the port, the mount and looping; once
// serving, the address to give the players, the number of clients and Stop.
#pragma once

#include "RtspFileServer.h"
#include "ToolWindow.h"

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QTimer;

class StreamWindow : public ToolWindow {
    Q_OBJECT
public:
    explicit StreamWindow(QWidget* pParent = nullptr);
    ~StreamWindow() override;

    void SetInput(const QString& strPath);
    bool IsServing() const { return m_server.Running(); }
    QString Url() const;
    int Clients() const { return m_server.Clients(); }
    // Stops the stream (the program is ending).
    void StopServing() { m_server.Stop(); }

public slots:
    // Escape and the close button stop the stream first.
    void On_Cancel() override;

protected:
    QString TitleText() const override;
    void BuildContent(QVBoxLayout* pContent) override;
    void On_StartClicked() override;
    // Start also waits while the file is served.
    void UpdateButtons() override;

private:
    void On_Stop();
    void On_Browse();
    void UpdateState();

    velquintools::RtspFileServer m_server;
    QLineEdit* m_pEditIn = nullptr;
    QSpinBox* m_pSpinPort = nullptr;
    QLineEdit* m_pEditMount = nullptr;
    QCheckBox* m_pChkLoop = nullptr;
    QLabel* m_pLabUrl = nullptr;
    QLabel* m_pLabClients = nullptr;
    QPushButton* m_pBtnStop = nullptr;
    QTimer* m_pTimer = nullptr; // refreshes the clients count while serving
};
