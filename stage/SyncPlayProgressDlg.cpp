#include "SyncPlayProgressDlg.h"

#include <QApplication>
#include <QFontInfo>
#include <QFontMetrics>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPalette>
#include <QPolygon>
#include <QPushButton>
#include <QResizeEvent>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QSlider>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "CDlgShow.h"
#include "CLanguageParser.h"
#include "CPlayHelper.h"
#include "LanguageKeys.h"
#include "SkinManager.h"

namespace {

const int SKIN_RES_RULER = 18;
const int SKIN_SHEET_HBAR = 7;

const int LEFT_COLUMN_WIDTH = 160; // title, zoom and file names
const int TITLE_HEIGHT = 15;       // the time label floats in this strip
const int ZOOM_BUTTON_SIZE = 20;
const int ROW_SCROLL_BASE = 32; // the row under a vertical scroll value
const int TIME_LABEL_WIDTH = 98;
const int TIME_LABEL_HEIGHT = 14;
const int RED_LINE_WIDTH = 15;
const int RED_LINE_HEIGHT = 120;
const int RED_LINE_X = 6; // the column of the line inside its label
const int FOLLOW_MARGIN = 5;

QString Text(const char* pKey, const char* pDefault) {
    QString strText;
    CLanguageParser::FindString(QString::fromLatin1(pKey), strText, QString::fromUtf8(pDefault));
    return strText;
}

int GradeOfScale(int nScale) {
    if (nScale <= 3)
        return 0;
    if (nScale <= 11)
        return 1;
    if (nScale <= 45)
        return 2;
    return 3;
}

void SetBackground(QWidget* pWidget, const QPixmap& pix) {
    QPalette pal = pWidget->palette();
    pal.setBrush(QPalette::Window, QBrush(pix));
    pWidget->setPalette(pal);
    pWidget->setAutoFillBackground(true);
}

// The time label has a fixed size; a skin font too wide for a full date and
// time is made smaller until it fits.
QFont TimeLabelFont(QFont font) {
    const QString strWidest = QStringLiteral("8888/88/88 88:88:88");
    int nPixels = QFontInfo(font).pixelSize();
    while (nPixels > 7 && QFontMetrics(font).horizontalAdvance(strWidest) > TIME_LABEL_WIDTH - 2) {
        --nPixels;
        font.setPixelSize(nPixels);
    }
    return font;
}

QPixmap RedLinePixmap() {
    QPixmap pix(RED_LINE_WIDTH, RED_LINE_HEIGHT);
    pix.fill(Qt::transparent);
    QPainter painter(&pix);
    const QColor clrRed(0xE5, 0x39, 0x35);
    painter.fillRect(RED_LINE_X, 0, 1, RED_LINE_HEIGHT, clrRed);
    // A handle at the top gives the thin line something to take hold of.
    painter.setPen(clrRed);
    painter.setBrush(clrRed);
    painter.drawPolygon(
        QPolygon({QPoint(RED_LINE_X - 4, 0), QPoint(RED_LINE_X + 4, 0), QPoint(RED_LINE_X, 5)}));
    return pix;
}

} // namespace

SyncPlayProgressDlg::SyncPlayProgressDlg(QWidget* pParent)
    : QDialog(pParent, Qt::Dialog | Qt::FramelessWindowHint) {
    setObjectName(QStringLiteral("SyncPlayProgressDlg"));
    setFixedHeight(DLG_HEIGHT);
    // Showing the ruler must not take the keyboard from the main dialog.
    setAttribute(Qt::WA_ShowWithoutActivating, true);
    SetInitialRanges();
    m_pixRuler = QPixmap(20, RULER_HEIGHT);
    m_pixFiles = QPixmap(20, 20);
}

SyncPlayProgressDlg::~SyncPlayProgressDlg() {
    if (m_bObserving)
        SkinManager::DelObserver(this);
}

