#pragma once

#include "FileInfoSync.h"

#include <QString>

#include <cstdint>

// What the playlist knows about one entry. A new record is all zero with empty
// strings; the thumbnail travels beside it as a QImage, not inside it.
struct Item_FileInfo {
    // 0: local file, not examined yet or found invalid. 1: local file, examined.
    // 2: network URL.
    int32_t nMediaType = 0;
    // Local path with forward slashes, or the URL: the identity of the entry.
    QString strFilePath;
    // Network rows only: index of the transmit mode.
    int32_t nTransmitMode = 0;
    // Network rows only: the port given for the HTTP transmit mode.
    int32_t nPort = 0;
    // The stream is encrypted, or a key was applied to it.
    bool bEncrypted = false;
    // Global time range, beginning then end; all zero when not known.
    FILE_INFO_SYNC stGlobalTime{};
    // Play time in seconds, as Tavrix_GetFileTime gives it.
    uint32_t nFileTime = 0;
    // The thumbnail thread has finished with this file.
    bool bInfoReady = false;
    // Size on disk in bytes.
    uint64_t nFileSize = 0;
    // Decryption key known for this file, empty if none.
    QString strDecryptKey;
    // The row shows "Invalid".
    bool bInvalid = false;
};
