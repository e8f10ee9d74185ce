#include "ClipWindow.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QStackedWidget>
#include <QVBoxLayout>

#include <climits>
#include <cmath>
#include <memory>

#include "ClipCutter.h"
#include "ClipExport.h"
#include "LanguageKeys.h"

using velquintools::JobResult;

namespace {

// Reading a header takes milliseconds; a file that takes longer (a stalled
// share) must not freeze the window.
const int64_t kProbeTimeoutMs = 2000;
// Recordings of several days: times are seconds, not a time of day that
// would wrap at 24 hours.
const double kMaxSeconds = 1e9;

// "hh:mm:ss.zzz", the hours going on past 24.
QString TimeText(double dSec) {
    const qint64 nMs = qRound64(dSec * 1000.0);
    return QStringLiteral("%1:%2:%3.%4")
        .arg(nMs / 3600000, 2, 10, QLatin1Char('0'))
        .arg(nMs / 60000 % 60, 2, 10, QLatin1Char('0'))
        .arg(nMs / 1000 % 60, 2, 10, QLatin1Char('0'))
        .arg(nMs % 1000, 3, 10, QLatin1Char('0'));
}

QDoubleSpinBox* MakeTimeEdit(QWidget* pParent, const char* szName) {
    auto* pEdit = new QDoubleSpinBox(pParent);
    pEdit->setObjectName(QLatin1String(szName));
    pEdit->setDecimals(3);
    pEdit->setRange(0.0, kMaxSeconds);
    pEdit->setSuffix(QStringLiteral(" s"));
    return pEdit;
}

QSpinBox* MakeFrameEdit(QWidget* pParent, const char* szName) {
    auto* pEdit = new QSpinBox(pParent);
    pEdit->setObjectName(QLatin1String(szName));
    pEdit->setRange(0, INT_MAX);
    return pEdit;
}

} // namespace

ClipWindow::ClipWindow(QWidget* pParent) : ToolWindow(pParent) {}

QString ClipWindow::TitleText() const {
    return Text(IDS_Global_Cut, QStringLiteral("Clip"));
}

