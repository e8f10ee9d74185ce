#include "ToolWindow.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QEvent>
#include <QLabel>
#include <QLayout>
#include <QMetaObject>
#include <QProgressBar>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

#include "CLanguageParser.h"
#include "LanguageKeys.h"
#include "NonModalMessageBox.h"
#include "SkinManager.h"
#include "ToolArgs.h"

using velquintools::JobFn;
using velquintools::JobResult;

namespace {

// The application-wide sheet of the skin (plain buttons, line edits, combo
// boxes, CustomDialog): the tools have no windows of their own in the skin.
const int kGlobalQssResource = 1;
// The message boxes' sheet: its folder holds the skin's pictures.
const int kMessageBoxQssResource = 2;
const int kWindowMinWidth = 520;
// A job that ignores its cancel flag must not hold the window open for ever.
const int kCancelWaitMs = 5000;

} // namespace

ToolWindow::ToolWindow(QWidget* pParent) : CustomDialog(pParent), m_pJob(new velquintools::ToolJob) {}

ToolWindow::~ToolWindow() {
    m_pJob->Cancel();
    m_pJob->WaitMs(kCancelWaitMs);
}

void ToolWindow::ApplyLookAndLanguage(const ToolArgs& args) {
    CLanguageParser::LoadStringFile(args.Language());
    SkinManager::ChangeSkin(args.Skin());
    const QString strQss = SkinManager::GetQssResPath(kGlobalQssResource);
    if (!strQss.isEmpty() && qApp)
        qApp->setStyleSheet(SkinManager::ReadQssFile(strQss));
}

QString ToolWindow::Text(const char* szKey, const QString& strDefault) {
    QString strText;
    CLanguageParser::FindString(QString::fromLatin1(szKey), strText, strDefault);
    return strText;
}

void ToolWindow::Init() {
    SetupUI();
    ReTranslateUI();
    InitBkgs();
    ConnectSignals();
}

void ToolWindow::SetupUI() {
    CustomDialog::SetupUI();
    setMinimumWidth(kWindowMinWidth);
    auto* pRoot = new QVBoxLayout(this);
    pRoot->setContentsMargins(0, 0, 0, 0);
    pRoot->setSpacing(0);
    AddTitleBar(pRoot, &m_pLabTitle, &m_pBtnClose);

    auto* pBody = new QWidget(this);
    pBody->setObjectName(QStringLiteral("m_pWgtToolBody"));
    auto* pBodyLayout = new QVBoxLayout(pBody);
    pBodyLayout->setContentsMargins(16, 12, 16, 12);
    pBodyLayout->setSpacing(8);
    BuildContent(pBodyLayout);

    m_pProgress = new QProgressBar(pBody);
    m_pProgress->setObjectName(QStringLiteral("m_pProgress"));
    m_pProgress->setRange(0, 1000);
    m_pProgress->setValue(0);
    m_pProgress->setTextVisible(false);
    pBodyLayout->addWidget(m_pProgress);

    m_pLabStatus = new QLabel(pBody);
    m_pLabStatus->setObjectName(QStringLiteral("m_pLabStatus"));
    m_pLabStatus->setWordWrap(true);
    m_pLabStatus->setTextInteractionFlags(Qt::TextSelectableByMouse);
    pBodyLayout->addWidget(m_pLabStatus);

    auto* pButtons = new QHBoxLayout;
    pButtons->addStretch();
    m_pBtnStart = new QPushButton(pBody);
    m_pBtnStart->setObjectName(QStringLiteral("m_pBtnStart"));
    m_pBtnStart->setDefault(true);
    m_pBtnCancel = new QPushButton(pBody);
    m_pBtnCancel->setObjectName(QStringLiteral("m_pBtnCancel"));
    m_pBtnCancel->setAutoDefault(false);
    pButtons->addWidget(m_pBtnStart);
    pButtons->addWidget(m_pBtnCancel);
    pBodyLayout->addLayout(pButtons);
    pRoot->addWidget(pBody);
    UpdateButtons();
}

void ToolWindow::ReTranslateUI() {
    const QString strTitle = TitleText();
    setWindowTitle(strTitle);
    m_pLabTitle->setText(strTitle);
    m_pBtnStart->setText(Text(IDS_ToolDlg_Start, QStringLiteral("Start")));
    m_pBtnCancel->setText(Text(IDS_Global_Cancel, QStringLiteral("Cancel")));
}

void ToolWindow::InitBkgs() {
    const QString strQss = SkinManager::GetQssResPath(kMessageBoxQssResource);
    if (strQss.isEmpty())
        return;
    const QString strClose =
        strQss.left(strQss.lastIndexOf(QLatin1Char('/'))) + QStringLiteral("/images/close.svg");
    m_pBtnClose->setStyleSheet(
        QStringLiteral("QPushButton { image: url(%1); border: none; border-radius: 3px; "
                       "background-color: transparent; padding: 4px; }"
                       "QPushButton:hover { background-color: #C42B1C; }")
            .arg(strClose));
}

