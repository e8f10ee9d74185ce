#include "StreamWindow.h"

#include <QCheckBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QTimer>
#include <QVBoxLayout>

#include "LanguageKeys.h"

namespace {

const int kDefaultPort = 8554;
const int kRefreshMs = 500;

} // namespace

StreamWindow::StreamWindow(QWidget* pParent) : ToolWindow(pParent) {}

StreamWindow::~StreamWindow() {
    m_server.Stop();
}

QString StreamWindow::TitleText() const {
    return Text(IDS_Global_MediaStream, QStringLiteral("Media Streaming"));
}

void StreamWindow::BuildContent(QVBoxLayout* pContent) {
    QWidget* pParent = pContent->parentWidget();
    auto* pForm = new QFormLayout;
    auto* pRow = new QHBoxLayout;
    m_pEditIn = new QLineEdit(pParent);
    m_pEditIn->setObjectName(QStringLiteral("m_pEditIn"));
    auto* pBtnBrowse = new QPushButton(Text(IDS_Global_Browse, QStringLiteral("Browse")), pParent);
    pBtnBrowse->setAutoDefault(false);
    pRow->addWidget(m_pEditIn, 1);
    pRow->addWidget(pBtnBrowse);
    pForm->addRow(Text(IDS_MediaStreamDlg_Source, QStringLiteral("Recording")), pRow);
    m_pSpinPort = new QSpinBox(pParent);
    m_pSpinPort->setObjectName(QStringLiteral("m_pSpinPort"));
    m_pSpinPort->setRange(1, 65535);
    m_pSpinPort->setValue(kDefaultPort);
    pForm->addRow(Text(IDS_MediaStreamDlg_Port, QStringLiteral("RTSP port")), m_pSpinPort);
    m_pEditMount = new QLineEdit(pParent);
    m_pEditMount->setObjectName(QStringLiteral("m_pEditMount"));
    m_pEditMount->setPlaceholderText(
        Text(IDS_MediaStreamDlg_MountTip, QStringLiteral("empty: the file's name")));
    pForm->addRow(Text(IDS_MediaStreamDlg_Mount, QStringLiteral("Stream name")), m_pEditMount);
    m_pChkLoop =
        new QCheckBox(Text(IDS_MediaStreamDlg_Loop, QStringLiteral("Start again at the end")), pParent);
    m_pChkLoop->setObjectName(QStringLiteral("m_pChkLoop"));
    pForm->addRow(QString(), m_pChkLoop);
    m_pLabUrl = new QLabel(pParent);
    m_pLabUrl->setObjectName(QStringLiteral("m_pLabUrl"));
    m_pLabUrl->setTextInteractionFlags(Qt::TextSelectableByMouse);
    pForm->addRow(Text(IDS_MediaStreamDlg_Url, QStringLiteral("Address")), m_pLabUrl);
    m_pLabClients = new QLabel(pParent);
    m_pLabClients->setObjectName(QStringLiteral("m_pLabClients"));
    pForm->addRow(Text(IDS_MediaStreamDlg_Clients, QStringLiteral("Clients")), m_pLabClients);
    pContent->addLayout(pForm);
    auto* pStopRow = new QHBoxLayout;
    m_pBtnStop = new QPushButton(Text(IDS_Global_Stop, QStringLiteral("Stop")), pParent);
    m_pBtnStop->setObjectName(QStringLiteral("m_pBtnStop"));
    m_pBtnStop->setAutoDefault(false);
    pStopRow->addStretch();
    pStopRow->addWidget(m_pBtnStop);
    pContent->addLayout(pStopRow);

    m_pTimer = new QTimer(this);
    m_pTimer->setInterval(kRefreshMs);
    connect(m_pTimer, &QTimer::timeout, this, &StreamWindow::UpdateState);
    connect(m_pBtnStop, &QPushButton::clicked, this, &StreamWindow::On_Stop);
    connect(pBtnBrowse, &QPushButton::clicked, this, &StreamWindow::On_Browse);
    // A stream has no progress to show.
    QTimer::singleShot(0, this, [this]() {
        if (auto* pProgress = findChild<QProgressBar*>(QStringLiteral("m_pProgress")))
            pProgress->hide();
    });
    UpdateState();
}

void StreamWindow::SetInput(const QString& strPath) {
    m_pEditIn->setText(strPath);
}

QString StreamWindow::Url() const {
    return m_server.Running() ? QString::fromStdString(m_server.Url()) : QString();
}

void StreamWindow::On_Browse() {
    const QString strPath = QFileDialog::getOpenFileName(this, TitleText(), m_pEditIn->text());
    if (!strPath.isEmpty())
        SetInput(strPath);
}

void StreamWindow::On_StartClicked() {
    if (m_server.Running())
        return;
    const QString strIn = m_pEditIn->text().trimmed();
    if (!QFileInfo(strIn).isFile()) {
        ShowBadInput(Text(IDS_MediaStreamDlg_NoSource, QStringLiteral("Choose a recording that exists.")));
        return;
    }
    velquintools::StreamOptions options;
    options.strFile = strIn.toStdString();
    options.nPort = m_pSpinPort->value();
    options.strMount = m_pEditMount->text().trimmed().toStdString();
    options.bLoop = m_pChkLoop->isChecked();
    if (!m_server.Start(options)) {
        ShowBadInput(QString::fromStdString(m_server.LastError()));
        return;
    }
    SetStatus(Text(IDS_MediaStreamDlg_Serving, QStringLiteral("Serving; players open the address above.")));
    m_pTimer->start();
    UpdateState();
}

void StreamWindow::On_Stop() {
    if (!m_server.Running())
        return;
    m_server.Stop();
    m_pTimer->stop();
    SetStatus(Text(IDS_MediaStreamDlg_Stopped, QStringLiteral("Stopped.")));
    UpdateState();
}

void StreamWindow::On_Cancel() {
    if (m_server.Running()) {
        On_Stop();
        return;
    }
    ToolWindow::On_Cancel();
}

void StreamWindow::UpdateState() {
    const bool bServing = m_server.Running();
    m_pLabUrl->setText(bServing ? QString::fromStdString(m_server.Url()) : QStringLiteral("-"));
    m_pLabClients->setText(QString::number(bServing ? m_server.Clients() : 0));
    m_pBtnStop->setEnabled(bServing);
    m_pEditIn->setEnabled(!bServing);
    m_pSpinPort->setEnabled(!bServing);
    m_pEditMount->setEnabled(!bServing);
    m_pChkLoop->setEnabled(!bServing);
    UpdateButtons();
}

void StreamWindow::UpdateButtons() {
    ToolWindow::UpdateButtons();
    if (m_server.Running())
        StartButton()->setEnabled(false);
}
