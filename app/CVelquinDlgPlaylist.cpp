// Opening files and folders, and the playlist's commands.
#include "CVelquinDlg.h"

#include <QAction>
#include <QDir>
#include <QDesktopServices>
#include <QDirIterator>
#include <QFile>
#include <QListWidgetItem>
#include <QUrl>
#include <QFileDialog>
#include <QMenu>

#include "CGetDecryptKeyDlg.h"
#include "CPlaylist.h"
#include "CustomMessageBox.h"
#include "CDlgShow.h"
#include "CPlayHelper.h"
#include "CSkinButton.h"
#include "LanguageKeys.h"
#include "NonModalMessageBox.h"
#include "OpenInfo.h"
#include "MainDlgCommon.h"

using namespace maindlg;

// ---------------------------------------------------------------------------
// Opening and sequencing

void CVelquinDlg::ShowInfoMessage(const QString& strKey, const QString& strDefault) {
    NonModalMessageBox::MsgBox(this, Text(IDS_Global_Information, QStringLiteral("Information")),
                               Text(strKey, strDefault));
}

bool CVelquinDlg::GuardSyncMode() {
    if (!m_pDlgShow || !m_pDlgShow->IsSyncPlay())
        return true;
    ShowInfoMessage(IDS_PlaySetDlg_UnSupportInSyncMode,
                    QStringLiteral("The operation is not supported in sychronization mode."));
    return false;
}

bool CVelquinDlg::On_ShowOpenMenu_OpenBtn() {
    if (!m_pOpenMenu || !m_pBtnOpenFiles)
        return false;
    m_pOpenMenu->setEnabled(!IsSyncPlay());
    m_pOpenMenu->popup(m_pBtnOpenFiles->mapToGlobal(QPoint(0, m_pBtnOpenFiles->height() + 1)));
    return true;
}

bool CVelquinDlg::ShowFileDialog(QStringList& lstPaths, int nMax) {
    if (m_strLastFileDir.isEmpty())
        m_strLastFileDir = QDir::currentPath();
    const QStringList lstChosen =
        QFileDialog::getOpenFileNames(this, Text(IDS_Global_OpenFile, QStringLiteral("Open File")),
                                      m_strLastFileDir, tr("ALL File (*.*);;Media File (*.mp4 *.avi)"));
    if (lstChosen.isEmpty())
        return false;
    for (const QString& strPath : lstChosen) {
        if (lstPaths.size() >= nMax)
            break;
        lstPaths << strPath;
    }
    m_strLastFileDir = CPlayHelper::GetFolderFromPath(lstChosen.first());
    return true;
}

bool CVelquinDlg::ShowFolderDialog(QStringList& lstPaths, int nMax) {
    if (m_strLastFolderDir.isEmpty())
        m_strLastFolderDir = QDir::currentPath();
    const QString strDir = QFileDialog::getExistingDirectory(
        this, Text(IDS_Global_OpenFolder, QStringLiteral("Open Folder")), m_strLastFolderDir,
        QFileDialog::ShowDirsOnly | QFileDialog::DontResolveSymlinks);
    if (strDir.isEmpty())
        return false;
    m_strLastFolderDir = QDir::toNativeSeparators(strDir);
    if (!QDir(m_strLastFolderDir).exists())
        return false;
    // Hidden files count and sub-folders are walked; no filter by extension, the
    // player decides per file whether it can open it.
    QDirIterator it(m_strLastFolderDir, QStringList() << QStringLiteral("*.*"),
                    QDir::Files | QDir::Hidden | QDir::NoSymLinks | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext() && lstPaths.size() < nMax) {
        it.next();
        lstPaths << it.fileInfo().absoluteFilePath();
    }
    return true;
}

bool CVelquinDlg::On_OpenFiles() {
    if (!GuardSyncMode())
        return false;
    QStringList lstPaths;
    if (!ShowFileDialog(lstPaths, MAX_OPEN_PATHS))
        return false;
    return OpenFileList(lstPaths);
}

bool CVelquinDlg::On_OpenFolder() {
    if (!GuardSyncMode())
        return false;
    QStringList lstPaths;
    if (!ShowFolderDialog(lstPaths, MAX_OPEN_PATHS))
        return false;
    return OpenFileList(lstPaths);
}

