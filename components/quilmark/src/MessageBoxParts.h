#pragma once

#include <QString>

class QDialog;
class QHBoxLayout;
class QLabel;
class QPushButton;

// The common build of the two message boxes: a title line with a close button, the
// text, and a row for the buttons. Object names are the skin's selectors
// (resource 2): m_pWgtTitleBar, m_pLabTitle, m_pBtnClose, m_pLabText, m_pBtnOK,
// m_pBtnCancel.
struct MessageBoxParts {
    QLabel* pLabTitle = nullptr;
    QLabel* pLabText = nullptr;
    QPushButton* pBtnClose = nullptr;
    QHBoxLayout* pButtonRow = nullptr;
};

MessageBoxParts BuildMessageBox(QDialog* pDlg);
QPushButton* AddMessageBoxButton(QDialog* pDlg, MessageBoxParts& parts, const char* pObjectName);
void ApplyMessageBoxSkin(QDialog* pDlg);
