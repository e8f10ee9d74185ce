#include "SyncRulerDlgBase.h"

#include <QLabel>
#include <QPainter>
#include <QPalette>
#include <QPolygon>
#include <QResizeEvent>
#include <QScrollArea>
#include <QScrollBar>

#include <algorithm>

#include "CPlayHelper.h"
#include "SkinManager.h"

namespace {

const int SKIN_RES_RULER = 18;
const int SKIN_SHEET_HBAR = 7;
const int FOLLOW_MARGIN = 5;

void SetBackground(QWidget* pWidget, const QPixmap& pix) {
    QPalette pal = pWidget->palette();
    pal.setBrush(QPalette::Window, QBrush(pix));
    pWidget->setPalette(pal);
    pWidget->setAutoFillBackground(true);
}

} // namespace

SyncRulerDlgBase::SyncRulerDlgBase(QWidget* pParent, const SyncRulerPainter::Measures& measures, int nDlgHeight)
    : QDialog(pParent, Qt::Dialog | Qt::FramelessWindowHint), m_painter(measures) {
    setFixedHeight(nDlgHeight);
    // Showing the ruler must not take the keyboard from the main dialog or the
    // full screen stage.
    setAttribute(Qt::WA_ShowWithoutActivating, true);
    SetInitialRanges();
}

SyncRulerDlgBase::~SyncRulerDlgBase() {
    if (m_bObserving)
        SkinManager::DelObserver(this);
}

bool SyncRulerDlgBase::SetMainDlg(CVelquinDlg* pMainDlg) {
    if (!pMainDlg)
        return false;
    m_pMainDlg = pMainDlg;
    return true;
}

void SyncRulerDlgBase::CreateWidgets() {
    SetupUI();
    LayoutChildren();
    m_nBaseWidth = m_nRulerWidth = ViewportWidth();
    BuildGradeLabels();
    QScrollBar* pVBar = m_pScrollAreaTimes->verticalScrollBar();
    connect(pVBar, &QScrollBar::valueChanged, this, &SyncRulerDlgBase::On_VScrollBarValueChange);
    connect(pVBar, &QScrollBar::sliderReleased, this, &SyncRulerDlgBase::On_VScrollBarSliderRelease);
}

void SyncRulerDlgBase::CreateScaleArea(QWidget* pContainer, const QSize& szInitial) {
    m_pScrollAreaRuler = new QScrollArea(pContainer);
    m_pScrollAreaRuler->setObjectName(QStringLiteral("m_pScrollAreaRuler"));
    m_pScrollAreaRuler->setFrameShape(QFrame::NoFrame);
    m_pScrollAreaRuler->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_pScrollAreaRuler->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_pScrollAreaRuler->setWidgetResizable(false);
    m_pWndTimeRuler = new QWidget();
    m_pWndTimeRuler->setObjectName(QStringLiteral("m_pWndTimeRuler"));
    m_pWndTimeRuler->resize(szInitial);
    m_pScrollAreaRuler->setWidget(m_pWndTimeRuler);
}

void SyncRulerDlgBase::CreateRowsArea(const QSize& szInitial) {
    m_pScrollAreaTimes = new QScrollArea(this);
    m_pScrollAreaTimes->setObjectName(QStringLiteral("m_pScrollAreaTimes"));
    m_pScrollAreaTimes->setFrameShape(QFrame::NoFrame);
    m_pScrollAreaTimes->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    m_pScrollAreaTimes->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    m_pScrollAreaTimes->setWidgetResizable(false);
    m_pWndPlayTimes = new QWidget();
    m_pWndPlayTimes->setObjectName(QStringLiteral("m_pWndPlayTimes"));
    m_pWndPlayTimes->resize(szInitial);
    m_pScrollAreaTimes->setWidget(m_pWndPlayTimes);
}