void ClipWindow::BuildContent(QVBoxLayout* pContent) {
    auto* pGrid = new QGridLayout;
    pGrid->setHorizontalSpacing(8);
    int nRow = 0;

    m_pLabSource = new QLabel(this);
    m_pEdtSource = new QLineEdit(this);
    m_pEdtSource->setObjectName(QStringLiteral("m_pEdtSource"));
    m_pBtnBrowseSource = new QPushButton(this);
    m_pBtnBrowseSource->setAutoDefault(false);
    pGrid->addWidget(m_pLabSource, nRow, 0);
    pGrid->addWidget(m_pEdtSource, nRow, 1, 1, 3);
    pGrid->addWidget(m_pBtnBrowseSource, nRow++, 4);
    m_pLabLength = new QLabel(this);
    m_pLabLength->setObjectName(QStringLiteral("m_pLabLength"));
    pGrid->addWidget(m_pLabLength, nRow++, 1, 1, 3);

    m_pLabUnit = new QLabel(this);
    m_pCmbUnit = new QComboBox(this);
    m_pCmbUnit->setObjectName(QStringLiteral("m_pCmbUnit"));
    m_pCmbUnit->addItem(QString());
    m_pCmbUnit->addItem(QString());
    pGrid->addWidget(m_pLabUnit, nRow, 0);
    pGrid->addWidget(m_pCmbUnit, nRow++, 1);

    // Times and frame numbers each have their pair of edits; the unit shows one.
    m_pLabFrom = new QLabel(this);
    m_pLabTo = new QLabel(this);
    m_pStackSpan = new QStackedWidget(this);
    auto* pTimes = new QWidget(m_pStackSpan);
    auto* pTimesLayout = new QHBoxLayout(pTimes);
    pTimesLayout->setContentsMargins(0, 0, 0, 0);
    m_pTimeFrom = MakeTimeEdit(pTimes, "m_pTimeFrom");
    m_pTimeTo = MakeTimeEdit(pTimes, "m_pTimeTo");
    pTimesLayout->addWidget(m_pTimeFrom);
    pTimesLayout->addWidget(m_pTimeTo);
    auto* pFrames = new QWidget(m_pStackSpan);
    auto* pFramesLayout = new QHBoxLayout(pFrames);
    pFramesLayout->setContentsMargins(0, 0, 0, 0);
    m_pSpinFrom = MakeFrameEdit(pFrames, "m_pSpinFrom");
    m_pSpinTo = MakeFrameEdit(pFrames, "m_pSpinTo");
    pFramesLayout->addWidget(m_pSpinFrom);
    pFramesLayout->addWidget(m_pSpinTo);
    m_pStackSpan->addWidget(pTimes);
    m_pStackSpan->addWidget(pFrames);
    auto* pSpanLabels = new QHBoxLayout;
    pSpanLabels->addWidget(m_pLabFrom);
    pSpanLabels->addWidget(m_pLabTo);
    pGrid->addLayout(pSpanLabels, nRow++, 1, 1, 3);
    pGrid->addWidget(m_pStackSpan, nRow++, 1, 1, 3);

    m_pLabOutDir = new QLabel(this);
    m_pEdtOutDir = new QLineEdit(this);
    m_pEdtOutDir->setObjectName(QStringLiteral("m_pEdtOutDir"));
    m_pBtnBrowseOut = new QPushButton(this);
    m_pBtnBrowseOut->setAutoDefault(false);
    pGrid->addWidget(m_pLabOutDir, nRow, 0);
    pGrid->addWidget(m_pEdtOutDir, nRow, 1, 1, 3);
    pGrid->addWidget(m_pBtnBrowseOut, nRow++, 4);

    m_pLabMode = new QLabel(this);
    m_pCmbMode = new QComboBox(this);
    m_pCmbMode->setObjectName(QStringLiteral("m_pCmbMode"));
    m_pCmbMode->addItem(QString());
    m_pCmbMode->addItem(QString());
    pGrid->addWidget(m_pLabMode, nRow, 0);
    pGrid->addWidget(m_pCmbMode, nRow++, 1, 1, 2);
    pContent->addLayout(pGrid);
    m_pLabModeHint = new QLabel(this);
    m_pLabModeHint->setWordWrap(true);
    pContent->addWidget(m_pLabModeHint);

    auto* pResult = new QHBoxLayout;
    m_pLabResult = new QLabel(this);
    m_pLabResult->setObjectName(QStringLiteral("m_pLabResult"));
    m_pLabResult->setWordWrap(true);
    m_pLabResult->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_pBtnVerify = new QPushButton(this);
    m_pBtnVerify->setObjectName(QStringLiteral("m_pBtnVerify"));
    m_pBtnVerify->setAutoDefault(false);
    pResult->addWidget(m_pLabResult, 1);
    pResult->addWidget(m_pBtnVerify);
    pContent->addLayout(pResult);
}

void ClipWindow::ReTranslateUI() {
    ToolWindow::ReTranslateUI();
    const QString strBrowse = Text(IDS_Global_Browse, QStringLiteral("Browse"));
    m_pLabSource->setText(Text(IDS_FileCutDlg_Source, QStringLiteral("Recording")));
    m_pBtnBrowseSource->setText(strBrowse);
    m_pLabUnit->setText(Text(IDS_FileCutDlg_Unit, QStringLiteral("Span in")));
    m_pCmbUnit->setItemText(0, Text(IDS_FileCutDlg_UnitTime, QStringLiteral("Time")));
    m_pCmbUnit->setItemText(1, Text(IDS_FileCutDlg_UnitFrame, QStringLiteral("Frame numbers")));
    m_pLabFrom->setText(Text(IDS_FileCutDlg_From, QStringLiteral("From")));
    m_pLabTo->setText(Text(IDS_FileCutDlg_To, QStringLiteral("To")));
    m_pLabOutDir->setText(Text(IDS_FileCutDlg_OutDir, QStringLiteral("Save to")));
    m_pBtnBrowseOut->setText(strBrowse);
    m_pLabMode->setText(Text(IDS_FileCutDlg_Mode, QStringLiteral("Mode")));
    m_pCmbMode->setItemText(0, Text(IDS_FileCutDlg_KeyFrameMode, QStringLiteral("Key frame (copy only)")));
    m_pCmbMode->setItemText(1, Text(IDS_FileCutDlg_ExactMode, QStringLiteral("Frame-exact")));
    m_pLabModeHint->setText(
        Text(IDS_FileCutDlg_ModeHint,
             QStringLiteral(
                 "Key frame: the clip starts on the key frame at or before the start. Frame-exact: it "
                 "starts and ends on the asked frames; the frames before the first key frame and after "
                 "the last are re-encoded losslessly. A manifest with checksums is written beside it.")));
    m_pBtnVerify->setText(Text(IDS_FileCutDlg_Verify, QStringLiteral("Verify...")));
}

