#include "EagleEyeCtrlBar.h"

#include <algorithm>
#include <iterator>

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QTimerEvent>
#include <QVBoxLayout>

#include "CCustomSlider.h"
#include "CLanguageParser.h"
#include "CSkinButton.h"
#include "LanguageKeys.h"
#include "SkinManager.h"
#include "TextLabel.h"

namespace {
const int kSkinResEagleEye = 41;
const int kBtnSize = 48;
const int kArrowSize = 20;
const int kSliderWidth = 180;
const int kMaxHeight = 280;
const int kSpeedDefault = 50;
const char* const kPicShow = ":Resources/ptz_show.png";
const char* const kPicHide = ":Resources/ptz_hide.png";
} // namespace

EagleEyeCtrlBar::EagleEyeCtrlBar(QWidget* pParent) : QWidget(pParent) {
    setObjectName(QStringLiteral("EagleEyeCtrlBar"));
    setAttribute(Qt::WA_StyledBackground);
}

EagleEyeCtrlBar::~EagleEyeCtrlBar() {
    SkinManager::DelObserver(this);
}

QPushButton* EagleEyeCtrlBar::MakeDirButton(const char* szName) {
    QPushButton* pBtn = new QPushButton(m_pWgtCtrlBar);
    pBtn->setObjectName(QString::fromLatin1(szName));
    pBtn->setFixedSize(kBtnSize, kBtnSize);
    // Keys stay with the main dialog.
    pBtn->setFocusPolicy(Qt::NoFocus);
    return pBtn;
}