bool SyncPlayProgressDlg::Init() {
    if (m_pScrollAreaTimes)
        return true;
    SetupUI();
    LayoutChildren();
    m_nBaseWidth = m_nRulerWidth = ViewportWidth();
    BuildGradeLabels();

    QScrollBar* pVBar = m_pScrollAreaTimes->verticalScrollBar();
    connect(pVBar, &QScrollBar::valueChanged, this, &SyncPlayProgressDlg::On_VScrollBarValueChange);
    connect(pVBar, &QScrollBar::sliderReleased, this, &SyncPlayProgressDlg::On_VScrollBarSliderRelease);
    connect(m_pScrollAreaTimes->horizontalScrollBar(), &QScrollBar::valueChanged, this,
            &SyncPlayProgressDlg::On_HScrollBarValueChange);
    connect(m_pSliderRulerScale, &QSlider::valueChanged, this, &SyncPlayProgressDlg::On_RulerScaleChange);
    connect(m_pBtnRulerPlus, &QPushButton::clicked, this, &SyncPlayProgressDlg::On_RulerScalePlus);
    connect(m_pBtnRulerMinus, &QPushButton::clicked, this, &SyncPlayProgressDlg::On_RulerScaleMinus);

    UpdateLanguage();
    // Calls SkinChanged() at once.
    if (SkinManager::GetInstance()) {
        SkinManager::AddObserver(this);
        m_bObserving = true;
    }
    return true;
}

void SyncPlayProgressDlg::SetupUI() {
    m_pLabelSyncPlayTitle = new QLabel(this);
    m_pLabelSyncPlayTitle->setObjectName(QStringLiteral("m_pLabelSyncPlayTitle"));
    m_pLabelSyncPlayTitle->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);

    m_pLabelSpace = new QLabel(this);
    m_pLabelSpace->setObjectName(QStringLiteral("m_pLabelSpace"));

    m_pSliderRulerContainer = new QWidget(this);
    m_pSliderRulerContainer->setObjectName(QStringLiteral("m_pSliderRulerContainer"));
    auto* pZoomLayout = new QHBoxLayout(m_pSliderRulerContainer);
    pZoomLayout->setContentsMargins(6, 0, 6, 0);
    pZoomLayout->setSpacing(4);
    m_pBtnRulerMinus = new QPushButton(QStringLiteral("-"), m_pSliderRulerContainer);
    m_pBtnRulerMinus->setObjectName(QStringLiteral("m_pBtnRulerMinus"));
    m_pBtnRulerMinus->setFixedSize(ZOOM_BUTTON_SIZE, ZOOM_BUTTON_SIZE);
    m_pBtnRulerMinus->setFocusPolicy(Qt::NoFocus);
    m_pSliderRulerScale = new QSlider(Qt::Horizontal, m_pSliderRulerContainer);
    m_pSliderRulerScale->setObjectName(QStringLiteral("m_pSliderRulerScale"));
    m_pSliderRulerScale->setRange(MIN_SCALE, MAX_SCALE);
    m_pSliderRulerScale->setSingleStep(1);
    m_pSliderRulerScale->setPageStep(1);
    m_pSliderRulerScale->setValue(MIN_SCALE);
    m_pSliderRulerScale->setFocusPolicy(Qt::NoFocus);
    m_pBtnRulerPlus = new QPushButton(QStringLiteral("+"), m_pSliderRulerContainer);
    m_pBtnRulerPlus->setObjectName(QStringLiteral("m_pBtnRulerPlus"));
    m_pBtnRulerPlus->setFixedSize(ZOOM_BUTTON_SIZE, ZOOM_BUTTON_SIZE);
    m_pBtnRulerPlus->setFocusPolicy(Qt::NoFocus);
    pZoomLayout->addWidget(m_pBtnRulerMinus);
    pZoomLayout->addWidget(m_pSliderRulerScale, 1);
    pZoomLayout->addWidget(m_pBtnRulerPlus);

    // The scale scrolls only with the rows below it, never by itself.
    m_pScrollAreaRulerContainer = new QWidget(this);
    m_pScrollAreaRulerContainer->setObjectName(QStringLiteral("m_pScrollAreaRulerContainer"));
    m_pScrollAreaRuler = new QScrollArea(m_pScrollAreaRulerContainer);
    m_pScrollAreaRuler->setObjectName(QStringLiteral("m_pScrollAreaRuler"));
    m_pScrollAreaRuler->setFrameShape(QFrame::NoFrame);
    m_pScrollAreaRuler->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_pScrollAreaRuler->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_pScrollAreaRuler->setWidgetResizable(false);
    m_pWndTimeRuler = new QWidget();
    m_pWndTimeRuler->setObjectName(QStringLiteral("m_pWndTimeRuler"));
    m_pWndTimeRuler->resize(m_pixRuler.size());
    m_pScrollAreaRuler->setWidget(m_pWndTimeRuler);

    for (int i = 0; i < 3; ++i) {
        m_pLabelFileName[i] = new QLabel(this);
        m_pLabelFileName[i]->setObjectName(QStringLiteral("m_pLabelFileName_%1").arg(i));
        m_pLabelFileName[i]->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    }

    m_pScrollAreaTimes = new QScrollArea(this);
    m_pScrollAreaTimes->setObjectName(QStringLiteral("m_pScrollAreaTimes"));
    m_pScrollAreaTimes->setFrameShape(QFrame::NoFrame);
    m_pScrollAreaTimes->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    m_pScrollAreaTimes->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    m_pScrollAreaTimes->setWidgetResizable(false);
    m_pScrollAreaTimes->verticalScrollBar()->setSingleStep(ROW_HEIGHT);
    m_pWndPlayTimes = new QWidget();
    m_pWndPlayTimes->setObjectName(QStringLiteral("m_pWndPlayTimes"));
    m_pWndPlayTimes->resize(m_pixFiles.size());
    m_pScrollAreaTimes->setWidget(m_pWndPlayTimes);

    // Made last so that they lie above the scale and the rows.
    m_pLabelPlayPosRedLine = new QLabel(this);
    m_pLabelPlayPosRedLine->setObjectName(QStringLiteral("m_pLabelPlayPosRedLine"));
    m_pLabelPlayPosRedLine->setFixedSize(RED_LINE_WIDTH, RED_LINE_HEIGHT);
    m_pLabelPlayPosRedLine->setPixmap(RedLinePixmap());
    m_pLabelPlayPosRedLine->setCursor(Qt::SizeHorCursor);
    m_pLabelPlayPosRedLine->hide();
    m_pLabelPlayPosSysTime = new QLabel(this);
    m_pLabelPlayPosSysTime->setObjectName(QStringLiteral("m_pLabelPlayPosSysTime"));
    m_pLabelPlayPosSysTime->setFixedSize(TIME_LABEL_WIDTH, TIME_LABEL_HEIGHT);
    m_pLabelPlayPosSysTime->setAlignment(Qt::AlignCenter);
    m_pLabelPlayPosSysTime->hide();
}

