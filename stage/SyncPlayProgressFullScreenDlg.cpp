#include "SyncPlayProgressFullScreenDlg.h"

#include <QApplication>
#include <QBitmap>
#include <QHBoxLayout>
#include <QLabel>
#include <QMetaObject>
#include <QPainter>
#include <QPalette>
#include <QPushButton>
#include <QResizeEvent>
#include <QScrollArea>
#include <QScrollBar>

#include <algorithm>

#include "CDlgShow.h"
#include "CLanguageParser.h"
#include "CPlayHelper.h"
#include "LanguageKeys.h"
#include "SkinManager.h"

namespace {

const int SKIN_RES_FULL = 19;
const int SKIN_SHEET_PAUSED = 0;
const int SKIN_SHEET_RUNNING = 1;
const int SKIN_PIC_MASK = 2;
const int SKIN_RES_RULER = 18;
const int SKIN_SHEET_HBAR = 7;

const int TITLE_BAR_HEIGHT = 45;
const int BTNS_WIDTH = 142;
const int BTNS_HEIGHT = 40;
const int BTN_SIDE = 34;
const int RED_LINE_WIDTH = 12;
const int RED_LINE_HEIGHT = 70;
const int RED_LINE_X = 4; // the column of the line inside its label
const int FOLLOW_MARGIN = 5;
const int PLAY_STATE_PAUSED = 2;

QString Text(const char* pKey, const char* pDefault) {
    QString strText;
    CLanguageParser::FindString(QString::fromLatin1(pKey), strText, QString::fromUtf8(pDefault));
    return strText;
}

void SetBackground(QWidget* pWidget, const QPixmap& pix) {
    QPalette pal = pWidget->palette();
    pal.setBrush(QPalette::Window, QBrush(pix));
    pWidget->setPalette(pal);
    pWidget->setAutoFillBackground(true);
}

QPixmap RedLinePixmap() {
    QPixmap pix(RED_LINE_WIDTH, RED_LINE_HEIGHT);
    pix.fill(Qt::transparent);
    QPainter painter(&pix);
    const QColor clrRed(0xE5, 0x39, 0x35);
    painter.fillRect(RED_LINE_X, 0, 1, RED_LINE_HEIGHT, clrRed);
    painter.setPen(clrRed);
    painter.setBrush(clrRed);
    painter.drawPolygon(
        QPolygon({QPoint(RED_LINE_X - 3, 0), QPoint(RED_LINE_X + 3, 0), QPoint(RED_LINE_X, 4)}));
    return pix;
}

} // namespace

SyncPlayProgressFullScreenDlg::SyncPlayProgressFullScreenDlg(QWidget* pParent)
    : QDialog(pParent, Qt::Dialog | Qt::FramelessWindowHint) {
    setObjectName(QStringLiteral("SyncPlayProgressFullScreenDlg"));
    setFixedHeight(DLG_HEIGHT);
    // Showing the bar must not take the keyboard from the full screen stage.
    setAttribute(Qt::WA_ShowWithoutActivating, true);
    SetInitialRanges();
}

SyncPlayProgressFullScreenDlg::~SyncPlayProgressFullScreenDlg() {
    if (m_bObserving)
        SkinManager::DelObserver(this);
}

bool SyncPlayProgressFullScreenDlg::Init() {
    if (m_pScrollAreaTimes)
        return true;
    SetupUI();
    LayoutChildren();
    m_nBaseWidth = m_nRulerWidth = ViewportWidth();
    SyncRulerPainter::BuildGradeLabels(m_nDays, m_lstGradeLabels);

    QScrollBar* pVBar = m_pScrollAreaTimes->verticalScrollBar();
    connect(pVBar, &QScrollBar::valueChanged, this, &SyncPlayProgressFullScreenDlg::On_VScrollBarValueChange);
    connect(pVBar, &QScrollBar::sliderReleased, this,
            &SyncPlayProgressFullScreenDlg::On_VScrollBarSliderRelease);
    // The scale has no bar of its own: it follows the rows sideways.
    connect(m_pScrollAreaTimes->horizontalScrollBar(), &QScrollBar::valueChanged,
            m_pScrollAreaRuler->horizontalScrollBar(), &QScrollBar::setValue);
    connect(m_pBtnPlayPause, &QPushButton::clicked, this, &SyncPlayProgressFullScreenDlg::On_PlayOrPause);
    connect(m_pBtnExitSync, &QPushButton::clicked, this, &SyncPlayProgressFullScreenDlg::On_ExitSyncPlay);

    UpdateLanguage();
    // Calls SkinChanged() at once.
    if (SkinManager::GetInstance()) {
        SkinManager::AddObserver(this);
        m_bObserving = true;
    }
    return true;
}

