// The main dialog's playlist search bar and file information dialog.
#include "CVelquinDlg.h"

#include <QColor>
#include <QLabel>
#include <QPainter>
#include <QPixmap>
#include <QVBoxLayout>

#include <memory>

#include "CDlgShow.h"
#include "CFileInfoDlg.h"
#include "CPlayWnd.h"
#include "CPlaylist.h"
#include "CSkinButton.h"
#include "PlayListSearchBar.h"
#include "StreamInfo.h"

namespace {

const QColor BORDER_COLOUR(19, 22, 24);
const QColor BORDER_MARK_COLOUR(82, 99, 107);
const int FILE_INFO_WIDTH = 400;
const int FILE_INFO_HEIGHT = 320;

} // namespace

// ---------------------------------------------------------------------------
// Search bar

void CVelquinDlg::BuildSearchBar(QVBoxLayout* pColumn) {
    m_pPlayListSearchBar = new PlayListSearchBar(m_pPlaylistCtrlContainer);
    m_pPlayListSearchBar->Init();
    m_pPlayListSearchBar->hide();
    pColumn->addWidget(m_pPlayListSearchBar);
}

bool CVelquinDlg::ConnectSearchBar() {
    if (!m_pPlayListSearchBar || !m_pPlaylist || !m_pBtnSearch)
        return false;
    bool bOk = bool(connect(m_pBtnSearch, &QPushButton::clicked, this, &CVelquinDlg::On_ShowSearchBar));
    bOk &= bool(connect(m_pPlayListSearchBar, &PlayListSearchBar::Sig_SearchByFileName, m_pPlaylist,
                        &CPlaylist::On_SearchByFileName));
    // The time record lives for the emission only.
    bOk &= bool(connect(m_pPlayListSearchBar, &PlayListSearchBar::Sig_SearchByGlobalTime, m_pPlaylist,
                        &CPlaylist::On_SearchByGlobalTime, Qt::DirectConnection));
    bOk &= bool(connect(m_pPlayListSearchBar, &PlayListSearchBar::Sig_SearchShowAllFiles, m_pPlaylist,
                        &CPlaylist::On_SearchShowAllFiles));
    PaintListBottomBorder(false);
    return bOk;
}

bool CVelquinDlg::On_ShowSearchBar() {
    if (!m_pPlayListSearchBar || !m_pBtnSearch)
        return false;
    const bool bShow = !m_pPlayListSearchBar->isVisible();
    m_pPlayListSearchBar->setVisible(bShow);
    // A click releases the button; held down, it marks the open bar.
    m_pBtnSearch->setDown(bShow);
    if (!bShow && m_pPlaylist)
        m_pPlaylist->On_SearchShowAllFiles(); // leaving the search never leaves rows hidden
    PaintListBottomBorder(bShow);
    return true;
}

void CVelquinDlg::PaintListBottomBorder(bool bSearchShown) {
    if (!m_pLabelListBottomBorder || !m_pPlaylistCtrlContainer)
        return;
    // The bar spans the list column, which has a fixed width.
    const int nWidth = qMax(1, m_pPlaylistCtrlContainer->width());
    QPixmap pix(nWidth, 1);
    pix.fill(BORDER_COLOUR);
    if (bSearchShown && m_pBtnSearch) {
        // Under the held button the line takes the bar's colour, so that button
        // and bar read as one tab.
        QPainter painter(&pix);
        const int nButton = m_pBtnSearch->width();
        painter.fillRect(QRect(nWidth - nButton + 1, 0, nButton, 1), BORDER_MARK_COLOUR);
    }
    m_pLabelListBottomBorder->setPixmap(pix);
}

// ---------------------------------------------------------------------------
// File information

bool CVelquinDlg::On_ShowFileInfoDlg() {
    if (!m_pDlgShow)
        return false;
    const int nSel = m_pDlgShow->GetSelWndIndex();
    const int nState = m_pDlgShow->GetPlayState(nSel);
    CPlayWnd* pWnd = m_pDlgShow->GetPlayWnd(nSel);
    if ((nState != 1 && nState != 2) || !pWnd)
        return false;

    CFileInfoDlg dlg(this);
    dlg.Init();
    dlg.resize(FILE_INFO_WIDTH, FILE_INFO_HEIGHT);
    StreamInfo stInfo;
    pWnd->GetStreamInfo(&stInfo);
    const QString strPath = m_pDlgShow->GetSelWndFilePath();
    std::unique_ptr<QPixmap> pThumb(m_pPlaylist ? m_pPlaylist->GetThumbnail(strPath) : nullptr);
    const uint nFileTime = m_pDlgShow->GetFileTime();
    // A file that cannot be analysed shows no values at all, the count included.
    if (dlg.SetFileInfo(&stInfo, nFileTime, pThumb.get()))
        dlg.SetDamagedFrames(pWnd->GetDamagedFrames());
    dlg.exec();
    return true;
}