bool EagleEyeCtrlBar::Init() {
    if (m_bInit)
        return true;
    setMaximumHeight(kMaxHeight);
    QVBoxLayout* pRoot = new QVBoxLayout(this);
    pRoot->setContentsMargins(0, 0, 0, 0);
    pRoot->setSpacing(0);

    m_pWgtTitleBar = new QWidget(this);
    m_pWgtTitleBar->setObjectName(QStringLiteral("m_pWgtTitleBar"));
    m_pWgtTitleBar->setAttribute(Qt::WA_StyledBackground);
    QHBoxLayout* pTitle = new QHBoxLayout(m_pWgtTitleBar);
    pTitle->setContentsMargins(8, 4, 8, 4);
    m_pLabTitle = new TextLabel(m_pWgtTitleBar);
    m_pLabTitle->setObjectName(QStringLiteral("m_pLabTitle"));
    m_pBtnArrow = new CSkinButton(m_pWgtTitleBar);
    m_pBtnArrow->setObjectName(QStringLiteral("m_pBtnArrow"));
    m_pBtnArrow->setFixedSize(kArrowSize, kArrowSize);
    m_pBtnArrow->setFocusPolicy(Qt::NoFocus);
    m_pBtnArrow->SetPixmap(QString::fromLatin1(kPicShow));
    pTitle->addWidget(m_pLabTitle, 1);
    pTitle->addWidget(m_pBtnArrow);
    pRoot->addWidget(m_pWgtTitleBar);

    m_pWgtCtrlBar = new QWidget(this);
    m_pWgtCtrlBar->setObjectName(QStringLiteral("m_pWgtCtrlBar"));
    m_pWgtCtrlBar->setAttribute(Qt::WA_StyledBackground);
    QVBoxLayout* pPanel = new QVBoxLayout(m_pWgtCtrlBar);
    pPanel->setContentsMargins(10, 10, 10, 10);
    QGridLayout* pGrid = new QGridLayout;
    pGrid->setSpacing(8);
    // Grid places and codes: the slot of a code is SlotOfCode(code).
    struct DirButton {
        const char* szName;
        int nCode;
        int nRow;
        int nCol;
    };
    const DirButton arrButtons[kDirections] = {
        {"PTZm_pBtnUp", 0, 0, 1},      {"PTZm_pBtnDown", 1, 2, 1},     {"PTZm_pBtnLeft", 2, 1, 0},
        {"PTZm_pBtnRight", 4, 1, 2},   {"PTZm_pBtnLeftUp", 5, 0, 0},   {"PTZm_pBtnLeftDown", 6, 2, 0},
        {"PTZm_pBtnRightUp", 7, 0, 2}, {"PTZm_pBtnRightDown", 8, 2, 2}};
    for (const DirButton& stBtn : arrButtons) {
        QPushButton* pBtn = MakeDirButton(stBtn.szName);
        m_pBtnDir[SlotOfCode(stBtn.nCode)] = pBtn;
        pGrid->addWidget(pBtn, stBtn.nRow, stBtn.nCol);
    }
    m_pBtnAuto = MakeDirButton("PTZm_pBtnAuto");
    // Checked is the down look of a running scan; the style sheet draws it.
    m_pBtnAuto->setCheckable(true);
    pGrid->addWidget(m_pBtnAuto, 1, 1);
    pPanel->addLayout(pGrid);

    QHBoxLayout* pSpeed = new QHBoxLayout;
    m_pSldAutoSpeed = new CCustomSlider(Qt::Horizontal, m_pWgtCtrlBar);
    m_pSldAutoSpeed->setObjectName(QStringLiteral("PTZm_pSldAutoSpeed"));
    m_pSldAutoSpeed->setFixedWidth(kSliderWidth);
    m_pSldAutoSpeed->setRange(1, 100);
    m_pSldAutoSpeed->setValue(kSpeedDefault);
    m_pSldAutoSpeed->setFocusPolicy(Qt::NoFocus);
    m_pLabSpeed = new QLabel(QString::number(kSpeedDefault), m_pWgtCtrlBar);
    m_pLabSpeed->setObjectName(QStringLiteral("PTZm_pLabAutoSpeed"));
    pSpeed->addWidget(m_pSldAutoSpeed);
    pSpeed->addWidget(m_pLabSpeed);
    pPanel->addLayout(pSpeed);
    pRoot->addWidget(m_pWgtCtrlBar);
    m_pWgtCtrlBar->hide();

    bool bOk = true;
    typedef void (EagleEyeCtrlBar::*Slot)();
    const Slot arrSlots[kDirections] = {
        &EagleEyeCtrlBar::On_BtnPTZUp,      &EagleEyeCtrlBar::On_BtnPTZDown,
        &EagleEyeCtrlBar::On_BtnPTZLeft,    &EagleEyeCtrlBar::On_BtnPTZRight,
        &EagleEyeCtrlBar::On_BtnPTZLeftUp,  &EagleEyeCtrlBar::On_BtnPTZLeftDown,
        &EagleEyeCtrlBar::On_BtnPTZRightUp, &EagleEyeCtrlBar::On_BtnPTZRightDown};
    for (int i = 0; i < kDirections; ++i) {
        bOk &= bool(connect(m_pBtnDir[i], &QPushButton::pressed, this, arrSlots[i]));
        bOk &= bool(connect(m_pBtnDir[i], &QPushButton::released, this, &EagleEyeCtrlBar::On_BtnPTZRelease));
    }
    bOk &= bool(connect(m_pBtnAuto, &QPushButton::clicked, this, &EagleEyeCtrlBar::On_BtnPTZAuto));
    bOk &= bool(connect(m_pBtnArrow, &QPushButton::clicked, this, &EagleEyeCtrlBar::On_BtnArrow));
    bOk &= bool(
        connect(m_pSldAutoSpeed, &CCustomSlider::Sig_ChangeValue, this, &EagleEyeCtrlBar::SigPTZAutoSpeed));
    bOk &= bool(
        connect(m_pSldAutoSpeed, &CCustomSlider::Sig_ChangeValue, this, &EagleEyeCtrlBar::On_SldChangeValue));
    if (!bOk) {
        // Nothing half built stays behind.
        delete m_pWgtTitleBar;
        delete m_pWgtCtrlBar;
        delete layout();
        m_pWgtTitleBar = m_pWgtCtrlBar = nullptr;
        m_pLabTitle = nullptr;
        m_pBtnArrow = nullptr;
        std::fill(std::begin(m_pBtnDir), std::end(m_pBtnDir), nullptr);
        m_pBtnAuto = nullptr;
        m_pSldAutoSpeed = nullptr;
        m_pLabSpeed = nullptr;
        return false;
    }
    m_bInit = true;
    ReTranslateUI();
    if (SkinManager::GetInstance())
        SkinManager::AddObserver(this);
    return true;
}

void EagleEyeCtrlBar::SetAutoScan(bool bAutoScan) {
    m_bAutoScan = bAutoScan;
    if (m_pBtnAuto)
        m_pBtnAuto->setChecked(bAutoScan);
}

void EagleEyeCtrlBar::ReTranslateUI() {
    if (!m_bInit)
        return;
    const QString strTitle = LanguageText(IDS_SRCtrlPanel_PTZControl, "PTZ Control");
    m_pLabTitle->setText(strTitle);
    m_pLabTitle->setToolTip(strTitle);
    m_pWgtTitleBar->setToolTip(strTitle);
    m_pWgtCtrlBar->setToolTip(strTitle);
    UpdateSpeedTip();
}