void SyncPlayProgressFullScreenDlg::SetupUI() {
    m_pTitleBarContainer = new QWidget(this);
    m_pTitleBarContainer->setObjectName(QStringLiteral("m_pTitleBarContainer"));
    m_pBtnsContainer = new QWidget(m_pTitleBarContainer);
    m_pBtnsContainer->setObjectName(QStringLiteral("m_pBtnsContainer"));
    m_pBtnsContainer->setFixedSize(BTNS_WIDTH, BTNS_HEIGHT);
    auto* pBtnRow = new QHBoxLayout(m_pBtnsContainer);
    pBtnRow->setContentsMargins(0, 4, 0, 2);
    pBtnRow->setSpacing(16);
    m_pBtnPlayPause = new QPushButton(m_pBtnsContainer);
    m_pBtnPlayPause->setObjectName(QStringLiteral("m_pBtnPlayPause"));
    m_pBtnExitSync = new QPushButton(m_pBtnsContainer);
    m_pBtnExitSync->setObjectName(QStringLiteral("m_pBtnExitSync"));
    for (QPushButton* pBtn : {m_pBtnPlayPause, m_pBtnExitSync}) {
        pBtn->setFixedSize(BTN_SIDE, BTN_SIDE);
        pBtn->setFocusPolicy(Qt::NoFocus);
    }
    pBtnRow->addStretch(1);
    pBtnRow->addWidget(m_pBtnPlayPause);
    pBtnRow->addWidget(m_pBtnExitSync);
    pBtnRow->addStretch(1);

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
    m_pWndTimeRuler->resize(20, RULER_HEIGHT);
    m_pScrollAreaRuler->setWidget(m_pWndTimeRuler);
    // Fills the corner over the rows' vertical bar.
    m_pLabelSpace = new QLabel(m_pScrollAreaRulerContainer);
    m_pLabelSpace->setObjectName(QStringLiteral("m_pLabelSpace"));

    m_pScrollAreaTimes = new QScrollArea(this);
    m_pScrollAreaTimes->setObjectName(QStringLiteral("m_pScrollAreaTimes"));
    m_pScrollAreaTimes->setFrameShape(QFrame::NoFrame);
    m_pScrollAreaTimes->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    m_pScrollAreaTimes->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    m_pScrollAreaTimes->setWidgetResizable(false);
    m_pWndPlayTimes = new QWidget();
    m_pWndPlayTimes->setObjectName(QStringLiteral("m_pWndPlayTimes"));
    m_pWndPlayTimes->resize(20, ROW_HEIGHT);
    m_pScrollAreaTimes->setWidget(m_pWndPlayTimes);

    // Made last so that it lies above the scale and the rows. A display only:
    // it takes no presses.
    m_pLabelPlayPosRedLine = new QLabel(this);
    m_pLabelPlayPosRedLine->setObjectName(QStringLiteral("m_pLabelPlayPosRedLine"));
    m_pLabelPlayPosRedLine->setFixedSize(RED_LINE_WIDTH, RED_LINE_HEIGHT);
    m_pLabelPlayPosRedLine->setPixmap(RedLinePixmap());
    m_pLabelPlayPosRedLine->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_pLabelPlayPosRedLine->hide();
}

