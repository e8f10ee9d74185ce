// Snapshot and continuous capture commands of the main dialog.

#include "CVelquinDlg.h"

#include "CDlgShow.h"

bool CVelquinDlg::On_CapPic() {
    if (!m_pDlgShow)
        return false;
    const int nState = m_pDlgShow->GetPlayState();
    if (nState == 0 || nState == 3)
        return false;
    // The window shows the outcome on its picture.
    return m_pDlgShow->CapOnePic(m_stPlayerCfg.nCapPicSaveType, m_stPlayerCfg.strCapPicFolder) == 1;
}

bool CVelquinDlg::On_ConCapPic() {
    if (!m_pDlgShow)
        return false;
    const int nState = m_pDlgShow->GetPlayState();
    if (nState == 0 || nState == 3)
        return false;
    // The one button starts a capture and ends the one under way.
    const bool bStart = !m_pDlgShow->IsConCapping();
    const bool bOk = m_pDlgShow->StartConCap(bStart, m_stPlayerCfg.nConCapPicMode,
                                             m_stPlayerCfg.nConCapPicGap, m_stPlayerCfg.nMaxConCapPicNum,
                                             m_stPlayerCfg.strCapPicFolder, m_stPlayerCfg.nCapPicSaveType);
    On_UpdateCtrlsState();
    return bOk;
}
