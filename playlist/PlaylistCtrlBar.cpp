#include "PlaylistCtrlBar.h"

#include <QEvent>
#include <QPainter>
#include <QPushButton>
#include <QRegion>
#include <QResizeEvent>
#include <QStyleOption>

#include "SkinManager.h"

namespace {
const int BTN_WIDTH = 18;
const int BTN_HEIGHT = 57;
} // namespace

PlaylistCtrlBar::PlaylistCtrlBar(QWidget* pParent) : QWidget(pParent) {
    setObjectName(QStringLiteral("PlaylistCtrlBar"));
    // A tool window: it floats over the stage without a task bar entry, and it
    // never takes the focus, so key presses keep reaching the main dialog.
    setWindowFlags(Qt::FramelessWindowHint | Qt::Tool);
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);
}

PlaylistCtrlBar::~PlaylistCtrlBar() {
    SkinManager::DelObserver(this);
}

bool PlaylistCtrlBar::Init() {
    if (m_pBtnShowOrHide)
        return true;
    m_pBtnShowOrHide = new QPushButton(this);
    m_pBtnShowOrHide->setObjectName(QStringLiteral("m_pBtnShowOrHide"));
    m_pBtnShowOrHide->setFixedSize(BTN_WIDTH, BTN_HEIGHT);
    m_pBtnShowOrHide->setFocusPolicy(Qt::NoFocus);
    m_pBtnShowOrHide->hide();

    PlaceButton();

    connect(m_pBtnShowOrHide, &QPushButton::clicked, this, &PlaylistCtrlBar::SigPlaylistShowOrHide);
    if (SkinManager::GetInstance())
        SkinManager::AddObserver(this);
    SkinChanged();
    return true;
}

void PlaylistCtrlBar::SetPlaylistShown(bool bShown) {
    // Called at every move of the dialog: a style sheet is set only on a change.
    if (bShown == m_bShown && m_bStyleApplied)
        return;
    m_bShown = bShown;
    m_bStyleApplied = true;
    const QString& strStyle = bShown ? m_strStyleShown : m_strStyleHidden;
    if (!strStyle.isEmpty())
        setStyleSheet(strStyle);
}

void PlaylistCtrlBar::ShowBtn() {
    if (!m_pBtnShowOrHide)
        return;
    m_pBtnShowOrHide->show();
    PlaceButton();
}

void PlaylistCtrlBar::HideBtn() {
    if (!m_pBtnShowOrHide)
        return;
    m_pBtnShowOrHide->hide();
    PlaceButton();
}

void PlaylistCtrlBar::SkinChanged() {
    m_strStyleHidden = SkinManager::ReadQssFile(SkinManager::GetQssResPath(42));
    m_strStyleShown = SkinManager::ReadQssFile(SkinManager::GetQssResPath(43));
    m_bStyleApplied = false;
    SetPlaylistShown(m_bShown);
}

void PlaylistCtrlBar::leaveEvent(QEvent* ev) {
    QWidget::leaveEvent(ev);
    emit SigMouseLease(ev);
}

void PlaylistCtrlBar::paintEvent(QPaintEvent* ev) {
    // The style sheet's background shows only when the style draws it.
    Q_UNUSED(ev);
    QStyleOption opt;
    opt.initFrom(this);
    QPainter painter(this);
    style()->drawPrimitive(QStyle::PE_Widget, &opt, &painter, this);
}

void PlaylistCtrlBar::resizeEvent(QResizeEvent* ev) {
    QWidget::resizeEvent(ev);
    PlaceButton();
}

void PlaylistCtrlBar::PlaceButton() {
    if (!m_pBtnShowOrHide)
        return;
    // The button sits at the left edge, halfway down the stage. The window is
    // cut to the button, so that its transparent rest never takes a click meant
    // for the stage under it.
    m_pBtnShowOrHide->move(0, qMax(0, (height() - BTN_HEIGHT) / 2));
    // Without a compositing window manager the see-through part paints black:
    // with the button hidden the window keeps a single pixel in the corner (an
    // empty mask would mean no mask at all).
    setMask(m_pBtnShowOrHide->isVisibleTo(this) ? QRegion(m_pBtnShowOrHide->geometry()) : QRegion(0, 0, 1, 1));
}