// Fixed places: the scale must sit exactly over the rows' viewport, whose width
// depends on the rows' vertical scroll bar.
void SyncPlayProgressFullScreenDlg::LayoutChildren() {
    if (!m_pScrollAreaTimes)
        return;
    const int nWidth = std::max(1, width());
    m_pTitleBarContainer->setGeometry(0, 0, nWidth, TITLE_BAR_HEIGHT);
    m_pBtnsContainer->move((nWidth - BTNS_WIDTH) / 2, TITLE_BAR_HEIGHT - BTNS_HEIGHT);
    m_pScrollAreaRulerContainer->setGeometry(0, TITLE_BAR_HEIGHT, nWidth, RULER_HEIGHT);
    const int nRowsTop = TITLE_BAR_HEIGHT + RULER_HEIGHT;
    m_pScrollAreaTimes->setGeometry(0, nRowsTop, nWidth, DLG_HEIGHT - nRowsTop);
    const int nViewport = ViewportWidth();
    m_pScrollAreaRuler->setGeometry(0, 0, nViewport, RULER_HEIGHT);
    m_pLabelSpace->setGeometry(nViewport, 0, std::max(0, nWidth - nViewport), RULER_HEIGHT);
}

// The rows' viewport width as the scroll area itself works it out; a hidden
// dialog gets its resize events late.
int SyncPlayProgressFullScreenDlg::ViewportWidth() const {
    if (!m_pScrollAreaTimes)
        return 1;
    const int nWidth = m_pScrollAreaTimes->width() - 2 * m_pScrollAreaTimes->frameWidth() -
                       m_pScrollAreaTimes->verticalScrollBar()->sizeHint().width();
    return std::max(1, nWidth);
}

void SyncPlayProgressFullScreenDlg::SetInitialRanges() {
    TAVRIX_SYSTEM_TIME stInitial{};
    stInitial.nYear = 1998;
    stInitial.nMonth = 1;
    stInitial.nDay = 1;
    m_stFirstFile.stBegin = m_stFirstFile.stEnd = stInitial;
    m_stLastFile = m_stFirstFile;
}

bool SyncPlayProgressFullScreenDlg::SetMainDlg(CVelquinDlg* pMainDlg) {
    if (!pMainDlg)
        return false;
    m_pMainDlg = pMainDlg;
    return true;
}

bool SyncPlayProgressFullScreenDlg::StartSyncRuler(std::vector<SYNC_WND_FILE*>& vecFiles,
                                                   FILE_INFO_SYNC* pFirst, FILE_INFO_SYNC* pLast) {
    if (!pFirst || !pLast || !m_pLabelPlayPosRedLine)
        return false;
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

    UpdateLanguage();
    m_pScrollAreaTimes->verticalScrollBar()->setValue(0);
    SyncRulerPainter::BuildGradeLabels(m_nDays, m_lstGradeLabels);
    UpdateRulerPixmap();
    UpdateFilesPixmap();
    m_pScrollAreaTimes->horizontalScrollBar()->setValue(0);
    m_pLabelPlayPosRedLine->show();
    m_pLabelPlayPosRedLine->raise();
    SetPlayPos(&pFirst->stBegin);
    UpdateShape();
    return true;
}

bool SyncPlayProgressFullScreenDlg::ResetSyncRuler() {
    LayoutChildren();
    SetInitialRanges();
    m_vecFiles.clear();
    m_vecFilePos.clear();
    m_nDays = 1;
    m_nHours = 24;
    m_nBaseWidth = m_nRulerWidth = ViewportWidth();
    SyncRulerPainter::BuildGradeLabels(m_nDays, m_lstGradeLabels);
    if (m_pLabelPlayPosRedLine)
        m_pLabelPlayPosRedLine->hide();
    UpdateLanguage();
    return true;
}

bool SyncPlayProgressFullScreenDlg::SetPlayPos(TAVRIX_SYSTEM_TIME* pTime) {
    if (!m_pMainDlg || !pTime)
        return false;
    m_stPlayTime = *pTime;
    return ShowPlayPos(pTime);
}

