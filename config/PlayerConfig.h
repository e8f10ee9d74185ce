#pragma once

#include <QList>
#include <QPair>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QVector>

// One entry of the stored playlist. The media type takes the values of OpenInfo.
struct PlaylistFileCfg {
    int nMediaType = 0;
    QString strFilePath;
    bool bIsEncrypt = false;
    QString strDecryptKey;
    int nTransmitMode = 0;
    int nPort = 0;
    int nFilePlayProgress = 0; // seconds
};

// Hot keys as Qt key codes (Qt::Key plus the modifier bits, as QKeySequence takes them),
// in the order the settings dialog and the store list them.
struct HotKeysCfg {
    int nOpenFiles = 0x0400004F;        // Ctrl+O
    int nOpenFolder = 0x04000044;       // Ctrl+D
    int nOpenURL = 0x04000055;          // Ctrl+U
    int nPlayOrPause = 0x00000020;      // Space
    int nStop = 0x04000053;             // Ctrl+S
    int nFrameForward = 0x01000014;     // Right
    int nFrameBackward = 0x01000012;    // Left
    int nFast = 0x05000014;             // Ctrl+Right
    int nSlow = 0x05000012;             // Ctrl+Left
    int nRestoreSpeed = 0x04000052;     // Ctrl+R
    int nVolumeUp = 0x01000013;         // Up
    int nVolumeDown = 0x01000015;       // Down
    int nGotoBegin = 0x0400004B;        // Ctrl+K
    int nGotoEnd = 0x0400004A;          // Ctrl+J
    int nCapPic = 0x0100003A;           // F11
    int nFullScreen = 0x04000046;       // Ctrl+F
    int nExit = 0x04000057;             // Ctrl+W
    int nRepeatAB = 0x04000051;         // Ctrl+Q
    int nFisheyeExpansion = 0x04000050; // Ctrl+P
};

struct FileCutToolCfg {
    QString strSrcDir;
    QString strDstDir;
};

struct LanguageEntry {
    int nLanguageId = 0;
    QString strLanguageName;
};

// Everything the player remembers between two runs, held in memory by the main
// dialog for the whole run. Plain data: no widgets, no file access.
struct PlayerConfig {
    int nLanguage = 1;
    int nSkin = 0;
    int nPlayLocateMode = 1; // 0 locates by time, other values by frame
    bool bExitKeepPlaylistFiles = true;
    bool bKeepPlayProgress = false;
    bool bAutoAddSimilarFileName = false;
    bool bStartHardDecodeEngine = false;
    // A live stream that breaks off is opened again by its window instead of
    // being closed with a message.
    bool bReconnectLostStreams = false;
    HotKeysCfg stHotKeys;
    QString strCapPicFolder;
    int nCapPicSaveType = 1; // 0 BMP, 1 JPEG
    int nConCapPicMode = 0;  // 0 by time, 1 by frame index
    int nConCapPicGap = 1;   // seconds or frames, by the mode
    int nMaxConCapPicNum = 100;
    QList<PlaylistFileCfg> lstPlaylistFiles;
    QStringList lstURLRecords; // newest first, at most 30
    FileCutToolCfg stFileCutToolConfig;
    QVector<LanguageEntry> vecLanguages; // from GlobalLanguageConfig.xml, not stored here

    // How the main dialog was left, so that the next start looks the same.
    int nPlayWndNum = 1; // windows of the stage: 1, 4, 9 or 16
    int nVolume = 50;    // 0..200; above 100 is boost
    bool bMute = false;
    QRect rcMainDlg;         // the dialog's normal geometry; null: the size for the screen
    bool bMaximized = false; // the dialog's own maximised state, over rcMainDlg
};
