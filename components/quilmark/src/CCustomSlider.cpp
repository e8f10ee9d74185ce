#include "CCustomSlider.h"

#include <QMouseEvent>
#include <QStyle>
#include <QStyleOptionSlider>

CCustomSlider::CCustomSlider(QWidget* pParent) : CCustomSlider(Qt::Horizontal, pParent) {}

CCustomSlider::CCustomSlider(Qt::Orientation eOrientation, QWidget* pParent)
    : QSlider(eOrientation, pParent) {
    // actionTriggered comes before the value changes; the value is read after.
    connect(this, &QSlider::actionTriggered, this, &CCustomSlider::On_ActionTriggered);
    connect(this, &QSlider::sliderMoved, this, &CCustomSlider::On_SliderMoved);
}

int CCustomSlider::ValueFromPosition(const QPoint& pt) const {
    QStyleOptionSlider opt;
    initStyleOption(&opt);
    const QRect rcGroove = style()->subControlRect(QStyle::CC_Slider, &opt, QStyle::SC_SliderGroove, this);
    const QRect rcHandle = style()->subControlRect(QStyle::CC_Slider, &opt, QStyle::SC_SliderHandle, this);
    int nPos = 0;
    int nSpan = 0;
    if (orientation() == Qt::Horizontal) {
        nPos = pt.x() - rcGroove.x() - rcHandle.width() / 2;
        nSpan = rcGroove.width() - rcHandle.width();
    } else {
        nPos = pt.y() - rcGroove.y() - rcHandle.height() / 2;
        nSpan = rcGroove.height() - rcHandle.height();
    }
    return QStyle::sliderValueFromPosition(minimum(), maximum(), nPos, std::max(nSpan, 1), opt.upsideDown);
}

void CCustomSlider::mousePressEvent(QMouseEvent* pEvent) {
    if (pEvent->button() != Qt::LeftButton) {
        QSlider::mousePressEvent(pEvent);
        return;
    }
    QStyleOptionSlider opt;
    initStyleOption(&opt);
    const QRect rcHandle = style()->subControlRect(QStyle::CC_Slider, &opt, QStyle::SC_SliderHandle, this);
    if (!rcHandle.contains(pEvent->position().toPoint())) {
        // A click beside the handle jumps there at once instead of paging.
        const int nValue = ValueFromPosition(pEvent->position().toPoint());
        if (nValue != value()) {
            setValue(nValue);
            emit Sig_ChangeValue(value());
        }
    }
    // The base then starts a drag of the handle, which is now under the cursor.
    QSlider::mousePressEvent(pEvent);
}

void CCustomSlider::On_ActionTriggered(int nAction) {
    if (nAction == QAbstractSlider::SliderMove || nAction == QAbstractSlider::SliderNoAction)
        return; // drags arrive through sliderMoved
    // The value changes after this signal; report from the position it will take.
    const int nOld = value();
    const int nNew = sliderPosition();
    if (nNew != nOld)
        emit Sig_ChangeValue(nNew);
}

void CCustomSlider::On_SliderMoved(int nValue) {
    emit Sig_ChangeValue(nValue);
}
