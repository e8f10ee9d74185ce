#include "StartPageWnd.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QMouseEvent>
#include <QResizeEvent>
#include <QVBoxLayout>

#include "CLanguageParser.h"
#include "CSkinButton.h"
#include "LanguageKeys.h"
#include "SkinManager.h"

namespace {

const int RES_START = 9;
const int PIC_CENTER = 0;
const int PIC_LEFT_TOP = 1;
const int PIC_RIGHT_TOP = 2;

const QSize LEFT_TOP_SIZE(148, 44);
const QSize RIGHT_TOP_SIZE(202, 44);
const QSize CENTER_IMG_SIZE(160, 110);
const QSize OPEN_FILE_SIZE(171, 38);
const QSize DROP_SIZE(33, 38);
const QSize PANEL_BTN_SIZE(204, 32);

void SetPicture(QLabel* pLabel, const QString& strPath, const QSize& size) {
    if (strPath.isEmpty())
        pLabel->clear();
    else
        pLabel->setPixmap(QIcon(strPath).pixmap(size));
}

} // namespace

StartPageWnd::StartPageWnd(QWidget* pParent) : QFrame(pParent) {
    setObjectName(QStringLiteral("StartPageWnd"));
    setAttribute(Qt::WA_StyledBackground);
    // The play windows under it are native windows (the engine draws into
    // them); a plain child would be painted over by them and lose the clicks
    // on its buttons to them. A native window of its own stacks above them.
    setAttribute(Qt::WA_NativeWindow);
}

StartPageWnd::~StartPageWnd() {
    SkinManager::DelObserver(this);
}

bool StartPageWnd::Init() {
    if (m_pCenterImgContainer)
        return true;
    m_pLabelLeftTop = new QLabel(this);
    m_pLabelLeftTop->setObjectName(QStringLiteral("m_pLabelLeftTop"));
    m_pLabelLeftTop->setFixedSize(LEFT_TOP_SIZE);
    m_pLabelRightTop = new QLabel(this);
    m_pLabelRightTop->setObjectName(QStringLiteral("m_pLabelRightTop"));
    m_pLabelRightTop->setFixedSize(RIGHT_TOP_SIZE);

    m_pCenterImgContainer = new QWidget(this);
    m_pCenterImgContainer->setObjectName(QStringLiteral("m_pCenterImgContainer"));
    QVBoxLayout* pColumn = new QVBoxLayout(m_pCenterImgContainer);
    pColumn->setContentsMargins(0, 0, 0, 0);
    pColumn->setSpacing(16);
    m_pLabelCenterImg = new QLabel(m_pCenterImgContainer);
    m_pLabelCenterImg->setObjectName(QStringLiteral("m_pLabelCenterImg"));
    m_pLabelCenterImg->setFixedSize(CENTER_IMG_SIZE);
    m_pLabelCenterImg->setAlignment(Qt::AlignCenter);
    pColumn->addWidget(m_pLabelCenterImg, 0, Qt::AlignHCenter);
    QHBoxLayout* pRow = new QHBoxLayout();
    pRow->setSpacing(0);
    m_pBtnOpenFile = new CSkinButton(m_pCenterImgContainer);
    m_pBtnOpenFile->setObjectName(QStringLiteral("m_pBtnOpenFile"));
    m_pBtnOpenFile->setFixedSize(OPEN_FILE_SIZE);
    m_pBtnDropMenu = new CSkinButton(m_pCenterImgContainer);
    m_pBtnDropMenu->setObjectName(QStringLiteral("m_pBtnDropMenu"));
    m_pBtnDropMenu->setFixedSize(DROP_SIZE);
    pRow->addWidget(m_pBtnOpenFile);
    pRow->addWidget(m_pBtnDropMenu);
    pColumn->addLayout(pRow);
    m_pCenterImgContainer->adjustSize();

    // The panel belongs to the page, not to the container, so that it can hang
    // below the buttons over whatever lies there.
    m_pOpenMenu = new QWidget(this);
    m_pOpenMenu->setObjectName(QStringLiteral("m_pOpenMenu"));
    m_pOpenMenu->setAttribute(Qt::WA_StyledBackground);
    QVBoxLayout* pPanel = new QVBoxLayout(m_pOpenMenu);
    pPanel->setContentsMargins(0, 0, 0, 0);
    pPanel->setSpacing(0);
    m_pBtnOpenFolder = new CSkinButton(m_pOpenMenu);
    m_pBtnOpenFolder->setObjectName(QStringLiteral("m_pBtnOpenFolder"));
    m_pBtnOpenFolder->setFixedSize(PANEL_BTN_SIZE);
    m_pBtnOpenStream = new CSkinButton(m_pOpenMenu);
    m_pBtnOpenStream->setObjectName(QStringLiteral("m_pBtnOpenStream"));
    m_pBtnOpenStream->setFixedSize(PANEL_BTN_SIZE);
    pPanel->addWidget(m_pBtnOpenFolder);
    pPanel->addWidget(m_pBtnOpenStream);
    m_pOpenMenu->adjustSize();
    m_pOpenMenu->hide();

    for (CSkinButton* pBtn : {m_pBtnOpenFile, m_pBtnDropMenu, m_pBtnOpenFolder, m_pBtnOpenStream})
        pBtn->setCursor(Qt::PointingHandCursor);

    connect(m_pBtnOpenFile, &QPushButton::clicked, this, &StartPageWnd::Sig_OpenFiles);
    connect(m_pBtnDropMenu, &QPushButton::clicked, this, &StartPageWnd::On_ShowOpenMenu);
    connect(m_pBtnOpenFolder, &QPushButton::clicked, this, &StartPageWnd::On_OpenFolder);
    connect(m_pBtnOpenStream, &QPushButton::clicked, this, &StartPageWnd::On_OpenURL);

    UpdateLanguage();
    if (SkinManager::GetInstance())
        SkinManager::AddObserver(this);
    else
        SkinChanged();
    LayoutChildren();
    return true;
}