void ClipWindow::ConnectSignals() {
    ToolWindow::ConnectSignals();
    connect(m_pCmbUnit, qOverload<int>(&QComboBox::currentIndexChanged), m_pStackSpan,
            &QStackedWidget::setCurrentIndex);
    connect(m_pBtnBrowseSource, &QPushButton::clicked, this, &ClipWindow::On_BrowseSource);
    connect(m_pEdtSource, &QLineEdit::editingFinished, this, &ClipWindow::On_SourceChanged);
    connect(m_pBtnBrowseOut, &QPushButton::clicked, this, &ClipWindow::On_BrowseOutDir);
    connect(m_pBtnVerify, &QPushButton::clicked, this, &ClipWindow::On_BrowseManifest);
}

void ClipWindow::SetSource(const QString& strPath) {
    m_pEdtSource->setText(strPath);
    if (!strPath.isEmpty() && m_pEdtOutDir->text().isEmpty())
        m_pEdtOutDir->setText(QFileInfo(strPath).absolutePath());
    On_SourceChanged();
}

void ClipWindow::On_SourceChanged() {
    const QString strPath = m_pEdtSource->text().trimmed();
    m_pLabLength->clear();
    if (strPath.isEmpty())
        return;
    // A pipe or a device would block the reader: only files are read.
    if (!QFileInfo(strPath).isFile()) {
        m_pLabLength->setText(Text(IDS_FileCutDlg_NoFile, QStringLiteral("The file does not exist:")) +
                              QLatin1Char(' ') + strPath);
        return;
    }
    double dSec = 0.0;
    int64_t nFrames = -1;
    std::string strWhy;
    // The header only, with a deadline: quick enough for the GUI thread, and
    // a bad file is told at once rather than after Start.
    if (!velquintools::ClipCutter::ProbeLength(strPath.toUtf8().toStdString(), &dSec, &nFrames, &strWhy,
                                               kProbeTimeoutMs)) {
        m_pLabLength->setText(QString::fromStdString(strWhy));
        return;
    }
    QString strText =
        Text(IDS_FileCutDlg_Length, QStringLiteral("Length:")) + QLatin1Char(' ') + TimeText(dSec);
    if (nFrames > 0)
        strText += QStringLiteral(" (%1)").arg(nFrames);
    m_pLabLength->setText(strText);
    const double dEnd = std::round(dSec * 1000.0) / 1000.0;
    m_pTimeFrom->setMaximum(dEnd);
    m_pTimeTo->setMaximum(dEnd);
    if (m_pTimeTo->value() == 0.0)
        m_pTimeTo->setValue(dEnd);
    if (nFrames > 0) {
        m_pSpinFrom->setMaximum(static_cast<int>(nFrames - 1));
        m_pSpinTo->setMaximum(static_cast<int>(nFrames - 1));
        if (m_pSpinTo->value() == 0)
            m_pSpinTo->setValue(static_cast<int>(nFrames - 1));
    }
}

QString ClipWindow::Source() const {
    return m_pEdtSource->text();
}

void ClipWindow::SetOutDir(const QString& strDir) {
    m_pEdtOutDir->setText(strDir);
}

void ClipWindow::SetSpanSeconds(double dFrom, double dTo) {
    m_pCmbUnit->setCurrentIndex(0);
    m_pTimeFrom->setValue(dFrom);
    m_pTimeTo->setValue(dTo);
}

void ClipWindow::SetSpanFrames(int nFrom, int nTo) {
    m_pCmbUnit->setCurrentIndex(1);
    m_pSpinFrom->setValue(nFrom);
    m_pSpinTo->setValue(nTo);
}

void ClipWindow::SetExact(bool bExact) {
    m_pCmbMode->setCurrentIndex(bExact ? 1 : 0);
}

