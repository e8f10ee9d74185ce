#include "CustomMessageBox.h"

#include "CLanguageParser.h"
#include "LanguageKeys.h"
#include "MessageBoxParts.h"
#include "SkinManager.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

int CustomMessageBox::MsgBox(QWidget* pParent, const QString& strTitle, const QString& strText,
                             int nButtons) {
    CustomMessageBox box(pParent, strTitle, strText, nButtons);
    return box.exec() == QDialog::Accepted ? MSGBOX_RESULT_OK : MSGBOX_RESULT_CANCEL;
}

CustomMessageBox::CustomMessageBox(QWidget* pParent, const QString& strTitle, const QString& strText,
                                   int nButtons)
    : CustomDialog(pParent), m_strTitle(strTitle), m_strText(strText),
      m_nButtons(nButtons == MSGBOX_OKCANCEL ? MSGBOX_OKCANCEL : MSGBOX_OK) {
    setObjectName(QStringLiteral("CustomMessageBox"));
    SetupUI();
    ConnectSignals();
    ReTranslateUI();
    SkinManager::AddObserver(this);
}

CustomMessageBox::~CustomMessageBox() {
    SkinManager::DelObserver(this);
}

void CustomMessageBox::SetupUI() {
    CustomDialog::SetupUI();
    setModal(true);
    MessageBoxParts parts = BuildMessageBox(this);
    m_pLabTitle = parts.pLabTitle;
    m_pLabText = parts.pLabText;
    m_pBtnClose = parts.pBtnClose;
    m_pBtnOK = AddMessageBoxButton(this, parts, "m_pBtnOK");
    if (m_nButtons == MSGBOX_OKCANCEL)
        m_pBtnCancel = AddMessageBoxButton(this, parts, "m_pBtnCancel");
    parts.pButtonRow->addStretch();
    m_pBtnOK->setDefault(true);
    SetDragAreaHeight(32);
}

void CustomMessageBox::ReTranslateUI() {
    m_pLabTitle->setText(m_strTitle);
    m_pLabText->setText(m_strText);
    QString strText;
    CLanguageParser::FindString(IDS_Global_OK, strText, QStringLiteral("OK"));
    m_pBtnOK->setText(strText);
    if (m_pBtnCancel) {
        CLanguageParser::FindString(IDS_Global_Cancel, strText, QStringLiteral("Cancel"));
        m_pBtnCancel->setText(strText);
    }
}

void CustomMessageBox::ConnectSignals() {
    connect(m_pBtnOK, &QPushButton::clicked, this, &CustomMessageBox::On_OK);
    connect(m_pBtnClose, &QPushButton::clicked, this, &CustomMessageBox::On_Cancel);
    if (m_pBtnCancel)
        connect(m_pBtnCancel, &QPushButton::clicked, this, &CustomMessageBox::On_Cancel);
}

void CustomMessageBox::SkinChanged() {
    ApplyMessageBoxSkin(this);
}