void StartPageWnd::UpdateLanguage() {
    if (!m_pBtnOpenFile)
        return;
    const QString strOpenFile = LanguageText(IDS_Global_OpenFile, "Open File");
    m_pBtnOpenFile->setText(strOpenFile);
    m_pBtnOpenFile->SetToolTipText(strOpenFile);
    m_pBtnOpenFolder->setText(LanguageText(IDS_Global_OpenFolder, "Open Folder"));
    m_pBtnOpenStream->setText(LanguageText(IDS_Global_OpenURL, "Open URL"));
}

bool StartPageWnd::IsOpenMenuShown() const {
    return m_pOpenMenu && m_pOpenMenu->isVisible();
}

void StartPageWnd::SkinChanged() {
    setStyleSheet(SkinManager::ReadQssFile(SkinManager::GetQssResPath(RES_START)));
    if (!m_pLabelCenterImg)
        return;
    SetPicture(m_pLabelCenterImg, SkinManager::GetOtherResPath(RES_START, PIC_CENTER), CENTER_IMG_SIZE);
    SetPicture(m_pLabelLeftTop, SkinManager::GetOtherResPath(RES_START, PIC_LEFT_TOP), LEFT_TOP_SIZE);
    SetPicture(m_pLabelRightTop, SkinManager::GetOtherResPath(RES_START, PIC_RIGHT_TOP), RIGHT_TOP_SIZE);
}

bool StartPageWnd::On_ShowOpenMenu() {
    if (!m_pOpenMenu)
        return false;
    UpdateLanguage();
    m_pOpenMenu->move(m_pBtnOpenFile->mapTo(this, QPoint(0, m_pBtnOpenFile->height() + 1)));
    m_pOpenMenu->show();
    m_pOpenMenu->raise();
    return true;
}

bool StartPageWnd::On_OpenFiles() {
    if (m_pOpenMenu)
        m_pOpenMenu->hide();
    emit Sig_OpenFiles();
    return true;
}

bool StartPageWnd::On_OpenFolder() {
    if (m_pOpenMenu)
        m_pOpenMenu->hide();
    emit Sig_OpenFolder();
    return true;
}

bool StartPageWnd::On_OpenURL() {
    if (m_pOpenMenu)
        m_pOpenMenu->hide();
    emit Sig_OpenURL();
    return true;
}

void StartPageWnd::resizeEvent(QResizeEvent* ev) {
    QFrame::resizeEvent(ev);
    LayoutChildren();
}

void StartPageWnd::leaveEvent(QEvent* ev) {
    QFrame::leaveEvent(ev);
    if (m_pOpenMenu)
        m_pOpenMenu->hide();
}

void StartPageWnd::mousePressEvent(QMouseEvent* ev) {
    if (m_pOpenMenu)
        m_pOpenMenu->hide();
    // A press on the page is a press on the stage it covers.
    emit Sig_MousePressEvent(ev);
}

void StartPageWnd::LayoutChildren() {
    if (!m_pCenterImgContainer)
        return;
    m_pLabelLeftTop->move(0, 0);
    m_pLabelRightTop->move(width() - m_pLabelRightTop->width() - 1, 0);
    m_pCenterImgContainer->move((width() - m_pCenterImgContainer->width()) / 2,
                                (height() - m_pCenterImgContainer->height()) / 2);
    m_pOpenMenu->hide();
}
