#include "CSkinButton.h"

#include <QDebug>
#include <QEnterEvent>
#include <QPainter>
#include <QStyleOptionButton>

CSkinButton::CSkinButton(QWidget* pParent) : QPushButton(pParent) {
    setFocusPolicy(Qt::NoFocus);
}

bool CSkinButton::SetPixmap(const QString& strNormal, const QString& strHover, const QString& strPressed,
                            const QString& strDisabled) {
    QPixmap pixNormal;
    if (strNormal.isEmpty() || !pixNormal.load(strNormal)) {
        qDebug() << "CSkinButton::SetPixmap Fail" << strNormal;
        return false;
    }
    const QString* pPaths[STATE_COUNT] = {&strNormal, &strHover, &strPressed, &strDisabled};
    m_pixStates[STATE_NORMAL] = pixNormal;
    for (int i = STATE_HOVER; i < STATE_COUNT; ++i) {
        QPixmap pix;
        if (pPaths[i]->isEmpty() || !pix.load(*pPaths[i]))
            pix = pixNormal;
        m_pixStates[i] = pix;
    }
    m_bHasPixmaps = true;
    update();
    return true;
}

bool CSkinButton::SetBitmap(const QString& strPath, int nStates) {
    QPixmap pixStrip;
    if (nStates < 1 || nStates > STATE_COUNT || strPath.isEmpty() || !pixStrip.load(strPath)) {
        qDebug() << "CSkinButton::SetBitmap Fail" << strPath << nStates;
        return false;
    }
    const int nPartWidth = pixStrip.width() / nStates;
    if (nPartWidth <= 0)
        return false;
    for (int i = 0; i < STATE_COUNT; ++i) {
        const int nPart = i < nStates ? i : 0;
        m_pixStates[i] = pixStrip.copy(nPart * nPartWidth, 0, nPartWidth, pixStrip.height());
    }
    m_bHasPixmaps = true;
    update();
    return true;
}

void CSkinButton::SetSelected(bool bSelected) {
    if (m_bSelected == bSelected)
        return;
    m_bSelected = bSelected;
    update();
}

void CSkinButton::SetCustomText(const QString& strText) {
    m_strCustomText = strText;
    update();
}

void CSkinButton::SetCustomTextColor(const QColor& clrNormal, const QColor& clrSelected) {
    m_clrText = clrNormal;
    m_clrTextSelected = clrSelected.isValid() ? clrSelected : clrNormal;
    update();
}

void CSkinButton::SetToolTipText(const QString& strTip) {
    setToolTip(strTip);
}

int CSkinButton::CurrentState() const {
    if (!isEnabled())
        return STATE_DISABLED;
    if (isDown() || m_bSelected || (isCheckable() && isChecked()))
        return STATE_PRESSED;
    if (m_bHover)
        return STATE_HOVER;
    return STATE_NORMAL;
}

void CSkinButton::paintEvent(QPaintEvent* pEvent) {
    if (!m_bHasPixmaps) {
        QPushButton::paintEvent(pEvent);
    } else {
        QPainter painter(this);
        painter.setRenderHint(QPainter::SmoothPixmapTransform, true);
        painter.drawPixmap(rect(), m_pixStates[CurrentState()]);
    }
    if (m_strCustomText.isEmpty())
        return;
    QPainter painter(this);
    const int nState = CurrentState();
    const bool bHighlight = nState == STATE_PRESSED || nState == STATE_HOVER;
    QColor clr = bHighlight ? m_clrTextSelected : m_clrText;
    if (nState == STATE_DISABLED)
        clr.setAlpha(110);
    painter.setPen(clr);
    painter.setFont(font());
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextSingleLine, m_strCustomText);
}

void CSkinButton::enterEvent(QEnterEvent* pEvent) {
    m_bHover = true;
    update();
    QPushButton::enterEvent(pEvent);
}

void CSkinButton::leaveEvent(QEvent* pEvent) {
    m_bHover = false;
    update();
    QPushButton::leaveEvent(pEvent);
}
