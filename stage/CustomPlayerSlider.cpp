#include "CustomPlayerSlider.h"

#include <QEnterEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QStyle>
#include <QStyleOption>

#include "SkinManager.h"

namespace {

const int SKIN_RES_SLIDER = 36;
const int SLIDER_HEIGHT = 24;
const int HANDLE_SIZE = 16;
const int MARK_WIDTH = 17;
const int MARK_HEIGHT = 23;
const int HIT_SLACK = 2; // a press this close above or below the thin bar still counts

} // namespace

CustomPlayerSlider::CustomPlayerSlider(QWidget* pParent) : QWidget(pParent) {
    Init();
}

CustomPlayerSlider::~CustomPlayerSlider() {
    SkinManager::DelObserver(this);
}

void CustomPlayerSlider::Init() {
    setMinimumSize(0, SLIDER_HEIGHT);
    setMaximumSize(QWIDGETSIZE_MAX, SLIDER_HEIGHT);
    setMouseTracking(true);
    setAttribute(Qt::WA_StyledBackground, true);

    m_pHLayout = new QHBoxLayout(this);
    m_pHLayout->setObjectName(QStringLiteral("m_pHLayout"));
    m_pHLayout->setSpacing(0);
    // Leaves a bar 4 pixels high with room above it for the marks.
    m_pHLayout->setContentsMargins(8, 15, 8, 5);

    m_pLabelGroove = new QLabel(this);
    m_pLabelGroove->setObjectName(QStringLiteral("m_pLabelGroove"));
    m_pLabelGroove->setMinimumWidth(1);
    m_pLabelGroove->setMouseTracking(true);
    m_pLabelGroove->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    m_pHLayout->addWidget(m_pLabelGroove);

    m_pLabelSliderHandle = new QLabel(this);
    m_pLabelSliderHandle->setObjectName(QStringLiteral("m_pLabelSliderHandle"));
    m_pLabelSliderHandle->setFixedSize(HANDLE_SIZE, HANDLE_SIZE);
    m_pLabelSliderHandle->setMouseTracking(true);
    m_pLabelSliderHandle->setAttribute(Qt::WA_TransparentForMouseEvents, true);
    m_pLabelSliderHandle->hide();

    if (SkinManager::GetInstance())
        SkinManager::AddObserver(this); // runs SkinChanged, which paints
    else
        UpdateSlider();
}

// ---------------------------------------------------------------------------
// Range and value

void CustomPlayerSlider::SetMaximum(int nMaximum) {
    m_nMaximum = nMaximum;
    UpdateSlider();
}

void CustomPlayerSlider::SetMinimum(int nMinimum) {
    m_nMinimum = nMinimum;
    UpdateSlider();
}

void CustomPlayerSlider::SetValue(int nValue) {
    if (!InRange(nValue))
        return;
    m_nValue = nValue;
    UpdateSlider();
}

bool CustomPlayerSlider::SetRepeatPointA(uint nValue) {
    if (!InRange(nValue))
        return false;
    m_nPointA = nValue;
    m_bPointA = true;
    UpdateSlider();
    return true;
}

bool CustomPlayerSlider::SetRepeatPointB(uint nValue) {
    if (!InRange(nValue))
        return false;
    m_nPointB = nValue;
    m_bPointB = true;
    // A span needs a start: without A it begins at the start of the file.
    if (!m_bPointA) {
        m_nPointA = 0;
        m_bPointA = true;
    }
    UpdateSlider();
    return true;
}

bool CustomPlayerSlider::GetRepeatPointA(bool* pbSet, uint* pnValue) const {
    if (pbSet)
        *pbSet = m_bPointA;
    if (pnValue)
        *pnValue = m_nPointA;
    return true;
}

bool CustomPlayerSlider::GetRepeatPointB(bool* pbSet, uint* pnValue) const {
    if (pbSet)
        *pbSet = m_bPointB;
    if (pnValue)
        *pnValue = m_nPointB;
    return true;
}

bool CustomPlayerSlider::ClearRepeatPoints() {
    if (m_bPointA || m_bPointB) {
        m_bPointA = false;
        m_bPointB = false;
        UpdateSlider();
    }
    return true;
}

bool CustomPlayerSlider::SetSliderEnable(bool bEnable) {
    if (bEnable == m_bEnable)
        return true;
    m_bEnable = bEnable;
    if (!bEnable)
        ClearRepeatPoints();
    UpdateSlider();
    return true;
}

// ---------------------------------------------------------------------------
// Geometry

QRect CustomPlayerSlider::GrooveRect() const {
    return m_pLabelGroove ? m_pLabelGroove->geometry() : QRect();
}

int CustomPlayerSlider::ValueToOffset(qint64 nValue) const {
    if (m_nMaximum == m_nMinimum || !m_pLabelGroove)
        return 0;
    const float f = float(nValue - m_nMinimum) / float(qint64(m_nMaximum) - m_nMinimum);
    return int(float(m_pLabelGroove->width()) * f);
}