// Fixed places rather than layouts: the scale must sit exactly over the rows'
// viewport, whose width depends on the rows' vertical scroll bar.
void SyncPlayProgressDlg::LayoutChildren() {
    if (!m_pScrollAreaTimes)
        return;
    const int nWidth = width();
    const int nRight = std::max(1, nWidth - LEFT_COLUMN_WIDTH);
    const int nRowsTop = TITLE_HEIGHT + RULER_HEIGHT;
    m_pLabelSyncPlayTitle->setGeometry(0, 0, LEFT_COLUMN_WIDTH, TITLE_HEIGHT);
    m_pLabelSpace->setGeometry(LEFT_COLUMN_WIDTH, 0, nRight, TITLE_HEIGHT);
    m_pSliderRulerContainer->setGeometry(0, TITLE_HEIGHT, LEFT_COLUMN_WIDTH, RULER_HEIGHT);
    m_pScrollAreaTimes->setGeometry(LEFT_COLUMN_WIDTH, nRowsTop, nRight, DLG_HEIGHT - nRowsTop);
    m_pScrollAreaRulerContainer->setGeometry(LEFT_COLUMN_WIDTH, TITLE_HEIGHT, nRight, RULER_HEIGHT);
    m_pScrollAreaRuler->setGeometry(0, 0, ViewportWidth(), RULER_HEIGHT);
    for (int i = 0; i < 3; ++i)
        m_pLabelFileName[i]->setGeometry(0, nRowsTop + i * ROW_HEIGHT, LEFT_COLUMN_WIDTH, ROW_HEIGHT);
}