bool CVelquinDlg::IsPlaylistFull() const {
    return m_pPlaylist && m_pPlaylist->count() >= MAX_PLAYLIST_ROWS;
}

void CVelquinDlg::ShowListFullMessage() {
    ShowInfoMessage(IDS_MainWnd_PlaylistIsMax, QStringLiteral("Playlist is Maximum, can not add!"));
}

bool CVelquinDlg::On_AddFiles() {
    if (!m_pPlaylist)
        return false;
    QStringList lstPaths;
    if (!ShowFileDialog(lstPaths, MAX_OPEN_PATHS))
        return false;
    for (const QString& strPath : lstPaths) {
        if (IsPlaylistFull()) {
            ShowListFullMessage();
            break;
        }
        OpenInfo stInfo;
        stInfo.nMediaType = 1;
        stInfo.strFilePath = strPath;
        m_pPlaylist->AddFile(&stInfo);
    }
    return true;
}

bool CVelquinDlg::On_OpenFileInSelWnd(OpenInfo* pOpenInfo) {
    if (!pOpenInfo || !m_pDlgShow)
        return false;
    if (!GuardSyncMode())
        return false;
    if (pOpenInfo->nMediaType != 2 && m_pPlaylist && m_pPlaylist->GetRowByPath(pOpenInfo->strFilePath) >= 0) {
        QMap<QString, QString> mapKeys;
        if (!pOpenInfo->bEncryptChecked) {
            // The thumbnail thread has not looked at the file yet: read the file now,
            // so that the key comes before the window opens.
            bool bEncrypted = false;
            CPlayHelper::IsEncryption(pOpenInfo->strFilePath, &bEncrypted);
            if (bEncrypted)
                mapKeys.insert(pOpenInfo->strFilePath, QString());
        } else if (pOpenInfo->bEncrypted && pOpenInfo->strDecryptKey.isEmpty()) {
            mapKeys.insert(pOpenInfo->strFilePath, QString());
        }
        if (!mapKeys.isEmpty()) {
            if (!AskDecryptKeys(mapKeys))
                return false; // cancelled: the window keeps what it played
            pOpenInfo->strDecryptKey = mapKeys.first();
            m_pPlaylist->SetDecryptKey(mapKeys.firstKey(), mapKeys.first());
        }
    }
    return PlayFileInWnd(m_pDlgShow->GetSelWndIndex(), pOpenInfo);
}

bool CVelquinDlg::AskDecryptKeys(QMap<QString, QString>& mapKeys) {
    if (mapKeys.isEmpty())
        return false;
    CGetDecryptKeyDlg dlg(this);
    dlg.Init();
    dlg.SetFiles(mapKeys);
    const int nFiles = mapKeys.size();
    dlg.resize(400, nFiles <= 6 ? 185 + 30 * nFiles : 375);
    if (dlg.exec() != QDialog::Accepted)
        return false;
    dlg.GetFileKeys(mapKeys);
    return true;
}

bool CVelquinDlg::On_ShowInputKeyDlg() {
    if (!m_pPlaylist)
        return false;
    QMap<QString, QString> mapKeys;
    for (QListWidgetItem* pItem : m_pPlaylist->selectedItems()) {
        OpenInfo stInfo;
        if (m_pPlaylist->GetOpenInfo(pItem, &stInfo) && stInfo.bEncrypted)
            mapKeys.insert(stInfo.strFilePath, QString());
    }
    if (!AskDecryptKeys(mapKeys))
        return false;
    for (auto it = mapKeys.cbegin(); it != mapKeys.cend(); ++it)
        m_pPlaylist->SetDecryptKey(it.key(), it.value());
    return true;
}

int CVelquinDlg::CountActiveWndsWithPath(const QString& strPath, int nExcept) const {
    int nCount = 0;
    for (int i = 0; i < MAX_PLAY_WND; ++i) {
        if (i != nExcept && IsActiveState(m_pDlgShow->GetPlayState(i)) &&
            QString::compare(m_pDlgShow->GetWndFilePath(i), strPath) == 0)
            ++nCount;
    }
    return nCount;
}

