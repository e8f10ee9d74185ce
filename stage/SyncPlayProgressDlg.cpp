#include "SyncPlayProgressDlg.h"

#include <QApplication>
#include <QFontInfo>
#include <QFontMetrics>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
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

const int LEFT_COLUMN_WIDTH = 160; // title, zoom and file names
const int TITLE_HEIGHT = 15;       // the time label floats in this strip
const int ZOOM_BUTTON_SIZE = 20;
const int ROW_SCROLL_BASE = 32; // the row under a vertical scroll value
const int TIME_LABEL_WIDTH = 98;
const int TIME_LABEL_HEIGHT = 14;
const int RED_LINE_WIDTH = 15;
const int RED_LINE_HEIGHT = 120;
const int RED_LINE_X = 6; // the column of the line inside its label

int GradeOfScale(int nScale) {
    if (nScale <= 3)
        return 0;
    if (nScale <= 11)
        return 1;
    if (nScale <= 45)
        return 2;
    return 3;
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

} // namespace

SyncPlayProgressDlg::SyncPlayProgressDlg(QWidget* pParent)
    : SyncRulerDlgBase(pParent, SyncRulerPainter::LARGE, DLG_HEIGHT) {
    setObjectName(QStringLiteral("SyncPlayProgressDlg"));
    m_pixRuler = QPixmap(20, RULER_HEIGHT);
    m_pixFiles = QPixmap(20, 20);
}

bool SyncPlayProgressDlg::Init() {
    if (m_pScrollAreaTimes)
        return true;
    CreateWidgets();
    connect(m_pScrollAreaTimes->horizontalScrollBar(), &QScrollBar::valueChanged, this,
            &SyncPlayProgressDlg::On_HScrollBarValueChange);
    connect(m_pSliderRulerScale, &QSlider::valueChanged, this, &SyncPlayProgressDlg::On_RulerScaleChange);
    connect(m_pBtnRulerPlus, &QPushButton::clicked, this, &SyncPlayProgressDlg::On_RulerScalePlus);
    connect(m_pBtnRulerMinus, &QPushButton::clicked, this, &SyncPlayProgressDlg::On_RulerScaleMinus);

    UpdateLanguage();
    ObserveSkin();
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
    CreateScaleArea(m_pScrollAreaRulerContainer, m_pixRuler.size());

    for (int i = 0; i < 3; ++i) {
        m_pLabelFileName[i] = new QLabel(this);
        m_pLabelFileName[i]->setObjectName(QStringLiteral("m_pLabelFileName_%1").arg(i));
        m_pLabelFileName[i]->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    }

    CreateRowsArea(m_pixFiles.size());
    m_pScrollAreaTimes->verticalScrollBar()->setSingleStep(ROW_HEIGHT);

    // Made last so that they lie above the scale and the rows.
    CreateRedLine({RED_LINE_WIDTH, RED_LINE_HEIGHT, RED_LINE_X, 4});
    m_pLabelPlayPosRedLine->setCursor(Qt::SizeHorCursor);
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

void SyncPlayProgressDlg::DaySpan(TAVRIX_SYSTEM_TIME* pDayBegin, TAVRIX_SYSTEM_TIME* pDayEnd) const {
    SyncRulerPainter::DaySpan(m_stFirstFile, m_stLastFile, pDayBegin, pDayEnd);
}

bool SyncPlayProgressDlg::StartSyncRuler(std::vector<SYNC_WND_FILE*>& vecFiles, FILE_INFO_SYNC* pFirst,
                                         FILE_INFO_SYNC* pLast) {
    if (!m_pLabelPlayPosSysTime || !TakeGroup(vecFiles, pFirst, pLast))
        return false;
    m_nGrade = 0;
    m_nScale = MIN_SCALE;
    {
        const QSignalBlocker blocker(m_pSliderRulerScale);
        m_pSliderRulerScale->setValue(MIN_SCALE);
    }

    UpdateLanguage();
    ShowGroup();
    ShowFileLabels(0);
    m_pLabelPlayPosSysTime->show();
    m_pLabelPlayPosSysTime->raise();
    SetPlayPos(&pFirst->stBegin);
    return true;
}

bool SyncPlayProgressDlg::ResetSyncRuler() {
    ResetGroup();
    m_nGrade = 0;
    m_nScale = MIN_SCALE;
    m_bDragPlayPos = false;
    m_bCenterPlayPos = false;
    if (m_pSliderRulerScale) {
        const QSignalBlocker blocker(m_pSliderRulerScale);
        m_pSliderRulerScale->setValue(MIN_SCALE);
    }
    if (m_pLabelPlayPosSysTime)
        m_pLabelPlayPosSysTime->hide();
    ShowFileLabels(0);
    UpdateLanguage();
    return true;
}

void SyncPlayProgressDlg::UpdateLanguage() {
    if (!m_pLabelSyncPlayTitle)
        return;
    const QString strTitle = LanguageText(IDS_MainWnd_SyncPlay, "Synchronous Play");
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

bool SyncPlayProgressDlg::On_VScrollBarValueChange(int nValue) {
    ShowFileLabels(nValue / ROW_SCROLL_BASE);
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
    int x = 0;
    if (!PlayPosX(pTime, &x))
        return false;
    const int nViewport = ViewportWidth();
    QScrollBar* pBar = m_pScrollAreaTimes->horizontalScrollBar();

    if (m_bCenterPlayPos) {
        const int nCentre = x - nViewport / 2;
        if (nCentre >= pBar->minimum() && nCentre <= pBar->maximum())
            pBar->setValue(nCentre);
        m_bCenterPlayPos = false;
    }
    FollowPlayPos(x);

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

void SyncPlayProgressDlg::SkinChanged() {
    m_painter.LoadSkin();
    if (m_pLabelPlayPosSysTime)
        m_pLabelPlayPosSysTime->setFont(TimeLabelFont(m_painter.TextFont()));
    ApplySheets(SKIN_RES_RULER);
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