// The rows' viewport width as the scroll area itself works it out; the widget
// may not be laid out yet (a hidden dialog gets its resize events late).
int SyncPlayProgressDlg::ViewportWidth() const {
    if (!m_pScrollAreaTimes)
        return 1;
    const int nWidth = m_pScrollAreaTimes->width() - 2 * m_pScrollAreaTimes->frameWidth() -
                       m_pScrollAreaTimes->verticalScrollBar()->sizeHint().width();
    return std::max(1, nWidth);
}

void SyncPlayProgressDlg::SetInitialRanges() {
    TAVRIX_SYSTEM_TIME stInitial{};
    stInitial.nYear = 1998;
    stInitial.nMonth = 1;
    stInitial.nDay = 1;
    m_stFirstFile.stBegin = m_stFirstFile.stEnd = stInitial;
    m_stLastFile = m_stFirstFile;
}

bool SyncPlayProgressDlg::SetMainDlg(CVelquinDlg* pMainDlg) {
    if (!pMainDlg)
        return false;
    m_pMainDlg = pMainDlg;
    return true;
}

void SyncPlayProgressDlg::DaySpan(TAVRIX_SYSTEM_TIME* pDayBegin, TAVRIX_SYSTEM_TIME* pDayEnd) const {
    SyncRulerPainter::DaySpan(m_stFirstFile, m_stLastFile, pDayBegin, pDayEnd);
}

bool SyncPlayProgressDlg::StartSyncRuler(std::vector<SYNC_WND_FILE*>& vecFiles, FILE_INFO_SYNC* pFirst,
                                         FILE_INFO_SYNC* pLast) {
    if (!pFirst || !pLast || !m_pLabelPlayPosSysTime || !m_pLabelPlayPosRedLine)
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
    m_nGrade = 0;
    m_nScale = MIN_SCALE;
    {
        const QSignalBlocker blocker(m_pSliderRulerScale);
        m_pSliderRulerScale->setValue(MIN_SCALE);
    }

    UpdateLanguage();
    m_pScrollAreaTimes->verticalScrollBar()->setValue(0);
    ShowFileLabels(0);

    BuildGradeLabels();
    UpdateRulerPixmap();
    UpdateFilesPixmap();
    m_pScrollAreaTimes->horizontalScrollBar()->setValue(0);
    m_pLabelPlayPosRedLine->show();
    m_pLabelPlayPosSysTime->show();
    m_pLabelPlayPosRedLine->raise();
    m_pLabelPlayPosSysTime->raise();
    SetPlayPos(&pFirst->stBegin);
    return true;
}

bool SyncPlayProgressDlg::ResetSyncRuler() {
    LayoutChildren();
    SetInitialRanges();
    m_vecFiles.clear();
    m_vecFilePos.clear();
    m_nDays = 1;
    m_nHours = 24;
    m_nBaseWidth = m_nRulerWidth = ViewportWidth();
    m_nGrade = 0;
    m_nScale = MIN_SCALE;
    m_bDragPlayPos = false;
    m_bCenterPlayPos = false;
    if (m_pSliderRulerScale) {
        const QSignalBlocker blocker(m_pSliderRulerScale);
        m_pSliderRulerScale->setValue(MIN_SCALE);
    }
    BuildGradeLabels();
    if (m_pLabelPlayPosRedLine)
        m_pLabelPlayPosRedLine->hide();
    if (m_pLabelPlayPosSysTime)
        m_pLabelPlayPosSysTime->hide();
    ShowFileLabels(0);
    UpdateLanguage();
    return true;
}

void SyncPlayProgressDlg::UpdateLanguage() {
    if (!m_pLabelSyncPlayTitle)
        return;
    const QString strTitle = Text(IDS_MainWnd_SyncPlay, "Synchronous Play");
    m_pLabelSyncPlayTitle->setText(QStringLiteral("  %1(%2)").arg(strTitle).arg(int(m_vecFiles.size())));
}

