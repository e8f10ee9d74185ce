#include "MessageBoxParts.h"

#include "SkinManager.h"

#include <QDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
constexpr int kSkinResource = 2;
} // namespace

MessageBoxParts BuildMessageBox(QDialog* pDlg) {
    MessageBoxParts parts;
    auto* pRoot = new QVBoxLayout(pDlg);
    pRoot->setContentsMargins(0, 0, 0, 0);
    pRoot->setSpacing(0);

    auto* pTitleBar = new QWidget(pDlg);
    pTitleBar->setObjectName(QStringLiteral("m_pWgtTitleBar"));
    pTitleBar->setFixedHeight(32);
    auto* pTitleLayout = new QHBoxLayout(pTitleBar);
    pTitleLayout->setContentsMargins(12, 0, 6, 0);
    parts.pLabTitle = new QLabel(pTitleBar);
    parts.pLabTitle->setObjectName(QStringLiteral("m_pLabTitle"));
    parts.pBtnClose = new QPushButton(pTitleBar);
    parts.pBtnClose->setObjectName(QStringLiteral("m_pBtnClose"));
    parts.pBtnClose->setFixedSize(24, 24);
    parts.pBtnClose->setFocusPolicy(Qt::NoFocus);
    pTitleLayout->addWidget(parts.pLabTitle);
    pTitleLayout->addStretch();
    pTitleLayout->addWidget(parts.pBtnClose);
    pRoot->addWidget(pTitleBar);

    parts.pLabText = new QLabel(pDlg);
    parts.pLabText->setObjectName(QStringLiteral("m_pLabText"));
    parts.pLabText->setWordWrap(true);
    parts.pLabText->setAlignment(Qt::AlignCenter);
    parts.pLabText->setTextInteractionFlags(Qt::TextSelectableByMouse);
    parts.pLabText->setContentsMargins(20, 16, 20, 16);
    parts.pLabText->setMinimumSize(280, 60);
    pRoot->addWidget(parts.pLabText, 1);

    parts.pButtonRow = new QHBoxLayout();
    parts.pButtonRow->setContentsMargins(12, 0, 12, 14);
    parts.pButtonRow->setSpacing(10);
    parts.pButtonRow->addStretch();
    pRoot->addLayout(parts.pButtonRow);
    return parts;
}

QPushButton* AddMessageBoxButton(QDialog* pDlg, MessageBoxParts& parts, const char* pObjectName) {
    auto* pBtn = new QPushButton(pDlg);
    pBtn->setObjectName(QLatin1String(pObjectName));
    pBtn->setMinimumSize(80, 26);
    // The row ends with a stretch as well, so buttons stay centred.
    parts.pButtonRow->addWidget(pBtn);
    return pBtn;
}

void ApplyMessageBoxSkin(QDialog* pDlg) {
    const QString strPath = SkinManager::GetQssResPath(kSkinResource);
    if (!strPath.isEmpty())
        pDlg->setStyleSheet(SkinManager::ReadQssFile(strPath));
}
