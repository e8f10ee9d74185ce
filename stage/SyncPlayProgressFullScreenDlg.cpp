#include "SyncPlayProgressFullScreenDlg.h"

#include <QApplication>
#include <QBitmap>
#include <QHBoxLayout>
#include <QLabel>
#include <QMetaObject>
#include <QPainter>
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

const int TITLE_BAR_HEIGHT = 45;
const int BTNS_WIDTH = 142;
const int BTNS_HEIGHT = 40;
const int BTN_SIDE = 34;
const int RED_LINE_WIDTH = 12;
const int RED_LINE_HEIGHT = 70;
const int RED_LINE_X = 4; // the column of the line inside its label
const int PLAY_STATE_PAUSED = 2;

} // namespace

SyncPlayProgressFullScreenDlg::SyncPlayProgressFullScreenDlg(QWidget* pParent)
    : SyncRulerDlgBase(pParent, SyncRulerPainter::SMALL, DLG_HEIGHT) {
    setObjectName(QStringLiteral("SyncPlayProgressFullScreenDlg"));
}

bool SyncPlayProgressFullScreenDlg::Init() {
    if (m_pScrollAreaTimes)
        return true;
    CreateWidgets();
    // The scale has no bar of its own: it follows the rows sideways.
    connect(m_pScrollAreaTimes->horizontalScrollBar(), &QScrollBar::valueChanged,
            m_pScrollAreaRuler->horizontalScrollBar(), &QScrollBar::setValue);
    connect(m_pBtnPlayPause, &QPushButton::clicked, this, &SyncPlayProgressFullScreenDlg::On_PlayOrPause);
    connect(m_pBtnExitSync, &QPushButton::clicked, this, &SyncPlayProgressFullScreenDlg::On_ExitSyncPlay);

    UpdateLanguage();
    ObserveSkin();
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
    CreateScaleArea(m_pScrollAreaRulerContainer, QSize(20, RULER_HEIGHT));
    // Fills the corner over the rows' vertical bar.
    m_pLabelSpace = new QLabel(m_pScrollAreaRulerContainer);
    m_pLabelSpace->setObjectName(QStringLiteral("m_pLabelSpace"));

    CreateRowsArea(QSize(20, ROW_HEIGHT));

    // Made last so that it lies above the scale and the rows. A display only:
    // it takes no presses.
    CreateRedLine({RED_LINE_WIDTH, RED_LINE_HEIGHT, RED_LINE_X, 3});
    m_pLabelPlayPosRedLine->setAttribute(Qt::WA_TransparentForMouseEvents);
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

bool SyncPlayProgressFullScreenDlg::StartSyncRuler(std::vector<SYNC_WND_FILE*>& vecFiles,
                                                   FILE_INFO_SYNC* pFirst, FILE_INFO_SYNC* pLast) {
    if (!TakeGroup(vecFiles, pFirst, pLast))
        return false;
    UpdateLanguage();
    ShowGroup();
    SetPlayPos(&pFirst->stBegin);
    UpdateShape();
    return true;
}

bool SyncPlayProgressFullScreenDlg::ResetSyncRuler() {
    ResetGroup();
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
    int x = 0;
    if (!PlayPosX(pTime, &x))
        return false;
    // The view follows the line only when it would leave it; otherwise the bar
    // is left alone.
    FollowPlayPos(x);
    const int r = x - m_pScrollAreaTimes->horizontalScrollBar()->value();
    const int nLeft = m_pScrollAreaRuler->mapTo(this, QPoint(0, 0)).x();
    m_pLabelPlayPosRedLine->move(nLeft + r - RED_LINE_X, TITLE_BAR_HEIGHT);
    return true;
}

void SyncPlayProgressFullScreenDlg::UpdateLanguage() {
    if (!m_pBtnExitSync)
        return;
    m_pBtnExitSync->setToolTip(LanguageText(IDS_MainWnd_SyncPlayCancel, "Cancel Synchronous Play"));
    UpdatePlayBtn();
}

void SyncPlayProgressFullScreenDlg::UpdatePlayBtn() {
    if (!m_pBtnPlayPause)
        return;
    CDlgShow* pStage = Stage();
    if (pStage && pStage->GetPlayState() == PLAY_STATE_PAUSED) {
        m_pBtnPlayPause->setStyleSheet(m_strBtnStylePaused);
        m_pBtnPlayPause->setToolTip(LanguageText(IDS_Global_Pause, "Pause"));
    } else {
        m_pBtnPlayPause->setStyleSheet(m_strBtnStyleRunning);
        m_pBtnPlayPause->setToolTip(LanguageText(IDS_Global_Play, "Play"));
    }
}

int SyncPlayProgressFullScreenDlg::SelectedWndIndex() const {
    const CDlgShow* pStage = Stage();
    return pStage ? pStage->GetSelWndIndex() : -1;
}

bool SyncPlayProgressFullScreenDlg::On_VScrollBarValueChange(int nValue) {
    if (!m_pScrollAreaTimes)
        return false;
    const QScrollBar* pVBar = m_pScrollAreaTimes->verticalScrollBar();
    return nValue >= pVBar->minimum() && nValue <= pVBar->maximum();
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
    SyncRulerDlgBase::resizeEvent(ev);
    if (m_pScrollAreaTimes)
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
    ApplySheets(SKIN_RES_FULL);
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