void SyncPlayProgressDlg::ShowFileLabels(int nFirstRow) {
    for (int i = 0; i < 3; ++i) {
        if (!m_pLabelFileName[i])
            continue;
        const int nRow = nFirstRow + i;
        if (nRow < 0 || nRow >= int(m_vecFiles.size())) {
            m_pLabelFileName[i]->clear();
            m_pLabelFileName[i]->setToolTip(QString());
            continue;
        }
        const SYNC_WND_FILE& file = m_vecFiles[size_t(nRow)];
        const QString strName = CPlayHelper::GetFileNameFormPath(file.strFilePath);
        m_pLabelFileName[i]->setText(QStringLiteral("  %1.  %2").arg(file.nWndIndex + 1).arg(strName));
        m_pLabelFileName[i]->setToolTip(strName);
    }
}

void SyncPlayProgressDlg::BuildGradeLabels() {
    SyncRulerPainter::BuildGradeLabels(m_nDays, m_lstGradeLabels);
}

bool SyncPlayProgressDlg::SetScale(int nValue) {
    if (nValue < MIN_SCALE || nValue > MAX_SCALE)
        return false;
    if (nValue == m_nScale)
        return true;
    m_nScale = nValue;
    m_nRulerWidth = int(std::min<int64_t>(int64_t(m_nBaseWidth) * m_nScale, MAX_RULER_WIDTH));
    m_nGrade = GradeOfScale(m_nScale);
    UpdateRulerPixmap();
    UpdateFilesPixmap();
    m_bCenterPlayPos = true;
    return true;
}