void ClipWindow::On_StartClicked() {
    ClipExportSettings settings;
    settings.bExact = m_pCmbMode->currentIndex() == 1;
    settings.strSource = m_pEdtSource->text().trimmed();
    settings.strOutDir = m_pEdtOutDir->text().trimmed();
    settings.bFrames = m_pCmbUnit->currentIndex() == 1;
    settings.dFrom = settings.bFrames ? m_pSpinFrom->value() : m_pTimeFrom->value();
    settings.dTo = settings.bFrames ? m_pSpinTo->value() : m_pTimeTo->value();

    // What can be told without reading the file is told at once.
    if (settings.strSource.isEmpty())
        return ShowBadInput(Text(IDS_FileCutDlg_NoSource, QStringLiteral("Choose a recording to clip.")));
    if (!QFileInfo(settings.strSource).isFile())
        return ShowBadInput(Text(IDS_FileCutDlg_NoFile, QStringLiteral("The file does not exist:")) +
                            QLatin1Char(' ') + settings.strSource);
    if (settings.bFrames ? settings.dTo < settings.dFrom : settings.dTo <= settings.dFrom)
        return ShowBadInput(
            Text(IDS_FileCutDlg_EmptySpan, QStringLiteral("The end must be after the start.")));
    if (settings.strOutDir.isEmpty())
        settings.strOutDir = QFileInfo(settings.strSource).absolutePath();
    const QFileInfo infoDir(settings.strOutDir);
    if (!infoDir.isDir() || !infoDir.isWritable())
        return ShowBadInput(
            Text(IDS_FileCutDlg_OutDirBad, QStringLiteral("The output folder cannot be written:")) +
            QLatin1Char(' ') + settings.strOutDir);

    m_pLabResult->clear();
    // Written by the job, read here only once it has ended (On_JobDone).
    auto pstrManifest = std::make_shared<QString>();
    m_pstrJobManifest = pstrManifest;
    RunJob(
        [settings, pstrManifest](const velquintools::ProgressFn& fnProgress,
                                 const std::atomic<bool>& bCancel) {
            return ClipExport::Export(settings, fnProgress, bCancel, pstrManifest.get());
        },
        Text(IDS_FileCutDlg_Working, QStringLiteral("Cutting...")));
}

void ClipWindow::On_JobDone(const JobResult& result) {
    std::shared_ptr<QString> pstrManifest = std::move(m_pstrJobManifest);
    if (!result.IsOk() || !pstrManifest || pstrManifest->isEmpty())
        return;
    m_strManifest = *pstrManifest;
    m_pLabResult->setText(Text(IDS_FileCutDlg_Manifest, QStringLiteral("Manifest:")) + QLatin1Char(' ') +
                          m_strManifest);
}

void ClipWindow::VerifyManifest(const QString& strManifest) {
    // The running export keeps its manifest to show; this waits for it.
    if (IsJobRunning()) {
        SetStatus(Text(IDS_ToolDlg_Busy, QStringLiteral("A job is running.")), true);
        return;
    }
    m_pstrJobManifest.reset();
    RunJob(
        [strManifest](const velquintools::ProgressFn& fnProgress, const std::atomic<bool>& bCancel) {
            return ClipExport::Verify(strManifest, fnProgress, bCancel);
        },
        Text(IDS_FileCutDlg_Verifying, QStringLiteral("Verifying...")));
}

void ClipWindow::UpdateButtons() {
    ToolWindow::UpdateButtons();
    if (m_pBtnVerify)
        m_pBtnVerify->setEnabled(!IsJobRunning());
}

void ClipWindow::On_BrowseSource() {
    const QString strPath = QFileDialog::getOpenFileName(this, m_pLabSource->text(), m_pEdtSource->text());
    if (!strPath.isEmpty())
        SetSource(strPath);
}

void ClipWindow::On_BrowseOutDir() {
    const QString strDir =
        QFileDialog::getExistingDirectory(this, m_pLabOutDir->text(), m_pEdtOutDir->text());
    if (!strDir.isEmpty())
        m_pEdtOutDir->setText(strDir);
}

void ClipWindow::On_BrowseManifest() {
    const QString strPath = QFileDialog::getOpenFileName(
        this, m_pBtnVerify->text(), m_strManifest.isEmpty() ? m_pEdtOutDir->text() : m_strManifest,
        QStringLiteral("*.manifest.sha256"));
    if (!strPath.isEmpty())
        VerifyManifest(strPath);
}