void SyncRulerDlgBase::CreateRedLine(const RedLine& line) {
    QPixmap pix(line.nWidth, line.nHeight);
    pix.fill(Qt::transparent);
    QPainter painter(&pix);
    const QColor clrRed(0xE5, 0x39, 0x35);
    painter.fillRect(line.nLineX, 0, 1, line.nHeight, clrRed);
    // A handle at the top gives the thin line something to take hold of.
    painter.setPen(clrRed);
    painter.setBrush(clrRed);
    painter.drawPolygon(QPolygon({QPoint(line.nLineX - line.nHandle, 0), QPoint(line.nLineX + line.nHandle, 0),
                                  QPoint(line.nLineX, line.nHandle + 1)}));
    painter.end();

    m_pLabelPlayPosRedLine = new QLabel(this);
    m_pLabelPlayPosRedLine->setObjectName(QStringLiteral("m_pLabelPlayPosRedLine"));
    m_pLabelPlayPosRedLine->setFixedSize(line.nWidth, line.nHeight);
    m_pLabelPlayPosRedLine->setPixmap(pix);
    m_pLabelPlayPosRedLine->hide();
}

int SyncRulerDlgBase::ViewportWidth() const {
    if (!m_pScrollAreaTimes)
        return 1;
    const int nWidth = m_pScrollAreaTimes->width() - 2 * m_pScrollAreaTimes->frameWidth() -
                       m_pScrollAreaTimes->verticalScrollBar()->sizeHint().width();
    return std::max(1, nWidth);
}

void SyncRulerDlgBase::SetInitialRanges() {
    TAVRIX_SYSTEM_TIME stInitial{};
    stInitial.nYear = 1998;
    stInitial.nMonth = 1;
    stInitial.nDay = 1;
    m_stFirstFile.stBegin = m_stFirstFile.stEnd = stInitial;
    m_stLastFile = m_stFirstFile;
}

bool SyncRulerDlgBase::TakeGroup(std::vector<SYNC_WND_FILE*>& vecFiles, FILE_INFO_SYNC* pFirst,
                                 FILE_INFO_SYNC* pLast) {
    if (!pFirst || !pLast || !m_pLabelPlayPosRedLine)
        return false;
    // A hidden dialog gets its resize event only when shown; the widths below
    // need the places for its present size.
    LayoutChildren();
    m_vecFiles.clear();
    for (const SYNC_WND_FILE* pFile : vecFiles) {
        if (pFile)
            m_vecFiles.push_back(*pFile);
    }
    m_stFirstFile = *pFirst;
    m_stLastFile = *pLast;
    if (!SyncRulerPainter::FilePositions(m_stFirstFile, m_stLastFile, m_vecFiles, &m_vecFilePos))
        return false;
    m_nDays = CPlayHelper::GetTimeSpan_Day(&pFirst->stBegin, &pLast->stEnd) + 1;
    m_nHours = m_nDays * 24;
    m_nBaseWidth = m_nRulerWidth = ViewportWidth();
    return true;
}

void SyncRulerDlgBase::ShowGroup() {
    m_pScrollAreaTimes->verticalScrollBar()->setValue(0);
    BuildGradeLabels();
    UpdateRulerPixmap();
    UpdateFilesPixmap();
    m_pScrollAreaTimes->horizontalScrollBar()->setValue(0);
    m_pLabelPlayPosRedLine->show();
    m_pLabelPlayPosRedLine->raise();
}

void SyncRulerDlgBase::ResetGroup() {
    LayoutChildren();
    SetInitialRanges();
    m_vecFiles.clear();
    m_vecFilePos.clear();
    m_nDays = 1;
    m_nHours = 24;
    m_nBaseWidth = m_nRulerWidth = ViewportWidth();
    BuildGradeLabels();
    if (m_pLabelPlayPosRedLine)
        m_pLabelPlayPosRedLine->hide();
}

void SyncRulerDlgBase::BuildGradeLabels() {
    SyncRulerPainter::BuildGradeLabels(m_nDays, m_lstGradeLabels);
}

void SyncRulerDlgBase::UpdateRulerPixmap() {
    if (!m_pMainDlg || m_vecFiles.empty() || !m_pWndTimeRuler)
        return;
    const QStringList& lstLabels = m_lstGradeLabels[m_nGrade];
    if (lstLabels.isEmpty())
        return;
    m_pixRuler = m_painter.PaintScale(m_nRulerWidth, m_nGrade, lstLabels);
    m_pWndTimeRuler->resize(m_pixRuler.size());
    SetBackground(m_pWndTimeRuler, m_pixRuler);
    SyncScrollRanges();
}