void SyncPlayProgressDlg::UpdateRulerPixmap() {
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

void SyncPlayProgressDlg::UpdateFilesPixmap() {
    if (!m_pMainDlg || m_vecFiles.empty() || !m_pWndPlayTimes)
        return;
    m_pixFiles = m_painter.PaintRows(m_nRulerWidth, m_vecFiles, m_vecFilePos, SelectedWndIndex());
    m_pWndPlayTimes->resize(m_pixFiles.size());
    SetBackground(m_pWndPlayTimes, m_pixFiles);
    SyncScrollRanges();
}

// The scroll areas set their ranges when they see the resize of their widget,
// which a hidden dialog receives only when shown; the follow and centre rules
// need them now.
void SyncPlayProgressDlg::SyncScrollRanges() {
    const int nViewport = ViewportWidth();
    const int nMax = std::max(0, m_nRulerWidth - nViewport);
    m_pScrollAreaRuler->horizontalScrollBar()->setRange(0, nMax);
    QScrollBar* pHBar = m_pScrollAreaTimes->horizontalScrollBar();
    pHBar->setRange(0, nMax);
    pHBar->setPageStep(nViewport);
    QScrollBar* pVBar = m_pScrollAreaTimes->verticalScrollBar();
    pVBar->setSingleStep(ROW_HEIGHT);
    pVBar->setPageStep(ROW_HEIGHT);
}

bool SyncPlayProgressDlg::On_VScrollBarValueChange(int nValue) {
    ShowFileLabels(nValue / ROW_SCROLL_BASE);
    return true;
}

bool SyncPlayProgressDlg::On_VScrollBarSliderRelease() {
    if (!m_pScrollAreaTimes)
        return false;
    QScrollBar* pVBar = m_pScrollAreaTimes->verticalScrollBar();
    pVBar->setValue(pVBar->value() / ROW_HEIGHT * ROW_HEIGHT);
    return true;
}

bool SyncPlayProgressDlg::On_HScrollBarValueChange(int nValue) {
    if (!m_pScrollAreaRuler)
        return false;
    QScrollBar* pBar = m_pScrollAreaRuler->horizontalScrollBar();
    if (nValue < pBar->minimum() || nValue > pBar->maximum())
        return false;
    pBar->setValue(nValue);
    return true;
}

bool SyncPlayProgressDlg::On_RulerScaleChange(int nValue) {
    if (!SetScale(nValue))
        return false;
    ShowPlayPos(&m_stPlayTime);
    return true;
}

bool SyncPlayProgressDlg::On_RulerScalePlus() {
    if (!m_pSliderRulerScale)
        return false;
    const int nValue = m_pSliderRulerScale->value() + 1;
    if (nValue > m_pSliderRulerScale->maximum())
        return false;
    m_pSliderRulerScale->setValue(nValue);
    return true;
}

bool SyncPlayProgressDlg::On_RulerScaleMinus() {
    if (!m_pSliderRulerScale)
        return false;
    const int nValue = m_pSliderRulerScale->value() - 1;
    if (nValue < m_pSliderRulerScale->minimum())
        return false;
    m_pSliderRulerScale->setValue(nValue);
    return true;
}

bool SyncPlayProgressDlg::SetPlayPos(TAVRIX_SYSTEM_TIME* pTime) {
    if (!m_pMainDlg || !pTime)
        return false;
    m_stPlayTime = *pTime;
    // While the user drags, the red line is theirs; the timer's position waits.
    if (m_bDragPlayPos)
        return true;
    return ShowPlayPos(pTime);
}

bool SyncPlayProgressDlg::ShowPlayPos(const TAVRIX_SYSTEM_TIME* pTime) {
    if (!m_pScrollAreaTimes || !pTime)
        return false;
    TAVRIX_SYSTEM_TIME stDayBegin;
    TAVRIX_SYSTEM_TIME stDayEnd;
    DaySpan(&stDayBegin, &stDayEnd);
    double dPrecent = 0.0;
    if (!CPlayHelper::GetPrecentByGlobalTime(pTime, dPrecent, &stDayBegin, &stDayEnd))
        return false;
    const int x = int(m_nRulerWidth * dPrecent);
    const int nViewport = ViewportWidth();
    QScrollBar* pBar = m_pScrollAreaTimes->horizontalScrollBar();

    if (m_bCenterPlayPos) {
        const int nCentre = x - nViewport / 2;
        if (nCentre >= pBar->minimum() && nCentre <= pBar->maximum())
            pBar->setValue(nCentre);
        m_bCenterPlayPos = false;
    }
    const int nScroll = pBar->value();
    if (x < nScroll - FOLLOW_MARGIN) {
        pBar->setValue(x - FOLLOW_MARGIN > pBar->minimum() ? x - FOLLOW_MARGIN : pBar->minimum());
    } else if (x > nScroll + nViewport - FOLLOW_MARGIN) {
        const int nNext = x - nViewport + FOLLOW_MARGIN;
        pBar->setValue(nNext >= pBar->maximum() ? x - nViewport : nNext);
    }

    const int r = x - pBar->value();
    const int nLeft = m_pScrollAreaRuler->mapTo(this, QPoint(0, 0)).x();
    m_pLabelPlayPosSysTime->setText(QString::asprintf("%d/%02d/%02d %02d:%02d:%02d", pTime->nYear,
                                                      pTime->nMonth, pTime->nDay, pTime->nHour,
                                                      pTime->nMinute, pTime->nSecond));
    m_pLabelPlayPosRedLine->move(nLeft + r - RED_LINE_X, 13);
    int nLabelX = nLeft + r - 49;
    if (nLabelX + TIME_LABEL_WIDTH > width())
        nLabelX = width() - 99;
    m_pLabelPlayPosSysTime->move(nLabelX, 1);
    return true;
}

// The place under the mouse as a fraction of the day span and its time; false
// when the mouse is outside the scale.
bool SyncPlayProgressDlg::DragTarget(const QMouseEvent* pEvent, double* pdPrecent,
                                     TAVRIX_SYSTEM_TIME* pTime) const {
    if (!m_pScrollAreaRuler || m_nRulerWidth <= 0)
        return false;
    const QPoint ptGlobal = pEvent->globalPosition().toPoint();
    const QRect rcScale(m_pScrollAreaRuler->mapToGlobal(QPoint(0, 0)), m_pScrollAreaRuler->size());
    if (!rcScale.contains(ptGlobal))
        return false;
    const int nLeft = m_pScrollAreaRuler->mapTo(this, QPoint(0, 0)).x();
    const int nScroll = m_pScrollAreaTimes->horizontalScrollBar()->value();
    const int x = mapFromGlobal(ptGlobal).x();
    *pdPrecent = double(nScroll + x - nLeft) / m_nRulerWidth;
    TAVRIX_SYSTEM_TIME stDayBegin;
    TAVRIX_SYSTEM_TIME stDayEnd;
    DaySpan(&stDayBegin, &stDayEnd);
    return CPlayHelper::GetGlobalTimeByPrecent(*pdPrecent, pTime, &stDayBegin, &stDayEnd);
}

void SyncPlayProgressDlg::mousePressEvent(QMouseEvent* pEvent) {
    if (pEvent->button() != Qt::LeftButton || !m_pLabelPlayPosRedLine ||
        !m_pLabelPlayPosRedLine->isVisible()) {
        QDialog::mousePressEvent(pEvent);
        return;
    }
    const QRect rcLine(m_pLabelPlayPosRedLine->mapToGlobal(QPoint(0, 0)), m_pLabelPlayPosRedLine->size());
    if (rcLine.contains(pEvent->globalPosition().toPoint()))
        m_bDragPlayPos = true;
    pEvent->accept();
}

void SyncPlayProgressDlg::mouseMoveEvent(QMouseEvent* pEvent) {
    if (!m_bDragPlayPos || !(pEvent->buttons() & Qt::LeftButton)) {
        QDialog::mouseMoveEvent(pEvent);
        return;
    }
    double dPrecent = 0.0;
    TAVRIX_SYSTEM_TIME stTime{};
    if (DragTarget(pEvent, &dPrecent, &stTime))
        ShowPlayPos(&stTime);
    pEvent->accept();
}

void SyncPlayProgressDlg::mouseReleaseEvent(QMouseEvent* pEvent) {
    if (!m_bDragPlayPos) {
        QDialog::mouseReleaseEvent(pEvent);
        return;
    }
    double dPrecent = 0.0;
    TAVRIX_SYSTEM_TIME stTime{};
    if (DragTarget(pEvent, &dPrecent, &stTime)) {
        ShowPlayPos(&stTime);
        emit Sig_SyncPlayLocate(dPrecent, &stTime);
    }
    m_bDragPlayPos = false;
    pEvent->accept();
}

void SyncPlayProgressDlg::resizeEvent(QResizeEvent* pEvent) {
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

void SyncPlayProgressDlg::SkinChanged() {
    m_painter.LoadSkin();
    if (m_pLabelPlayPosSysTime)
        m_pLabelPlayPosSysTime->setFont(TimeLabelFont(m_painter.TextFont()));
    const QString strQss = SkinManager::GetQssResPath(SKIN_RES_RULER);
    setStyleSheet(strQss.isEmpty() ? QString() : SkinManager::ReadQssFile(strQss));
    if (m_pScrollAreaTimes)
        m_pScrollAreaTimes->horizontalScrollBar()->setStyleSheet(
            SkinManager::GetResStyleSheet(SKIN_RES_RULER, SKIN_SHEET_HBAR));
    LayoutChildren();
    UpdateRulerPixmap();
    UpdateFilesPixmap();
}

// The selection lives in the stage under the main dialog. The stage is reached
// through the widget tree, so that this library need not include the main
// dialog's header (it sits above the stage).
int SyncPlayProgressDlg::SelectedWndIndex() const {
    if (!m_pMainDlg)
        return -1;
    for (QWidget* pWidget = parentWidget(); pWidget; pWidget = pWidget->parentWidget()) {
        if (!pWidget->inherits("CVelquinDlg"))
            continue;
        const CDlgShow* pStage = pWidget->findChild<CDlgShow*>();
        return pStage ? pStage->GetSelWndIndex() : -1;
    }
    for (QWidget* pWidget : QApplication::topLevelWidgets()) {
        if (!pWidget->inherits("CVelquinDlg"))
            continue;
        const CDlgShow* pStage = pWidget->findChild<CDlgShow*>();
        if (pStage)
            return pStage->GetSelWndIndex();
    }
    return -1;
}