void EagleEyeCtrlBar::UpdateSpeedTip() {
    m_pSldAutoSpeed->setToolTip(LanguageText(IDS_SRCtrlPanel_RotateSpeed, "Auto-Scan Speed: ") +
                                m_pLabSpeed->text());
}

void EagleEyeCtrlBar::SkinChanged() {
    const QString strPath = SkinManager::GetQssResPath(kSkinResEagleEye);
    if (!strPath.isEmpty())
        setStyleSheet(SkinManager::ReadQssFile(strPath));
}

void EagleEyeCtrlBar::On_BtnArrow() {
    if (!m_bInit)
        return;
    if (m_bPanelShown) {
        m_pBtnArrow->SetPixmap(QString::fromLatin1(kPicShow));
        m_pWgtCtrlBar->hide();
        m_bPanelShown = false;
    } else {
        m_pBtnArrow->SetPixmap(QString::fromLatin1(kPicHide));
        m_pWgtCtrlBar->show();
        m_bPanelShown = true;
    }
}

void EagleEyeCtrlBar::mousePressEvent(QMouseEvent* ev) {
    // The whole title line works like the arrow.
    if (m_bInit && ev->button() == Qt::LeftButton &&
        m_pWgtTitleBar->geometry().contains(ev->position().toPoint())) {
        On_BtnArrow();
        return;
    }
    QWidget::mousePressEvent(ev);
}

void EagleEyeCtrlBar::PressDirection(int nCode) {
    if (m_bAutoScan) {
        // The window itself ends its scan when it gets the direction code.
        m_bAutoScan = false;
        if (m_pBtnAuto)
            m_pBtnAuto->setChecked(false);
    }
    m_bBtnPressed = true;
    emit SigPTZBtn(nCode);
    const int nSpeed = m_pLabSpeed ? m_pLabSpeed->text().toInt() : kSpeedDefault;
    int nInterval = (100 - nSpeed) * 2;
    if (nInterval <= 0)
        nInterval = 2;
    // A second press of the same direction replaces its timer: an id nobody
    // holds could never be stopped.
    int& nSlotId = m_nTimerId[SlotOfCode(nCode)];
    if (nSlotId != 0)
        killTimer(nSlotId);
    // Precise: at speed 100 the steps are 2 ms apart.
    nSlotId = startTimer(nInterval, Qt::PreciseTimer);
}

void EagleEyeCtrlBar::On_BtnPTZUp() {
    PressDirection(0);
}
void EagleEyeCtrlBar::On_BtnPTZDown() {
    PressDirection(1);
}
void EagleEyeCtrlBar::On_BtnPTZLeft() {
    PressDirection(2);
}
void EagleEyeCtrlBar::On_BtnPTZRight() {
    PressDirection(4);
}
void EagleEyeCtrlBar::On_BtnPTZLeftUp() {
    PressDirection(5);
}
void EagleEyeCtrlBar::On_BtnPTZLeftDown() {
    PressDirection(6);
}
void EagleEyeCtrlBar::On_BtnPTZRightUp() {
    PressDirection(7);
}
void EagleEyeCtrlBar::On_BtnPTZRightDown() {
    PressDirection(8);
}

void EagleEyeCtrlBar::On_BtnPTZAuto() {
    m_bAutoScan = !m_bAutoScan;
    if (m_pBtnAuto)
        m_pBtnAuto->setChecked(m_bAutoScan);
    emit SigPTZBtn(3);
}

void EagleEyeCtrlBar::On_BtnPTZRelease() {
    // The timers end at their next tick, so one flag stops every held direction.
    m_bBtnPressed = false;
}

void EagleEyeCtrlBar::timerEvent(QTimerEvent* ev) {
    const int nId = ev->timerId();
    if (!m_bBtnPressed) {
        killTimer(nId);
        for (int& nSlotId : m_nTimerId) {
            if (nSlotId == nId)
                nSlotId = 0;
        }
        return;
    }
    for (int i = 0; i < kDirections; ++i) {
        if (m_nTimerId[i] == nId) {
            emit SigPTZBtn(CodeOfSlot(i));
            return;
        }
    }
    killTimer(nId);
}

void EagleEyeCtrlBar::On_SldChangeValue(int nValue) {
    if (nValue < 1 || nValue > 100 || !m_pLabSpeed)
        return;
    m_pLabSpeed->setText(QString::number(nValue));
    UpdateSpeedTip();
}
