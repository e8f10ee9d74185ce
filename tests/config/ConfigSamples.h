#pragma once

// Records for the tests of the configuration store, shared by the test program and
// the helper that writes in a loop until it is killed.

#include "PlayerConfig.h"

#include <QString>
#include <QStringList>

#include <iterator>

namespace ConfigSamples {

// The 19 hot keys, in the order of the record.
inline int HotKeysCfg::*const kHotKeys[] = {
    &HotKeysCfg::nOpenFiles,       &HotKeysCfg::nOpenFolder, &HotKeysCfg::nOpenURL,
    &HotKeysCfg::nPlayOrPause,     &HotKeysCfg::nStop,       &HotKeysCfg::nFrameForward,
    &HotKeysCfg::nFrameBackward,   &HotKeysCfg::nFast,       &HotKeysCfg::nSlow,
    &HotKeysCfg::nRestoreSpeed,    &HotKeysCfg::nVolumeUp,   &HotKeysCfg::nVolumeDown,
    &HotKeysCfg::nGotoBegin,       &HotKeysCfg::nGotoEnd,    &HotKeysCfg::nCapPic,
    &HotKeysCfg::nFullScreen,      &HotKeysCfg::nExit,       &HotKeysCfg::nRepeatAB,
    &HotKeysCfg::nFisheyeExpansion};

// A record with every stored field away from its default, Chinese text, text that
// XML must escape, blanks that a careless parser would fold, 200 playlist entries
// and 30 URL records. nVariant changes every value, so two variants never match.
inline PlayerConfig MakeFull(int nVariant) {
    const QString v = QString::number(nVariant);
    PlayerConfig cfg;
    cfg.nLanguage = 7 + nVariant;
    cfg.nSkin = 2 + nVariant;
    cfg.nPlayLocateMode = nVariant == 0 ? 0 : 5;
    cfg.bExitKeepPlaylistFiles = false;
    cfg.bKeepPlayProgress = true;
    cfg.bAutoAddSimilarFileName = true;
    cfg.bStartHardDecodeEngine = true;
    cfg.bReconnectLostStreams = true;
    int nKey = 0x06000041 + 100 * nVariant; // Ctrl+Shift+A and on: every key distinct
    for (auto pKey : kHotKeys)
        cfg.stHotKeys.*pKey = nKey++;
    cfg.strCapPicFolder = QStringLiteral("/录像/截图 %1/总监").arg(v); // ends in a byte 0xE0 in Gb18030
    cfg.nCapPicSaveType = 0;
    cfg.nConCapPicMode = 1;
    cfg.nConCapPicGap = 25 + nVariant;
    cfg.nMaxConCapPicNum = 9999 - nVariant;
    for (int i = 0; i < 200; ++i) {
        PlaylistFileCfg stEntry;
        stEntry.nMediaType = i % 3;
        stEntry.strFilePath =
            QStringLiteral("/监控/通道%1/录像 %2 <&> 第%3段.mp4").arg(v).arg(i, 3, 10, QChar('0')).arg(i);
        stEntry.bIsEncrypt = i % 2 == 1;
        stEntry.strDecryptKey = stEntry.bIsEncrypt ? QStringLiteral("密钥%1&x").arg(i) : QString();
        stEntry.nTransmitMode = i % 4;
        stEntry.nPort = 554 + i;
        stEntry.nFilePlayProgress = i * 37 + nVariant;
        cfg.lstPlaylistFiles.append(stEntry);
    }
    cfg.lstPlaylistFiles[1].strFilePath = QStringLiteral("  /a  b\tc/前后有空格.mkv  ");
    cfg.lstPlaylistFiles[2].strFilePath = QStringLiteral("/x/&#x41;&amp;\"'.avi");
    for (int i = 0; i < 30; ++i)
        cfg.lstURLRecords.append(
            QStringLiteral("rtsp://用户:密码@192.168.%1.%2:554/摄像机?a=1&b=%3").arg(v).arg(i).arg(i));
    cfg.stFileCutToolConfig.strSrcDir = QStringLiteral("/not/stored"); // the writer takes the disk's
    cfg.nPlayWndNum = nVariant == 0 ? 16 : 9;
    cfg.nVolume = 170 + nVariant;
    cfg.bMute = true;
    cfg.rcMainDlg = QRect(-1200 - nVariant, 35 + nVariant, 1000 + nVariant, 600 + nVariant);
    cfg.bMaximized = true;
    return cfg;
}

// The first stored field that differs, or an empty text when all are equal. The
// clip tool folders and the language list are not compared: the writer does not
// take them from the record.
inline QString FirstDifference(const PlayerConfig& a, const PlayerConfig& b) {
#define VQ_CMP(f)                                                                                            \
    if (!(a.f == b.f))                                                                                       \
        return QStringLiteral(#f);
    VQ_CMP(nLanguage)
    VQ_CMP(nSkin)
    VQ_CMP(nPlayLocateMode)
    VQ_CMP(bExitKeepPlaylistFiles)
    VQ_CMP(bKeepPlayProgress)
    VQ_CMP(bAutoAddSimilarFileName)
    VQ_CMP(bStartHardDecodeEngine)
    VQ_CMP(bReconnectLostStreams)
    VQ_CMP(strCapPicFolder)
    VQ_CMP(nCapPicSaveType)
    VQ_CMP(nConCapPicMode)
    VQ_CMP(nConCapPicGap)
    VQ_CMP(nMaxConCapPicNum)
    VQ_CMP(lstURLRecords)
    VQ_CMP(nPlayWndNum)
    VQ_CMP(nVolume)
    VQ_CMP(bMute)
    VQ_CMP(rcMainDlg)
    VQ_CMP(bMaximized)
#undef VQ_CMP
    for (int i = 0; i < int(std::size(kHotKeys)); ++i)
        if (a.stHotKeys.*kHotKeys[i] != b.stHotKeys.*kHotKeys[i])
            return QStringLiteral("hot key %1").arg(i);
    if (a.lstPlaylistFiles.size() != b.lstPlaylistFiles.size())
        return QStringLiteral("playlist size %1 vs %2")
            .arg(a.lstPlaylistFiles.size())
            .arg(b.lstPlaylistFiles.size());
    for (int i = 0; i < a.lstPlaylistFiles.size(); ++i) {
        const PlaylistFileCfg& x = a.lstPlaylistFiles[i];
        const PlaylistFileCfg& y = b.lstPlaylistFiles[i];
        if (x.nMediaType != y.nMediaType || x.strFilePath != y.strFilePath || x.bIsEncrypt != y.bIsEncrypt ||
            x.strDecryptKey != y.strDecryptKey || x.nTransmitMode != y.nTransmitMode || x.nPort != y.nPort ||
            x.nFilePlayProgress != y.nFilePlayProgress)
            return QStringLiteral("playlist entry %1: [%2] vs [%3]").arg(i).arg(x.strFilePath, y.strFilePath);
    }
    return QString();
}

} // namespace ConfigSamples
