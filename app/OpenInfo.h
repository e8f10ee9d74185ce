#pragma once

#include <QString>

// A request to open one entry (file or stream URL) in a play window. Made on the
// caller's stack, filled from a playlist row, a dialog or the command line, and
// passed down by pointer; the receiver reads it during the call only.
struct OpenInfo {
    int nMediaType = 0;        // 0 unknown / failed the media check, 1 local file, 2 network URL
    QString strFilePath;       // path or URL
    bool bEncrypted = false;   // the file is encrypted
    QString strDecryptKey;     // key of an encrypted file, at most 16 characters
    bool bEncryptChecked = false; // the thumbnail thread has looked at the file
    int nTransmitMode = 0;     // transmit mode index of a URL
    int nPort = 0;             // port of a URL in the HTTP transmit mode
    bool bHardDecode = false;  // ask for hardware decoding
};
