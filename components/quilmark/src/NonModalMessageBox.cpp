#include "NonModalMessageBox.h"

#include "CLanguageParser.h"
#include "LanguageKeys.h"
#include "MessageBoxParts.h"
#include "SkinManager.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

void NonModalMessageBox::MsgBox(QWidget* pParent, const QString& strTitle, const QString& strText) {
    auto* pBox = new NonModalMessageBox(pParent, strTitle, strText);
    pBox->show();
    pBox->raise();
    pBox->activateWindow();
}

NonModalMessageBox::NonModalMessageBox(QWidget* pParent, const QString& strTitle, const QString& strText)
    : CustomDialog(pParent), m_strTitle(strTitle), m_strText(strText) {
    setObjectName(QStringLiteral("NonModalMessageBox"));
    setAttribute(Qt::WA_DeleteOnClose, true);
    SetupUI();
    ConnectSignals();
    ReTranslateUI();
    SkinManager::AddObserver(this);
}

NonModalMessageBox::~NonModalMessageBox() {
    SkinManager::DelObserver(this);
}

void NonModalMessageBox::SetupUI() {
    CustomDialog::SetupUI();
    setModal(false);
    MessageBoxParts parts = BuildMessageBox(this);
    m_pLabTitle = parts.pLabTitle;
    m_pLabText = parts.pLabText;
    m_pBtnClose = parts.pBtnClose;
    m_pBtnOK = AddMessageBoxButton(this, parts, "m_pBtnOK");
    parts.pButtonRow->addStretch();
    m_pBtnOK->setDefault(true);
    SetDragAreaHeight(32);
}

void NonModalMessageBox::ReTranslateUI() {
    m_pLabTitle->setText(m_strTitle);
    m_pLabText->setText(m_strText);
    QString strText;
    CLanguageParser::FindString(IDS_Global_OK, strText, QStringLiteral("OK"));
    m_pBtnOK->setText(strText);
}

void NonModalMessageBox::ConnectSignals() {
    // Both end in close(), which deletes the box (WA_DeleteOnClose).
    connect(m_pBtnOK, &QPushButton::clicked, this, &NonModalMessageBox::On_OK);
    connect(m_pBtnClose, &QPushButton::clicked, this, &NonModalMessageBox::On_Cancel);
}

void NonModalMessageBox::On_OK() {
    close();
}

void NonModalMessageBox::On_Cancel() {
    close();
}

void NonModalMessageBox::SkinChanged() {
    ApplyMessageBoxSkin(this);
}
