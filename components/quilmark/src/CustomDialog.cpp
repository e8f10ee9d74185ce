#include "CustomDialog.h"

#include <QBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>

CustomDialog::CustomDialog(QWidget* pParent) : QDialog(pParent) {
    // Frameless from the start, so that a dialog that never calls SetupUI still
    // looks like the others.
    setWindowFlags(windowFlags() | Qt::FramelessWindowHint | Qt::Dialog);
    setAttribute(Qt::WA_StyledBackground, true);
}

CustomDialog::~CustomDialog() = default;

void CustomDialog::SetupUI() {
    setWindowFlags(windowFlags() | Qt::FramelessWindowHint | Qt::Dialog);
    setAttribute(Qt::WA_StyledBackground, true);
}

void CustomDialog::ReTranslateUI() {}

void CustomDialog::InitBkgs() {}

void CustomDialog::ConnectSignals() {}

void CustomDialog::On_OK() {
    accept();
}

void CustomDialog::On_Cancel() {
    reject();
}

void CustomDialog::On_Apply() {}

void CustomDialog::On_Exit() {
    On_Cancel();
}

void CustomDialog::mousePressEvent(QMouseEvent* pEvent) {
    const bool bInDragArea = m_nDragAreaHeight <= 0 || pEvent->position().y() < m_nDragAreaHeight;
    if (pEvent->button() == Qt::LeftButton && bInDragArea && !isMaximized()) {
        m_bDragging = true;
        m_ptDragOffset = pEvent->globalPosition().toPoint() - frameGeometry().topLeft();
        pEvent->accept();
        return;
    }
    QDialog::mousePressEvent(pEvent);
}

void CustomDialog::mouseMoveEvent(QMouseEvent* pEvent) {
    if (m_bDragging && (pEvent->buttons() & Qt::LeftButton)) {
        move(pEvent->globalPosition().toPoint() - m_ptDragOffset);
        pEvent->accept();
        return;
    }
    QDialog::mouseMoveEvent(pEvent);
}

void CustomDialog::mouseReleaseEvent(QMouseEvent* pEvent) {
    if (pEvent->button() == Qt::LeftButton)
        m_bDragging = false;
    QDialog::mouseReleaseEvent(pEvent);
}

void CustomDialog::keyPressEvent(QKeyEvent* pEvent) {
    if (pEvent->key() == Qt::Key_Escape) {
        // Derived dialogs decide in On_Cancel what closing means (hide, reject).
        On_Cancel();
        pEvent->accept();
        return;
    }
    QDialog::keyPressEvent(pEvent);
}

QWidget* CustomDialog::AddTitleBar(QBoxLayout* pRoot, QLabel** ppLabTitle, QPushButton** ppBtnClose,
                                   const char* szCloseName, bool bDragByBar) {
    const int nHeight = 32;
    auto* pBar = new QWidget(this);
    pBar->setObjectName(QStringLiteral("m_pWgtTitleBar"));
    pBar->setFixedHeight(nHeight);
    auto* pLayout = new QHBoxLayout(pBar);
    pLayout->setContentsMargins(12, 0, 6, 0);
    auto* pLabTitle = new QLabel(pBar);
    pLabTitle->setObjectName(QStringLiteral("m_pLabTitle"));
    auto* pBtnClose = new QPushButton(pBar);
    pBtnClose->setObjectName(QLatin1String(szCloseName));
    pBtnClose->setFixedSize(24, 24);
    pBtnClose->setFocusPolicy(Qt::NoFocus);
    pBtnClose->setAutoDefault(false); // Enter belongs to the dialog's own default button
    pLayout->addWidget(pLabTitle);
    pLayout->addStretch();
    pLayout->addWidget(pBtnClose);
    pRoot->addWidget(pBar);
    if (bDragByBar)
        SetDragAreaHeight(nHeight);
    *ppLabTitle = pLabTitle;
    *ppBtnClose = pBtnClose;
    return pBar;
}