bool SyncPlayProgressFullScreenDlg::ShowPlayPos(const TAVRIX_SYSTEM_TIME* pTime) {
    if (!m_pScrollAreaTimes || !pTime)
        return false;
    TAVRIX_SYSTEM_TIME stDayBegin;
    TAVRIX_SYSTEM_TIME stDayEnd;
    SyncRulerPainter::DaySpan(m_stFirstFile, m_stLastFile, &stDayBegin, &stDayEnd);
    double dPrecent = 0.0;
    if (!CPlayHelper::GetPrecentByGlobalTime(pTime, dPrecent, &stDayBegin, &stDayEnd))
        return false;
    const int x = int(m_nRulerWidth * dPrecent);
    const int nViewport = ViewportWidth();
    QScrollBar* pBar = m_pScrollAreaTimes->horizontalScrollBar();
    // The view follows the line only when it would leave it; otherwise the bar
    // is left alone.
    const int nScroll = pBar->value();
    if (x < nScroll - FOLLOW_MARGIN) {
        pBar->setValue(x - FOLLOW_MARGIN > pBar->minimum() ? x - FOLLOW_MARGIN : pBar->minimum());
    } else if (x > nScroll + nViewport - FOLLOW_MARGIN) {
        const int nNext = x - nViewport + FOLLOW_MARGIN;
        pBar->setValue(nNext >= pBar->maximum() ? x - nViewport : nNext);
    }
    const int r = x - pBar->value();
    const int nLeft = m_pScrollAreaRuler->mapTo(this, QPoint(0, 0)).x();
    m_pLabelPlayPosRedLine->move(nLeft + r - RED_LINE_X, TITLE_BAR_HEIGHT);
    return true;
}

void SyncPlayProgressFullScreenDlg::UpdateLanguage() {
    if (!m_pBtnExitSync)
        return;
    m_pBtnExitSync->setToolTip(Text(IDS_MainWnd_SyncPlayCancel, "Cancel Synchronous Play"));
    UpdatePlayBtn();
}

void SyncPlayProgressFullScreenDlg::UpdatePlayBtn() {
    if (!m_pBtnPlayPause)
        return;
    CDlgShow* pStage = Stage();
    if (pStage && pStage->GetPlayState() == PLAY_STATE_PAUSED) {
        m_pBtnPlayPause->setStyleSheet(m_strBtnStylePaused);
        m_pBtnPlayPause->setToolTip(Text(IDS_Global_Pause, "Pause"));
    } else {
        m_pBtnPlayPause->setStyleSheet(m_strBtnStyleRunning);
        m_pBtnPlayPause->setToolTip(Text(IDS_Global_Play, "Play"));
    }
}

void SyncPlayProgressFullScreenDlg::UpdateRulerPixmap() {
    if (!m_pMainDlg || m_vecFiles.empty() || !m_pWndTimeRuler || m_lstGradeLabels[m_nGrade].isEmpty())
        return;
    m_pixRuler = m_painter.PaintScale(m_nRulerWidth, m_nGrade, m_lstGradeLabels[m_nGrade]);
    m_pWndTimeRuler->resize(m_pixRuler.size());
    SetBackground(m_pWndTimeRuler, m_pixRuler);
    SyncScrollRanges();
}

void SyncPlayProgressFullScreenDlg::UpdateFilesPixmap() {
    if (!m_pMainDlg || m_vecFiles.empty() || !m_pWndPlayTimes)
        return;
    const CDlgShow* pStage = Stage();
    const int nSelWnd = pStage ? pStage->GetSelWndIndex() : -1;
    m_pixFiles = m_painter.PaintRows(m_nRulerWidth, m_vecFiles, m_vecFilePos, nSelWnd);
    m_pWndPlayTimes->resize(m_pixFiles.size());
    SetBackground(m_pWndPlayTimes, m_pixFiles);
    SyncScrollRanges();
}

