// The main dialog: opening a network stream by its address.

#include "CVelquinDlg.h"

#include "CDlgShow.h"
#include "CPlaylist.h"
#include "InputURLDlg.h"
#include "OpenInfo.h"

bool CVelquinDlg::On_OpenURL() {
    if (!m_pDlgShow || !m_pPlaylist)
        return false;
    if (!GuardSyncMode())
        return false;
    if (IsPlaylistFull()) {
        ShowListFullMessage();
        return false;
    }

    // The dialog proves the address before it closes, and keeps the recent
    // addresses in the configuration record.
    InputURLDlg dlg(this);
    dlg.Init();
    dlg.SetConfig(&m_stPlayerCfg);
    if (dlg.exec() != QDialog::Accepted)
        return false;

    OpenInfo stInfo;
    stInfo.nMediaType = 2;
    dlg.GetURLInfo(stInfo.strFilePath, stInfo.nTransmitMode, stInfo.nPort);
    PlayFileInWnd(m_pDlgShow->GetSelWndIndex(), &stInfo);
    // The row is added even when the window could not open the stream: the
    // user can play it again from the list.
    m_pPlaylist->AddUrl(&stInfo);
    On_UpdateCtrlsState();
    return true;
}
