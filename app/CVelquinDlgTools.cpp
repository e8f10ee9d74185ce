// The main dialog's toolbox and layout popups, the companion programs, the user
// manual and the about box.
#include "CVelquinDlg.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProcess>
#include <QScreen>
#include <QUrl>

#include "AboutDlg.h"
#include "CDlgShow.h"
#include "CPlayHelper.h"
#include "CPlayWndLayoutMenu.h"
#include "CSkinButton.h"
#include "CToolsMenu.h"
#include "LanguageKeys.h"
#include "MainDlgCommon.h"
#include "NonModalMessageBox.h"

using namespace maindlg;

namespace {

const int kAboutWidth = 350;
const int kAboutHeight = 200;

// The companion programs, beside the player; the converter has a folder of its own.
const char* const kCutTool = "velquin-clip";
const char* const kConvertTool = "convert/velquin-convert";
const char* const kMergeTool = "velquin-merge";
const char* const kStreamTool = "velquin-stream";

bool SelWndHoldsFile(CDlgShow* pDlgShow) {
    if (!pDlgShow)
        return false;
    const int nSel = pDlgShow->GetSelWndIndex();
    return IsActiveState(pDlgShow->GetPlayState(nSel)) && pDlgShow->GetOpenMode(nSel) != 2;
}

QString AppFolder() {
    return QCoreApplication::applicationDirPath();
}

} // namespace

// ---------------------------------------------------------------------------
// Popups of the control bar

void CVelquinDlg::PlacePopupAtButton(QWidget* pPopup, QWidget* pBtn) {
    const QSize sizePopup = pPopup->size();
    const QPoint ptBtn = pBtn->mapToGlobal(QPoint(0, 0));
    int nX = ptBtn.x() + pBtn->width() / 2 - sizePopup.width() / 2;
    int nY = ptBtn.y() + pBtn->height();
    QScreen* pScreen = pBtn->screen() ? pBtn->screen() : QGuiApplication::primaryScreen();
    if (pScreen) {
        // Kept on the screen; the buttons sit at the dialog's bottom, so the
        // popup usually goes above its button.
        const QRect rcAvail = pScreen->availableGeometry();
        if (nX < rcAvail.left())
            nX = rcAvail.left();
        if (nX + sizePopup.width() > rcAvail.right() + 1)
            nX = rcAvail.right() + 1 - sizePopup.width();
        if (nY + sizePopup.height() > rcAvail.bottom() + 1)
            nY = ptBtn.y() - sizePopup.height();
    }
    pPopup->move(nX, nY);
}

bool CVelquinDlg::On_ShowSelectMultiWndsDlg() {
    if (!m_pBtnLayout || !m_pDlgShow)
        return false;
    if (!m_pLayoutMenu) {
        m_pLayoutMenu = new CPlayWndLayoutMenu(this);
        m_pLayoutMenu->Init();
        m_pLayoutMenu->SetAnchor(m_pBtnLayout);
        m_pLayoutMenu->resize(CPlayWndLayoutMenu::MENU_WIDTH, CPlayWndLayoutMenu::MENU_HEIGHT);
        connect(m_pLayoutMenu, &CPlayWndLayoutMenu::Sig_ChangePlayWndNum, this,
                &CVelquinDlg::On_ChangePlayWndNum);
    }
    PlacePopupAtButton(m_pLayoutMenu, m_pBtnLayout);
    m_pLayoutMenu->SetCurWndNum(m_pDlgShow->GetPlayWndNum());
    if (m_pLayoutMenu->isVisible()) {
        m_pLayoutMenu->hide();
        return true;
    }
    m_pLayoutMenu->show();
    // It hides itself when it loses the focus, so it must have it first.
    m_pLayoutMenu->activateWindow();
    m_pLayoutMenu->setFocus();
    return true;
}

bool CVelquinDlg::On_ShowToolsDlg() {
    if (!m_pBtnTools)
        return false;
    if (!m_pToolsMenu) {
        m_pToolsMenu = new CToolsMenu(this);
        m_pToolsMenu->Init();
        m_pToolsMenu->SetAnchor(m_pBtnTools);
        m_pToolsMenu->resize(CToolsMenu::MENU_WIDTH, CToolsMenu::MENU_HEIGHT);
        connect(m_pToolsMenu, &CToolsMenu::Sig_ShowFileConvertDlg, this, &CVelquinDlg::On_ShowFileConvertDlg);
        connect(m_pToolsMenu, &CToolsMenu::Sig_ShowFileMergeDlg, this, &CVelquinDlg::On_ShowFileMergeDlg);
        connect(m_pToolsMenu, &CToolsMenu::Sig_ShowFileCutDlg, this, &CVelquinDlg::On_ShowFileCutDlg);
        connect(m_pToolsMenu, &CToolsMenu::Sig_ShowNpsDlg, this, &CVelquinDlg::On_ShowMediaStreamDlg);
        connect(m_pToolsMenu, &CToolsMenu::Sig_focusOutEvent, this, &CVelquinDlg::On_DlgToolsMenuFocusOut);
    }
    PlacePopupAtButton(m_pToolsMenu, m_pBtnTools);
    if (m_pToolsMenu->isVisible()) {
        m_pToolsMenu->hide(); // its hide lets the stage paint again
        return true;
    }
    m_pToolsMenu->show();
    m_pToolsMenu->activateWindow();
    m_pToolsMenu->setFocus();
    // The stage does not repaint under the popup while it is up; the focus
    // leaving the popup lets it paint again.
    if (m_pDlgShow)
        m_pDlgShow->setUpdatesEnabled(false);
    return true;
}