void CVelquinDlg::ClearRowProgress(const QString& strPath) {
    if (!m_pPlaylist || strPath.isEmpty())
        return;
    QMap<QString, PlayProgress> mapProgress;
    mapProgress.insert(strPath, PlayProgress());
    m_pPlaylist->UpdatePlayProgress(mapProgress);
}

bool CVelquinDlg::StopWnd(int nWnd) {
    if (!m_pDlgShow || m_pDlgShow->IsSyncPlay() || nWnd < 0 || nWnd >= MAX_PLAY_WND)
        return false;
    m_pDlgShow->Stop(nWnd);
    if (nWnd == m_pDlgShow->GetSelWndIndex())
        On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::ReplayWnd(int nWnd) {
    if (!m_pDlgShow || m_pDlgShow->IsSyncPlay() || nWnd < 0 || nWnd >= MAX_PLAY_WND)
        return false;
    m_pDlgShow->Play(nWnd);
    if (nWnd == m_pDlgShow->GetSelWndIndex() && !m_bMute)
        m_pDlgShow->SetVolume(nWnd, true, m_nVolume, false);
    else
        m_pDlgShow->SetVolume(nWnd, false, 0, false);
    // Stop put the private data back to all kinds; the replay keeps the choices.
    ApplyPrivateDataMask(nWnd);
    if (nWnd == m_pDlgShow->GetSelWndIndex())
        On_UpdateCtrlsState();
    return true;
}

void CVelquinDlg::UpdateSyncBtnState() {
    int nActive = 0;
    bool bAnyNet = false;
    for (int i = 0; i < MAX_PLAY_WND; ++i) {
        if (!IsActiveState(m_pDlgShow->GetPlayState(i)))
            continue;
        ++nActive;
        bAnyNet = bAnyNet || m_pDlgShow->GetOpenMode(i) == 2;
    }
    bool bOpening = false;
    for (int i = 0; i < MAX_PLAY_WND; ++i)
        bOpening = bOpening || m_pDlgShow->IsOpening(i);
    m_pBtnSyncPlay->setEnabled(nActive >= 2 && !bAnyNet && (!bOpening || m_pDlgShow->IsSyncPlay()));
}

void CVelquinDlg::ErrorToStopPlay(QString strFileName, int nErrorType, bool bSRFile) {
    switch (nErrorType) {
    case 0:
        // Type 0 is only fatal for fisheye material.
        if (bSRFile)
            On_Stop();
        break;
    case 5:
        // A wrong key is forgotten, so that the next open asks again.
        if (m_pPlaylist)
            m_pPlaylist->SetDecryptKey(strFileName, QString());
        StopWndsWithPath(strFileName);
        break;
    case 1:
    case 2:
    case 4:
        StopWndsWithPath(strFileName);
        break;
    default:
        break;
    }
}

void CVelquinDlg::StopWndsWithPath(const QString& strPath) {
    // The error comes from the window that plays the file, which need not be the
    // selected one when several files were opened at once.
    bool bAny = false;
    if (m_pDlgShow && !m_pDlgShow->IsSyncPlay() && !strPath.isEmpty()) {
        for (int i = 0; i < MAX_PLAY_WND; ++i) {
            // A window whose file opened but could not start play (state 4) is
            // the window of the error as well.
            const int nState = m_pDlgShow->GetPlayState(i);
            if ((IsActiveState(nState) || nState == 4) && m_pDlgShow->GetWndFilePath(i) == strPath) {
                StopWnd(i);
                bAny = true;
            }
        }
    }
    if (!bAny)
        On_Stop();
}

bool CVelquinDlg::On_MarkInvalidFile(QString strFilePath, bool /*bState*/) {
    // The signal means that a stream has started: its row is valid again.
    if (!m_pPlaylist)
        return false;
    return m_pPlaylist->MarkInvalidFile(strFilePath, false);
}

bool CVelquinDlg::On_SwitchPlayMode(QAction* pAction) {
    if (!pAction)
        return false;
    const int nMode = pAction->data().toInt();
    if (nMode < 1 || nMode > 4)
        return false;
    m_nPlayMode = nMode;
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_PlaySelectedRow() {
    if (!m_pPlaylist)
        return false;
    const QList<QListWidgetItem*> lstSel = m_pPlaylist->selectedItems();
    OpenInfo stInfo;
    if (lstSel.size() != 1 || !m_pPlaylist->GetOpenInfo(lstSel.first(), &stInfo))
        return false;
    // The selected window already shows this file: the command toggles it.
    if (m_pDlgShow && IsActiveState(m_pDlgShow->GetPlayState()) &&
        m_pDlgShow->GetSelWndFilePath() == stInfo.strFilePath)
        return On_PlayOrPause();
    return On_OpenFileInSelWnd(&stInfo);
}

bool CVelquinDlg::On_OpenCurFileFolder() {
    if (!m_pPlaylist)
        return false;
    const QList<QListWidgetItem*> lstSel = m_pPlaylist->selectedItems();
    OpenInfo stInfo;
    if (lstSel.size() != 1 || !m_pPlaylist->GetOpenInfo(lstSel.first(), &stInfo) || stInfo.nMediaType == 2)
        return false;
    const QString strFolder = CPlayHelper::GetFolderFromPath(stInfo.strFilePath);
    return QDesktopServices::openUrl(QUrl::fromLocalFile(strFolder));
}

bool CVelquinDlg::On_DelSelFiles() {
    if (!m_pPlaylist)
        return false;
    const QList<QListWidgetItem*> lstSel = m_pPlaylist->selectedItems();
    for (QListWidgetItem* pItem : lstSel) {
        OpenInfo stInfo;
        if (m_pPlaylist->GetOpenInfo(pItem, &stInfo))
            On_CloseByFilePath(stInfo.strFilePath);
    }
    m_pPlaylist->RemoveItems(lstSel);
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_ClearPlaylist() {
    if (!m_pPlaylist || m_pPlaylist->count() == 0)
        return false;
    const int nAnswer =
        CustomMessageBox::MsgBox(this, Text(IDS_Global_Information, QStringLiteral("Information")),
                                 Text(IDS_MainWnd_ConfirmClearPlaylist,
                                      QStringLiteral("List of files will be cleared, please confirm whether "
                                                     "this operation?")),
                                 2);
    if (nAnswer == 0)
        return false;
    for (int nRow = 0; nRow < m_pPlaylist->count(); ++nRow) {
        OpenInfo stInfo;
        if (m_pPlaylist->GetOpenInfo(nRow, &stInfo))
            On_CloseByFilePath(stInfo.strFilePath);
    }
    m_pPlaylist->ClearAll();
    On_UpdateCtrlsState();
    return true;
}

bool CVelquinDlg::On_ClearInvalidFiles() {
    if (!m_pPlaylist)
        return false;
    // Rows found invalid and files gone from disk; URL rows never. A row the
    // thumbnail thread has not examined yet is not known to be invalid, and a file
    // that plays in a window stays, whatever its row says.
    QList<QListWidgetItem*> lstInvalid;
    for (int nRow = 0; nRow < m_pPlaylist->count(); ++nRow) {
        OpenInfo stInfo;
        if (!m_pPlaylist->GetOpenInfo(nRow, &stInfo) || stInfo.nMediaType == 2)
            continue;
        const bool bInvalid = (stInfo.nMediaType == 0 && stInfo.bEncryptChecked) ||
                              !QFile::exists(stInfo.strFilePath);
        if (bInvalid && CountActiveWndsWithPath(stInfo.strFilePath, -1) == 0)
            lstInvalid << m_pPlaylist->item(nRow);
    }
    if (lstInvalid.isEmpty())
        return true;
    return m_pPlaylist->RemoveItems(lstInvalid);
}

bool CVelquinDlg::On_CloseByFilePath(QString strFilePath) {
    if (!m_pDlgShow)
        return false;
    if (m_pDlgShow->IsSyncPlay()) {
        // Leave the group first when one of its windows shows the path.
        const QString strNative = QDir::toNativeSeparators(strFilePath);
        for (int i = 0; i < MAX_PLAY_WND; ++i) {
            if (QDir::toNativeSeparators(m_pDlgShow->GetWndFilePath(i)) == strNative) {
                On_SyncPlay();
                break;
            }
        }
    }
    return m_pDlgShow->CloseByFilePath(strFilePath);
}