bool CustomPlayerSlider::PixelToValue(int nX, int* pnValue) const {
    if (!m_pLabelGroove || m_pLabelGroove->width() <= 0)
        return false;
    const float f = float(nX - m_pLabelGroove->x()) / float(m_pLabelGroove->width());
    if (f < 0.0f || f > 1.0f)
        return false;
    const qint64 nValue = m_nMinimum + qint64(float(qint64(m_nMaximum) - m_nMinimum) * f);
    if (!InRange(nValue))
        return false;
    *pnValue = int(nValue);
    return true;
}

QLabel* CustomPlayerSlider::MakeMark(const char* szName, const QString& strLetter) {
    QLabel* pMark = new QLabel(this);
    pMark->setObjectName(QString::fromLatin1(szName));
    pMark->setFixedSize(MARK_WIDTH, MARK_HEIGHT);
    pMark->setMouseTracking(true);
    // Presses on a mark are judged by the slider itself, from the mark's geometry.
    pMark->setAttribute(Qt::WA_TransparentForMouseEvents, true);

    // A pin whose point stands on the mark's left edge, where its value lies.
    QPixmap pix(MARK_WIDTH, MARK_HEIGHT);
    pix.fill(Qt::transparent);
    QPainter painter(&pix);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0xE0, 0xA0, 0x30));
    painter.drawRect(0, 0, 2, MARK_HEIGHT);
    painter.drawRoundedRect(QRectF(2, 0, MARK_WIDTH - 3, 12), 2, 2);
    painter.setPen(Qt::black);
    QFont font = painter.font();
    font.setPixelSize(10);
    font.setBold(true);
    painter.setFont(font);
    painter.drawText(QRect(2, 0, MARK_WIDTH - 3, 12), Qt::AlignCenter, strLetter);
    painter.end();
    pMark->setPixmap(pix);
    pMark->hide();
    return pMark;
}

// The one repaint routine: marks, bar pixmap and handle from the current fields.
void CustomPlayerSlider::UpdateSlider() {
    if (!m_pLabelGroove)
        return;
    if (!m_pLabelRepeatPointA)
        m_pLabelRepeatPointA = MakeMark("m_pLabelRepeatPointA", QStringLiteral("A"));
    if (!m_pLabelRepeatPointB)
        m_pLabelRepeatPointB = MakeMark("m_pLabelRepeatPointB", QStringLiteral("B"));

    const QRect rcGroove = m_pLabelGroove->geometry();
    const int xA = ValueToOffset(m_nPointA);
    const int xB = ValueToOffset(m_nPointB);
    m_pLabelRepeatPointA->move(rcGroove.left() + xA, 0);
    m_pLabelRepeatPointA->setVisible(m_bPointA);
    m_pLabelRepeatPointB->move(rcGroove.left() + xB, 0);
    m_pLabelRepeatPointB->setVisible(m_bPointB);

    const int xV = ValueToOffset(m_nValue);
    const int nWidth = qMax(1, rcGroove.width());
    const int nHeight = qMax(1, rcGroove.height());
    QPixmap pix(nWidth, nHeight);
    {
        QPainter painter(&pix);
        if (!m_bEnable) {
            painter.fillRect(0, 0, nWidth, nHeight, m_clrRest);
        } else if (m_bPointA && m_bPointB) {
            painter.fillRect(0, 0, xA, nHeight, m_clrBeforeA);
            painter.fillRect(xA, 0, xV - xA, nHeight, m_clrPlayed);
            painter.fillRect(xV, 0, xB - xV, nHeight, m_clrAToB);
            painter.fillRect(xB, 0, nWidth - xB, nHeight, m_clrRest);
        } else {
            painter.fillRect(0, 0, xV, nHeight, m_clrPlayed);
            painter.fillRect(xV, 0, nWidth - xV, nHeight, m_clrRest);
        }
    }
    m_pLabelGroove->setPixmap(pix);

    m_pLabelSliderHandle->move(rcGroove.left() + xV - HANDLE_SIZE / 2,
                               rcGroove.top() - (HANDLE_SIZE - rcGroove.height()) / 2);
    m_pLabelSliderHandle->setVisible(m_bMouseIn && m_bEnable);
    if (m_pLabelSliderHandle->isVisible())
        m_pLabelSliderHandle->raise();
}

// ---------------------------------------------------------------------------
// Mouse

