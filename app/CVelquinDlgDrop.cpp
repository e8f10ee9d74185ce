// Drag and drop on the main dialog, and the stage's layout.
#include "CVelquinDlg.h"

#include <QAction>
#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QFile>
#include <QMimeData>
#include <QUrl>
#include <QFileInfo>
#include <QMenu>

#include "AutoExpandWnd.h"
#include "CPlaylist.h"
#include "CDlgShow.h"
#include "CPlayWndLayoutMenu.h"
#include "CPlayHelper.h"
#include "CSkinButton.h"
#include "OpenInfo.h"
#include "MainDlgCommon.h"

using namespace maindlg;

// ---------------------------------------------------------------------------
// Drag and drop on the dialog

bool CVelquinDlg::IsStreamUrl(const QUrl& url) {
    const QString strScheme = url.scheme().toLower();
    if (strScheme == QLatin1String("rtsp") || strScheme == QLatin1String("rtsps") ||
        strScheme == QLatin1String("rtmp") || strScheme == QLatin1String("udp") || strScheme == QLatin1String("rtp"))
        return true;
    if (strScheme != QLatin1String("http") && strScheme != QLatin1String("https"))
        return false;
    const QString strPath = url.path().toLower();
    return strPath.endsWith(QLatin1String(".m3u8")) || strPath.endsWith(QLatin1String(".ts")) ||
           strPath.endsWith(QLatin1String(".flv"));
}

int CVelquinDlg::ProposedWndNum(int nFiles) {
    if (nFiles > 9)
        return 16;
    if (nFiles >= 5)
        return 9;
    return 4;
}

bool CVelquinDlg::IsOnAutoExpandWnd(const QPoint& ptDlg) const {
    return m_pAutoExpandWnd && m_pAutoExpandWnd->isVisible() && m_pAutoExpandWnd->geometry().contains(ptDlg);
}

int CVelquinDlg::CountDraggedFiles(const QMimeData* pData) const {
    int nCount = 0;
    for (const QUrl& url : pData->urls()) {
        const QString strLocal = url.toLocalFile();
        if (!strLocal.isEmpty() && QFileInfo(strLocal).isFile())
            ++nCount;
        else if (strLocal.isEmpty() && m_pPlaylist && m_pPlaylist->GetRowByPath(url.toString()) >= 0)
            ++nCount;
    }
    return nCount;
}

void CVelquinDlg::dragEnterEvent(QDragEnterEvent* ev) {
    if (IsSyncPlay() || !ev->mimeData()->hasUrls()) {
        ev->ignore();
        return;
    }
    // The list has its own drop.
    if (m_pPlaylist && m_pPlaylist->isVisible() &&
        m_pPlaylist->rect().contains(m_pPlaylist->mapFrom(this, ev->position().toPoint()))) {
        ev->ignore();
        return;
    }
    const int nCount = CountDraggedFiles(ev->mimeData());
    if (m_pDlgShow && m_pDlgShow->isVisible() && nCount > m_pDlgShow->GetPlayWndNum() &&
        m_pDlgShow->GetPlayWndNum() != MAX_PLAY_WND)
        emit Sig_ShowAutoExpandWnd(nCount, false);
    // Folders are accepted here and skipped at the drop.
    ev->acceptProposedAction();
}

void CVelquinDlg::dragMoveEvent(QDragMoveEvent* ev) {
    if (!ev->mimeData()->hasUrls())
        return;
    const int nCount = CountDraggedFiles(ev->mimeData());
    if (m_pAutoExpandWnd && m_pAutoExpandWnd->isVisible())
        emit Sig_ShowAutoExpandWnd(nCount, IsOnAutoExpandWnd(ev->position().toPoint()));
    ev->acceptProposedAction();
}

void CVelquinDlg::dragLeaveEvent(QDragLeaveEvent* /*ev*/) {
    if (m_pAutoExpandWnd)
        m_pAutoExpandWnd->hide();
}

bool CVelquinDlg::On_ShowAutoExpandWnd(int nFileNum, bool bIsHoverWnd) {
    if (!m_pDlgShow)
        return false;
    if (!m_pAutoExpandWnd) {
        m_pAutoExpandWnd = new AutoExpandWnd(this);
        m_pAutoExpandWnd->Init();
    }
    // Centred at the bottom of the stage, 2 pixels above its edge, over the windows.
    const QSize sizePrompt = m_pAutoExpandWnd->size();
    const QPoint ptBottom = m_pDlgShow->mapTo(this, QPoint(m_pDlgShow->width() / 2, m_pDlgShow->height()));
    m_pAutoExpandWnd->move(ptBottom.x() - sizePrompt.width() / 2, ptBottom.y() - 2 - sizePrompt.height());
    m_pAutoExpandWnd->show();
    m_pAutoExpandWnd->raise();
    return m_pAutoExpandWnd->SetProposal(ProposedWndNum(nFileNum), bIsHoverWnd);
}

