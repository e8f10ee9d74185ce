#pragma once

#include "PlayerConfig.h"

#include <QString>

// Reader and writer of PlayerConfig.xml, the one file that holds what the player
// remembers between two runs. No state of its own: the main dialog keeps the record
// and calls the two operations at start and at exit.
//
// The text of paths, URLs and keys is stored as Gb18030 bytes whatever the XML
// declaration says; numbers are decimal, bools 0 or 1.
class CPlayerConfigFile {
public:
    // Fills in what the file holds and leaves every other field of the record as it
    // was. False when the path is empty, the record is null, or the file is missing,
    // unreadable or damaged; a damaged file is first kept aside (KeepDamagedFile),
    // so the record is never half filled from it.
    bool ReadPlayerConfig(const QString& strPath, PlayerConfig* pConfig);
    // Writes the whole file from the record. The clip tool folders are taken from
    // the file on disk, not from the record: the player never changes them. The new
    // file replaces the old one only once it is completely on disk.
    bool WritePlayerConfig(const QString& strPath, PlayerConfig* pConfig);

    // The reading of a file's bytes: fills in what they hold, as ReadPlayerConfig
    // does. False when they are damaged: not XML, larger than a few MB or nested
    // deeper than any file the player writes; *pstrWhy then says why. Touches no file.
    static bool ReadConfigData(QByteArray baData, PlayerConfig* pConfig, QString* pstrWhy = nullptr);

    // Moves a file that exists but cannot be parsed to strPath + ".bad", replacing
    // an older one, so that the next write does not destroy what the user may still
    // want to recover. False when nothing could be moved.
    static bool KeepDamagedFile(const QString& strPath);
    // The folder for the configuration files: the program's own folder when files can
    // be created in it, else the user's configuration folder (created if missing).
    static QString ChooseConfigDir(const QString& strAppDir);
    // The record of a first start: the defaults of every field, the capture folder
    // "Screenshot" in the program's folder. The language list is cleared.
    static void SetDefaults(PlayerConfig* pConfig, const QString& strAppDir);

private:
    // bKeepDamaged: set a damaged file aside. The write's own look at the file on
    // disk does not, or it would replace the copy kept at start.
    bool ReadFile(const QString& strPath, PlayerConfig* pConfig, bool bKeepDamaged);
};
