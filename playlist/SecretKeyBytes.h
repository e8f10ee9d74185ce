#pragma once

// The bytes the engine takes for a decryption key. The play window and the
// thumbnail thread both hand keys to the engine; a key with characters beyond
// ASCII must reach it as the same bytes from both, or a file that plays would
// show no thumbnail (or the other way round). The program's 8-bit form is
// GB18030 everywhere, so that is the form used here.

#include <QString>

#include <algorithm>
#include <cstring>

#include "CPlayHelper.h"

// Length of a key as the engine takes it: 128 bits.
const int kSecretKeyBytes = 16;

// The key's GB18030 bytes, zero padded or cut to 16. False when the text does
// not convert (szKey is then all zero).
inline bool SecretKeyToBytes(const QString& strKey, char (&szKey)[kSecretKeyBytes]) {
    std::memset(szKey, 0, sizeof(szKey));
    // Four bytes per character is the most GB18030 needs; a longer key is cut
    // at 16 bytes all the same.
    char szNarrow[kSecretKeyBytes * 4 + 1] = {};
    const QString strHead = strKey.left(kSecretKeyBytes);
    if (!CPlayHelper::UnicodeToAscii(strHead, szNarrow, int(sizeof(szNarrow))))
        return false;
    std::memcpy(szKey, szNarrow, std::min<size_t>(std::strlen(szNarrow), sizeof(szKey)));
    return true;
}
