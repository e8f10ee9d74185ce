#include "PartZoomWnd.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QStyleOption>

#include "CLanguageParser.h"
#include "CPlayWnd.h"
#include "LanguageKeys.h"
#include "SkinManager.h"

namespace {

const int kSkinResPartZoom = 35;
const int kMargin = 2;
const int kBtnSize = 24;

} // namespace

PartZoomWnd::PartZoomWnd(QWidget* pParent, Qt::WindowFlags flags)
    : QWidget(pParent, flags), m_pPlayWnd(qobject_cast<CPlayWnd*>(pParent)) {}

PartZoomWnd::~PartZoomWnd() {
    SkinManager::DelObserver(this);
}

bool PartZoomWnd::Init() {
    setObjectName("PartZoomWnd");
    m_pHLayout = new QHBoxLayout(this);
    m_pHLayout->setObjectName("horizontalLayout");
    m_pHLayout->setSpacing(0);
    m_pHLayout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);

    m_pDisplayWnd = new QLabel(this);
    m_pDisplayWnd->setObjectName("m_pDisplayWnd");
    // The engine finds the label by its window id: it needs a native window of
    // its own, not its parent's.
    m_pDisplayWnd->setAttribute(Qt::WA_NativeWindow);
    m_pHLayout->addWidget(m_pDisplayWnd);

    // Over the label, outside the layout: the picture keeps the whole area.
    m_pBtnReset = new QPushButton(this);
    m_pBtnReset->setObjectName("m_pBtnReset");
    m_pBtnReset->setFixedSize(kBtnSize, kBtnSize);
    m_pBtnReset->setFocusPolicy(Qt::NoFocus);
    QString strTip;
    CLanguageParser::FindString(IDS_Global_Reset, strTip, "Reset");
    m_pBtnReset->setToolTip(strTip);
    if (!connect(m_pBtnReset, &QPushButton::clicked, this, &PartZoomWnd::Sig_PartZoomReset))
        return false;
    m_pBtnReset->move(width() - kBtnSize - kMargin, kMargin);
    // The label's native window would cover a sibling made before it.
    m_pBtnReset->setAttribute(Qt::WA_NativeWindow);
    m_pBtnReset->raise();

    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    SkinManager::AddObserver(this);
    return true;
}

uintptr_t PartZoomWnd::GetDisplayHandle() const {
    if (!m_pDisplayWnd)
        return 0;
    return static_cast<uintptr_t>(m_pDisplayWnd->winId());
}

void PartZoomWnd::SkinChanged() {
    const QString strQss = SkinManager::GetQssResPath(kSkinResPartZoom);
    if (!strQss.isEmpty())
        setStyleSheet(SkinManager::ReadQssFile(strQss));
}

void PartZoomWnd::paintEvent(QPaintEvent* ev) {
    Q_UNUSED(ev);
    QStyleOption opt;
    opt.initFrom(this);
    QPainter painter(this);
    style()->drawPrimitive(QStyle::PE_Widget, &opt, &painter, this);
}

void PartZoomWnd::resizeEvent(QResizeEvent* ev) {
    QWidget::resizeEvent(ev);
    if (m_pBtnReset)
        m_pBtnReset->move(width() - m_pBtnReset->width() - kMargin, kMargin);
}

void PartZoomWnd::mousePressEvent(QMouseEvent* ev) {
    if (ev->button() != Qt::LeftButton || !m_pPlayWnd || !m_pDisplayWnd)
        return;
    const CPlayWnd::ZoomRegion stRegion = m_pPlayWnd->GetZoomRegion();
    if (stRegion.nWidth == 0 || stRegion.nHeight == 0)
        return;
    // The region in label pixels, moved by the layout margin into this widget's.
    const double dFx = double(m_pDisplayWnd->width()) / stRegion.nWidth;
    const double dFy = double(m_pDisplayWnd->height()) / stRegion.nHeight;
    const int nLeft = int(stRegion.rcRegion.nLeft * dFx) + kMargin;
    const int nRight = int(stRegion.rcRegion.nRight * dFx) + kMargin;
    const int nTop = int(stRegion.rcRegion.nTop * dFy) + kMargin;
    const int nBottom = int(stRegion.rcRegion.nBottom * dFy) + kMargin;
    const QPoint pt = ev->position().toPoint();
    if (pt.x() >= nLeft && pt.x() <= nRight && pt.y() >= nTop && pt.y() <= nBottom) {
        m_bDragging = true;
        m_ptLast = pt;
    }
}

void PartZoomWnd::mouseMoveEvent(QMouseEvent* ev) {
    if (!(ev->buttons() & Qt::LeftButton) || !m_bDragging)
        return;
    const QPoint pt = ev->position().toPoint();
    if (!rect().contains(pt) || !m_pPlayWnd || !m_pDisplayWnd)
        return;
    const int nLabelWidth = m_pDisplayWnd->width();
    const int nLabelHeight = m_pDisplayWnd->height();
    if (nLabelWidth <= 0 || nLabelHeight <= 0)
        return;
    const CPlayWnd::ZoomRegion stRegion = m_pPlayWnd->GetZoomRegion();
    const double dFx = double(stRegion.nWidth) / nLabelWidth;
    const double dFy = double(stRegion.nHeight) / nLabelHeight;
    emit Sig_PartZoomRectMove(int((pt.x() - m_ptLast.x()) * dFx), int((pt.y() - m_ptLast.y()) * dFy));
    m_ptLast = pt;
}

void PartZoomWnd::mouseReleaseEvent(QMouseEvent* ev) {
    Q_UNUSED(ev);
    m_bDragging = false;
}