// The scroll areas set their ranges when they see their widget's resize, which
// a hidden dialog receives only when shown; the follow rule needs them now.
void SyncPlayProgressFullScreenDlg::SyncScrollRanges() {
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

bool SyncPlayProgressFullScreenDlg::On_VScrollBarValueChange(int nValue) {
    if (!m_pScrollAreaTimes)
        return false;
    const QScrollBar* pVBar = m_pScrollAreaTimes->verticalScrollBar();
    return nValue >= pVBar->minimum() && nValue <= pVBar->maximum();
}

bool SyncPlayProgressFullScreenDlg::On_VScrollBarSliderRelease() {
    if (!m_pScrollAreaTimes)
        return false;
    QScrollBar* pVBar = m_pScrollAreaTimes->verticalScrollBar();
    pVBar->setValue(pVBar->value() / ROW_HEIGHT * ROW_HEIGHT);
    return true;
}

bool SyncPlayProgressFullScreenDlg::On_PlayOrPause() {
    QWidget* pMain = MainDlgWidget();
    if (!pMain || !m_pBtnPlayPause)
        return false;
    bool bDone = false;
    QMetaObject::invokeMethod(pMain, "On_PlayOrPause", Qt::DirectConnection, Q_RETURN_ARG(bool, bDone));
    UpdatePlayBtn();
    return bDone;
}

bool SyncPlayProgressFullScreenDlg::On_ExitSyncPlay() {
    const CDlgShow* pStage = m_pMainDlg ? Stage() : nullptr;
    if (!pStage || !pStage->IsSyncPlay())
        return false;
    emit Sig_CancelSyncPlay();
    return true;
}

void SyncPlayProgressFullScreenDlg::resizeEvent(QResizeEvent* ev) {
    QDialog::resizeEvent(ev);
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
    UpdateShape();
}

// A bar over the whole width below the title strip, with the skin's tab
// centred on top where the buttons lie.
void SyncPlayProgressFullScreenDlg::UpdateShape() {
    if (width() <= 0 || height() <= 0)
        return;
    QPixmap pixShape(size());
    pixShape.fill(Qt::transparent);
    QPainter painter(&pixShape);
    painter.fillRect(0, TITLE_BAR_HEIGHT, width(), height() - TITLE_BAR_HEIGHT, Qt::white);
    QPixmap pixTab;
    if (!m_strMaskPixmap.isEmpty() && pixTab.load(m_strMaskPixmap))
        painter.drawPixmap(width() / 2 - pixTab.width() / 2, 0, pixTab);
    painter.end();
    setMask(pixShape.mask());
}

void SyncPlayProgressFullScreenDlg::SkinChanged() {
    m_painter.LoadSkin();
    m_strBtnStylePaused = SkinManager::GetResStyleSheet(SKIN_RES_FULL, SKIN_SHEET_PAUSED);
    m_strBtnStyleRunning = SkinManager::GetResStyleSheet(SKIN_RES_FULL, SKIN_SHEET_RUNNING);
    m_strMaskPixmap = SkinManager::GetOtherResPath(SKIN_RES_FULL, SKIN_PIC_MASK);
    const QString strQss = SkinManager::GetQssResPath(SKIN_RES_FULL);
    setStyleSheet(strQss.isEmpty() ? QString() : SkinManager::ReadQssFile(strQss));
    if (m_pScrollAreaTimes)
        m_pScrollAreaTimes->horizontalScrollBar()->setStyleSheet(
            SkinManager::GetResStyleSheet(SKIN_RES_RULER, SKIN_SHEET_HBAR));
    UpdatePlayBtn();
    LayoutChildren();
    UpdateRulerPixmap();
    UpdateFilesPixmap();
    UpdateShape();
}

QWidget* SyncPlayProgressFullScreenDlg::MainDlgWidget() const {
    if (!m_pMainDlg)
        return nullptr;
    for (QWidget* pWidget = parentWidget(); pWidget; pWidget = pWidget->parentWidget()) {
        if (pWidget->inherits("CVelquinDlg"))
            return pWidget;
    }
    for (QWidget* pWidget : QApplication::topLevelWidgets()) {
        if (pWidget->inherits("CVelquinDlg"))
            return pWidget;
    }
    return nullptr;
}

CDlgShow* SyncPlayProgressFullScreenDlg::Stage() const {
    QWidget* pMain = MainDlgWidget();
    return pMain ? pMain->findChild<CDlgShow*>() : nullptr;
}