void CVelquinDlg::dropEvent(QDropEvent* ev) {
    if (!m_pDlgShow || !m_pPlaylist || !ev->mimeData()->hasUrls())
        return;
    const QPoint ptGlobal = mapToGlobal(ev->position().toPoint());

    // First pass: one entry per accepted URL, what a row knows taken from the row.
    QList<OpenInfo> lstDrop;
    bool bHasNew = false;
    OpenInfo stInfo;
    for (const QUrl& url : ev->mimeData()->urls()) {
        const QString strLocal = url.toLocalFile();
        if (!strLocal.isEmpty()) {
            const int nRow = m_pPlaylist->GetRowByPath(strLocal);
            if (CPlayHelper::CheckFile(strLocal)) {
                if (nRow >= 0) {
                    m_pPlaylist->GetOpenInfo(nRow, &stInfo);
                } else {
                    stInfo = OpenInfo();
                    stInfo.nMediaType = 1;
                    stInfo.strFilePath = strLocal;
                    bHasNew = true;
                }
            } else {
                const QFileInfo fi(strLocal);
                if (fi.isDir() || fi.isSymLink())
                    continue; // folders are not walked on a drop
                stInfo = OpenInfo();
                stInfo.nMediaType = 0;
                stInfo.strFilePath = strLocal;
                bHasNew = bHasNew || nRow < 0;
            }
        } else {
            // A remote URL without a row is taken as a stream address only when it
            // looks like one: a web link dragged from a browser is not a video.
            const QString strUrl = url.toString();
            const int nRow = m_pPlaylist->GetRowByPath(strUrl);
            if (nRow >= 0) {
                m_pPlaylist->GetOpenInfo(nRow, &stInfo);
            } else if (!IsStreamUrl(url)) {
                continue;
            } else {
                stInfo = OpenInfo();
                stInfo.nMediaType = 2;
                stInfo.strFilePath = strUrl;
                bHasNew = true;
            }
        }
        lstDrop.append(stInfo);
    }

    // A drop on the prompt grows the layout to hold the files.
    const int nWndNum = m_pDlgShow->GetPlayWndNum();
    if (m_pAutoExpandWnd && m_pAutoExpandWnd->isVisible() && lstDrop.size() > nWndNum &&
        nWndNum != MAX_PLAY_WND && IsOnAutoExpandWnd(ev->position().toPoint()))
        On_ChangePlayWndNum(ProposedWndNum(int(lstDrop.size())));

    QList<OpenInfo> lstOpen;
    for (OpenInfo& stEntry : lstDrop) {
        if (IsPlaylistFull() && bHasNew) {
            ShowListFullMessage();
            break;
        }
        if (stEntry.nMediaType == 2)
            m_pPlaylist->AddUrl(&stEntry);
        else
            m_pPlaylist->AddFile(&stEntry);
        lstOpen.append(stEntry);
    }

    if (lstOpen.size() == 1) {
        // A single file goes to the window under the cursor.
        if (m_pDlgShow->rect().contains(m_pDlgShow->mapFromGlobal(ptGlobal)))
            m_pDlgShow->SelectWndByPos(ptGlobal);
        PlayFileInWnd(m_pDlgShow->GetSelWndIndex(), &lstOpen.first());
    } else {
        HoldSelReaction(true);
        for (int i = 0; i < m_pDlgShow->GetPlayWndNum() && i < lstOpen.size(); ++i) {
            m_pDlgShow->On_ChangeSelWnd(i);
            PlayFileInWnd(i, &lstOpen[i]);
        }
        HoldSelReaction(false);
    }
    if (m_pAutoExpandWnd)
        m_pAutoExpandWnd->hide();
    ev->acceptProposedAction();
}

bool CVelquinDlg::On_ChangePlayWndNum(int nWndNum) {
    if (!m_pDlgShow)
        return false;
    // A layout change always starts from the restored grid.
    if (m_pDlgShow->IsMaxWnd())
        m_pDlgShow->ToggleMaxWnd();
    const bool bOk = m_pDlgShow->SetPlayWndNum(nWndNum);
    if (m_pLayoutMenu)
        m_pLayoutMenu->hide(); // the choice is made
    On_UpdateCtrlsState();
    return bOk;
}

bool CVelquinDlg::On_SwitchLayoutMode(QAction* pAction) {
    if (pAction == m_pActLayout1)
        return On_ChangePlayWndNum(1);
    if (pAction == m_pActLayout4)
        return On_ChangePlayWndNum(4);
    if (pAction == m_pActLayout9)
        return On_ChangePlayWndNum(9);
    if (pAction == m_pActLayout16)
        return On_ChangePlayWndNum(16);
    return false;
}