void CVelquinDlg::On_DlgToolsMenuFocusOut() {
    if (m_pDlgShow)
        m_pDlgShow->setUpdatesEnabled(true);
}

// ---------------------------------------------------------------------------
// Companion programs

// The right menu's entries give the tool the selected window's file when it
// holds one; a stream is not a file the tools can read.
bool CVelquinDlg::On_RightMenuFileCutClick() {
    return On_ShowFileCutDlg(SelWndHoldsFile(m_pDlgShow));
}

bool CVelquinDlg::On_RightMenuFileConvertClick() {
    return On_ShowFileConvertDlg(SelWndHoldsFile(m_pDlgShow));
}

bool CVelquinDlg::On_RightMenuFileMergeClick() {
    return On_ShowFileMergeDlg(SelWndHoldsFile(m_pDlgShow));
}

bool CVelquinDlg::On_RightMenuNpsStreamClick() {
    return On_ShowMediaStreamDlg(SelWndHoldsFile(m_pDlgShow));
}

bool CVelquinDlg::On_ShowFileCutDlg(bool bAddCurWndPlayFile) {
    return LaunchTool(QString::fromLatin1(kCutTool), bAddCurWndPlayFile);
}

bool CVelquinDlg::On_ShowFileConvertDlg(bool bAddCurWndPlayFile) {
    return LaunchTool(QString::fromLatin1(kConvertTool), bAddCurWndPlayFile);
}

bool CVelquinDlg::On_ShowFileMergeDlg(bool bAddCurWndPlayFile) {
    return LaunchTool(QString::fromLatin1(kMergeTool), bAddCurWndPlayFile);
}

bool CVelquinDlg::On_ShowMediaStreamDlg(bool bAddCurWndPlayFile) {
    return LaunchTool(QString::fromLatin1(kStreamTool), bAddCurWndPlayFile);
}

bool CVelquinDlg::LaunchTool(QString strToolFile, bool bAddCurWndPlayFile) {
    if (strToolFile.isEmpty())
        return false;
    const QString strPath = CPlayHelper::LinkFolderAndFileName(AppFolder(), strToolFile);
    if (!QFileInfo(strPath).isFile()) {
        NonModalMessageBox::MsgBox(this, Text(IDS_Global_Information, QStringLiteral("Information")),
                                   Text(IDS_MainWnd_Need, QStringLiteral("Need")) + QLatin1Char(' ') +
                                       strToolFile);
        return false;
    }
    // The tool takes the language, the file when there is one, and the skin;
    // each its own argument, so a path with blanks or quotes arrives whole.
    QStringList lstArgs;
    lstArgs << QString::number(m_stPlayerCfg.nLanguage);
    if (bAddCurWndPlayFile && m_pDlgShow)
        lstArgs << m_pDlgShow->GetSelWndFilePath();
    lstArgs << QString::number(m_stPlayerCfg.nSkin);
    // Nothing comes back from the tool; whether it started is not looked at.
    QProcess::startDetached(strPath, lstArgs, AppFolder());
    return true;
}

// ---------------------------------------------------------------------------
// Manual and about box

bool CVelquinDlg::On_ShowUserManual() {
    const QString strName = m_stPlayerCfg.nLanguage == 0 ? QStringLiteral("Velquin V7.4.0_CN.pdf")
                                                         : QStringLiteral("Velquin V7.4.0_EN.pdf");
    const QString strPath = CPlayHelper::LinkFolderAndFileName(AppFolder(), strName);
    if (!QFileInfo(strPath).isFile()) {
        ShowInfoMessage(IDS_Global_NotFindUserManual, QStringLiteral("No user manual found."));
        return false;
    }
    return QDesktopServices::openUrl(QUrl::fromLocalFile(strPath));
}

bool CVelquinDlg::On_ShowAboutDlg() {
    AboutDlg dlg(this);
    dlg.Init();
    dlg.resize(kAboutWidth, kAboutHeight);
    dlg.exec();
    return true;
}
