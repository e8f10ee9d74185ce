// The settings dialog of the main dialog: what it is loaded with, and where its
// result goes. Every consumer (capture, continuous capture, the slider's locate
// mode, the hardware decoding of the next open, the hot keys) reads m_stPlayerCfg
// at its next use, so copying the result in is all it takes; only the top mode
// is applied here at once. The disk is written at exit, as for every setting.
#include "CVelquinDlg.h"

#include "CPlayerSetDlg.h"
#include "PlayerSettingInfo.h"

namespace {

constexpr int kSetDlgWidth = 560;
constexpr int kSetDlgHeight = 470;

} // namespace

bool CVelquinDlg::On_ShowPlaySettingDlg() {
    if (!m_pPlayerSetDlg) {
        m_pPlayerSetDlg = new CPlayerSetDlg(this);
        connect(m_pPlayerSetDlg, &CPlayerSetDlg::ApplyPlayerSetting, this,
                &CVelquinDlg::On_ApplyPlayerSetting);
        m_pPlayerSetDlg->resize(kSetDlgWidth, kSetDlgHeight);
        m_pPlayerSetDlg->Init();
    }
    if (m_pPlayerSetDlg->isVisible())
        return false;

    PlayerSettingInfo stInfo;
    stInfo.nTopMode = m_nTopMode;
    stInfo.nPlayLocateMode = m_stPlayerCfg.nPlayLocateMode;
    stInfo.bExitSavePlaylistFiles = m_stPlayerCfg.bExitKeepPlaylistFiles;
    stInfo.bExitSavePlayProgress = m_stPlayerCfg.bKeepPlayProgress;
    stInfo.bAutoAddSimilarFiles = m_stPlayerCfg.bAutoAddSimilarFileName;
    stInfo.bStartHardDecodeEngine = m_stPlayerCfg.bStartHardDecodeEngine;
    stInfo.strCapPicFolder = m_stPlayerCfg.strCapPicFolder;
    stInfo.nCapPicSaveType = m_stPlayerCfg.nCapPicSaveType;
    stInfo.nConCapPicMode = m_stPlayerCfg.nConCapPicMode;
    stInfo.nConCapPicGap = m_stPlayerCfg.nConCapPicGap;
    stInfo.nMaxConCapPicNum = m_stPlayerCfg.nMaxConCapPicNum;
    stInfo.stHotKeys = m_stPlayerCfg.stHotKeys;
    // The language may have changed since the last opening; the dialog is modal,
    // so it cannot change while the dialog shows.
    m_pPlayerSetDlg->ReTranslateUI();
    m_pPlayerSetDlg->SetSettingInfo(&stInfo);
    m_pPlayerSetDlg->exec();
    return true;
}

bool CVelquinDlg::On_ApplyPlayerSetting() {
    if (!m_pPlayerSetDlg)
        return false;
    PlayerSettingInfo stInfo;
    if (!m_pPlayerSetDlg->GetSettingInfo(&stInfo))
        return false;
    m_stPlayerCfg.nPlayLocateMode = stInfo.nPlayLocateMode;
    m_stPlayerCfg.bExitKeepPlaylistFiles = stInfo.bExitSavePlaylistFiles;
    m_stPlayerCfg.bKeepPlayProgress = stInfo.bExitSavePlayProgress;
    m_stPlayerCfg.bAutoAddSimilarFileName = stInfo.bAutoAddSimilarFiles;
    m_stPlayerCfg.bStartHardDecodeEngine = stInfo.bStartHardDecodeEngine;
    ApplyTopMode(stInfo.nTopMode);
    m_stPlayerCfg.strCapPicFolder = stInfo.strCapPicFolder;
    m_stPlayerCfg.nCapPicSaveType = stInfo.nCapPicSaveType;
    m_stPlayerCfg.nConCapPicMode = stInfo.nConCapPicMode;
    m_stPlayerCfg.nConCapPicGap = stInfo.nConCapPicGap;
    m_stPlayerCfg.nMaxConCapPicNum = stInfo.nMaxConCapPicNum;
    m_stPlayerCfg.stHotKeys = stInfo.stHotKeys;
    On_UpdateCtrlsState();
    return true;
}