void CustomPlayerSlider::mousePressEvent(QMouseEvent* ev) {
    if (ev->button() != Qt::LeftButton || !m_bEnable)
        return;
    const QPoint pt = ev->position().toPoint();
    // Where the marks overlap, A is tested first and wins.
    if (m_bPointA && m_pLabelRepeatPointA && m_pLabelRepeatPointA->geometry().contains(pt)) {
        m_bDragPointA = true;
        return;
    }
    if (m_bPointB && m_pLabelRepeatPointB && m_pLabelRepeatPointB->geometry().contains(pt)) {
        m_bDragPointB = true;
        return;
    }

    // Both ends of the bar are legal positions, so the right edge counts too.
    const QRect rcGroove = GrooveRect();
    const bool bOnBar = pt.x() >= rcGroove.left() && pt.x() <= rcGroove.left() + rcGroove.width() &&
                        pt.y() >= rcGroove.top() - HIT_SLACK && pt.y() <= rcGroove.bottom() + HIT_SLACK;
    int nValue = 0;
    if (!bOnBar || !PixelToValue(pt.x(), &nValue))
        return;
    m_nValue = nValue;
    m_bDragValue = true;
    emit Sig_MousePress();
    UpdateSlider();
    emit Sig_ChangeValue(m_nValue);
}

void CustomPlayerSlider::mouseMoveEvent(QMouseEvent* ev) {
    const QPoint pt = ev->position().toPoint();
    int nValue = 0;
    const bool bOnBar = PixelToValue(pt.x(), &nValue);
    if (bOnBar)
        emit Sig_MouseMoveValue(true, ev->globalPosition().toPoint(), uint(nValue));
    else
        emit Sig_MouseMoveValue(false, QPoint(0, 0), 0);

    if (!(ev->buttons() & Qt::LeftButton) || !bOnBar)
        return;
    if (m_bDragValue) {
        // The seek follows the drag at once: every move sends its value.
        m_nValue = nValue;
        UpdateSlider();
        emit Sig_ChangeValue(m_nValue);
        return;
    }
    // A mark does not move by itself: the main dialog sets the repeat point and
    // then puts the mark where the play window says it is.
    const uint nPos = uint(nValue);
    if (m_bDragPointA) {
        if (nPos == m_nPointA || (m_bPointB && nPos >= m_nPointB))
            return;
        emit Sig_ChangeRepeatValue(true, nPos);
    } else if (m_bDragPointB) {
        if (nPos == m_nPointB || (m_bPointA && nPos <= m_nPointA))
            return;
        emit Sig_ChangeRepeatValue(false, nPos);
    }
}

void CustomPlayerSlider::mouseReleaseEvent(QMouseEvent* /*ev*/) {
    m_bDragValue = false;
    m_bDragPointA = false;
    m_bDragPointB = false;
    emit Sig_MouseRelease();
}

void CustomPlayerSlider::enterEvent(QEnterEvent* ev) {
    // No repaint here: the handle follows at the next UpdateSlider, which the play
    // timer brings twice a second.
    m_bMouseIn = true;
    QWidget::enterEvent(ev);
}

void CustomPlayerSlider::leaveEvent(QEvent* ev) {
    m_bMouseIn = false;
    QWidget::leaveEvent(ev);
}

void CustomPlayerSlider::paintEvent(QPaintEvent* /*ev*/) {
    // Only the background, so that style sheets apply; the bar is the groove's pixmap.
    QStyleOption opt;
    opt.initFrom(this);
    QPainter painter(this);
    style()->drawPrimitive(QStyle::PE_Widget, &opt, &painter, this);
}

void CustomPlayerSlider::resizeEvent(QResizeEvent* ev) {
    QWidget::resizeEvent(ev);
    // The layout places the groove on the next activation; do it now so the
    // offsets below are worked out on the new width.
    if (m_pHLayout)
        m_pHLayout->setGeometry(rect());
    UpdateSlider();
}

// ---------------------------------------------------------------------------
// Skin

void CustomPlayerSlider::SkinChanged() {
    const QString strQss = SkinManager::GetQssResPath(SKIN_RES_SLIDER);
    if (!strQss.isEmpty())
        setStyleSheet(SkinManager::ReadQssFile(strQss));
    QColor* apColors[] = {&m_clrBeforeA, &m_clrPlayed, &m_clrAToB, &m_clrRest};
    for (int i = 0; i < 4; ++i) {
        const QColor clr = SkinManager::GetResColor(SKIN_RES_SLIDER, i);
        if (clr.isValid())
            *apColors[i] = clr;
    }

    // The handle is a plain dot in the colour of the played part.
    QPixmap pix(HANDLE_SIZE, HANDLE_SIZE);
    pix.fill(Qt::transparent);
    {
        QPainter painter(&pix);
        painter.setRenderHint(QPainter::Antialiasing, true);
        painter.setPen(QPen(m_clrPlayed, 2));
        painter.setBrush(Qt::white);
        painter.drawEllipse(QRectF(2, 2, HANDLE_SIZE - 4, HANDLE_SIZE - 4));
    }
    m_pLabelSliderHandle->setPixmap(pix);
    UpdateSlider();
}