void ToolWindow::ConnectSignals() {
    connect(m_pBtnClose, &QPushButton::clicked, this, &ToolWindow::On_Cancel);
    connect(m_pBtnCancel, &QPushButton::clicked, this, &ToolWindow::On_Cancel);
    connect(m_pBtnStart, &QPushButton::clicked, this, [this]() {
        if (!m_bJobRunning)
            On_StartClicked();
    });
}

bool ToolWindow::IsJobRunning() const {
    return m_bJobRunning;
}

QString ToolWindow::StatusText() const {
    return m_pLabStatus ? m_pLabStatus->text() : QString();
}

int ToolWindow::ProgressPercent() const {
    return m_pProgress ? m_pProgress->value() / 10 : 0;
}

void ToolWindow::On_Cancel() {
    if (m_bJobRunning) {
        m_pJob->Cancel();
        SetStatus(Text(IDS_ToolDlg_Cancelling, QStringLiteral("Cancelling...")));
        return;
    }
    CustomDialog::On_Cancel();
}

bool ToolWindow::RunJob(JobFn fnJob, const QString& strRunningText) {
    if (m_bJobRunning) {
        SetStatus(Text(IDS_ToolDlg_Busy, QStringLiteral("A job is running.")), true);
        return false;
    }
    // The callbacks come from the worker thread; queued to this window, they
    // are dropped if the window is gone (it waits for the job first anyway).
    auto fnProgress = [this](double dValue) {
        QMetaObject::invokeMethod(
            this, [this, dValue]() { On_Progress(dValue); }, Qt::QueuedConnection);
    };
    auto fnDone = [this](const JobResult& result) {
        QMetaObject::invokeMethod(
            this, [this, result]() { On_Finished(result); }, Qt::QueuedConnection);
    };
    if (!m_pJob->Start(std::move(fnJob), fnProgress, fnDone)) {
        SetStatus(Text(IDS_ToolDlg_Busy, QStringLiteral("A job is running.")), true);
        return false;
    }
    m_bJobRunning = true;
    m_pProgress->setValue(0);
    SetStatus(strRunningText);
    UpdateButtons();
    return true;
}

void ToolWindow::ShowBadInput(const QString& strText) {
    SetStatus(strText, true);
    NonModalMessageBox::MsgBox(this, Text(IDS_Global_Information, QStringLiteral("Information")), strText);
}

bool ToolWindow::event(QEvent* pEvent) {
    const bool bDone = CustomDialog::event(pEvent);
    // A result of several lines grows the window instead of squeezing the
    // fields above it; the layout only knows the new height once it has run.
    if (pEvent->type() == QEvent::LayoutRequest && layout()) {
        const int nNeed = layout()->hasHeightForWidth() ? layout()->totalHeightForWidth(width())
                                                        : layout()->totalSizeHint().height();
        if (nNeed > height())
            resize(width(), nNeed);
    }
    return bDone;
}

void ToolWindow::SetStatus(const QString& strText, bool bError) {
    m_pLabStatus->setText(strText);
    m_pLabStatus->setProperty("error", bError);
    // The sheet may colour errors by the property; it is read at polish.
    m_pLabStatus->style()->unpolish(m_pLabStatus);
    m_pLabStatus->style()->polish(m_pLabStatus);
}

void ToolWindow::On_Progress(double dValue) {
    if (m_bJobRunning)
        m_pProgress->setValue(static_cast<int>(dValue * 1000.0 + 0.5));
}

void ToolWindow::On_Finished(const JobResult& result) {
    m_bJobRunning = false;
    const QString strMessage = QString::fromStdString(result.strMessage);
    switch (result.eKind) {
    case JobResult::Ok:
        m_pProgress->setValue(m_pProgress->maximum());
        SetStatus(strMessage);
        break;
    case JobResult::Cancelled:
        m_pProgress->setValue(0);
        SetStatus(Text(IDS_ToolDlg_Cancelled, QStringLiteral("Cancelled.")));
        break;
    case JobResult::BadInput:
        m_pProgress->setValue(0);
        ShowBadInput(strMessage);
        break;
    case JobResult::Failure:
        m_pProgress->setValue(0);
        SetStatus(strMessage, true);
        break;
    }
    UpdateButtons();
    On_JobDone(result);
    emit Sig_JobFinished(result.IsOk());
}

void ToolWindow::UpdateButtons() {
    m_pBtnStart->setEnabled(!m_bJobRunning);
}