void SyncRulerDlgBase::UpdateFilesPixmap() {
    if (!m_pMainDlg || m_vecFiles.empty() || !m_pWndPlayTimes)
        return;
    m_pixFiles = m_painter.PaintRows(m_nRulerWidth, m_vecFiles, m_vecFilePos, SelectedWndIndex());
    m_pWndPlayTimes->resize(m_pixFiles.size());
    SetBackground(m_pWndPlayTimes, m_pixFiles);
    SyncScrollRanges();
}

void SyncRulerDlgBase::SyncScrollRanges() {
    const int nViewport = ViewportWidth();
    const int nMax = std::max(0, m_nRulerWidth - nViewport);
    m_pScrollAreaRuler->horizontalScrollBar()->setRange(0, nMax);
    QScrollBar* pHBar = m_pScrollAreaTimes->horizontalScrollBar();
    pHBar->setRange(0, nMax);
    pHBar->setPageStep(nViewport);
    const int nRowHeight = m_painter.GetMeasures().nRowHeight;
    QScrollBar* pVBar = m_pScrollAreaTimes->verticalScrollBar();
    pVBar->setSingleStep(nRowHeight);
    pVBar->setPageStep(nRowHeight);
}

bool SyncRulerDlgBase::On_VScrollBarSliderRelease() {
    if (!m_pScrollAreaTimes)
        return false;
    const int nRowHeight = m_painter.GetMeasures().nRowHeight;
    QScrollBar* pVBar = m_pScrollAreaTimes->verticalScrollBar();
    pVBar->setValue(pVBar->value() / nRowHeight * nRowHeight);
    return true;
}

bool SyncRulerDlgBase::PlayPosX(const TAVRIX_SYSTEM_TIME* pTime, int* pnX) const {
    TAVRIX_SYSTEM_TIME stDayBegin;
    TAVRIX_SYSTEM_TIME stDayEnd;
    SyncRulerPainter::DaySpan(m_stFirstFile, m_stLastFile, &stDayBegin, &stDayEnd);
    double dPrecent = 0.0;
    if (!CPlayHelper::GetPrecentByGlobalTime(pTime, dPrecent, &stDayBegin, &stDayEnd))
        return false;
    *pnX = int(m_nRulerWidth * dPrecent);
    return true;
}

void SyncRulerDlgBase::FollowPlayPos(int x) {
    const int nViewport = ViewportWidth();
    QScrollBar* pBar = m_pScrollAreaTimes->horizontalScrollBar();
    const int nScroll = pBar->value();
    if (x < nScroll - FOLLOW_MARGIN) {
        pBar->setValue(x - FOLLOW_MARGIN > pBar->minimum() ? x - FOLLOW_MARGIN : pBar->minimum());
    } else if (x > nScroll + nViewport - FOLLOW_MARGIN) {
        const int nNext = x - nViewport + FOLLOW_MARGIN;
        pBar->setValue(nNext >= pBar->maximum() ? x - nViewport : nNext);
    }
}

void SyncRulerDlgBase::ApplySheets(int nQssRes) {
    const QString strQss = SkinManager::GetQssResPath(nQssRes);
    setStyleSheet(strQss.isEmpty() ? QString() : SkinManager::ReadQssFile(strQss));
    if (m_pScrollAreaTimes)
        m_pScrollAreaTimes->horizontalScrollBar()->setStyleSheet(
            SkinManager::GetResStyleSheet(SKIN_RES_RULER, SKIN_SHEET_HBAR));
}

void SyncRulerDlgBase::ObserveSkin() {
    if (SkinManager::GetInstance()) {
        SkinManager::AddObserver(this);
        m_bObserving = true;
    }
}

void SyncRulerDlgBase::resizeEvent(QResizeEvent* pEvent) {
    QDialog::resizeEvent(pEvent);
    if (!m_pScrollAreaTimes)
        return;
    LayoutChildren();
    const int nViewport = ViewportWidth();
    if (nViewport > m_nRulerWidth)
        m_nBaseWidth = m_nRulerWidth = nViewport;
    UpdateRulerPixmap();
    UpdateFilesPixmap();
    SyncScrollRanges();
    SetPlayPos(&m_stPlayTime);
}
