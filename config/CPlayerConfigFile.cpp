#include "CPlayerConfigFile.h"
#include "XmlNesting.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTemporaryFile>
#include <QTextCodec>

#include <tinyxml.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

// Element names of the file. They are part of the format: files written by earlier
// versions use the same ones, including the misspelt "SartHardDecodeEngine".
const char* const kRoot = "Config";
const char* const kPlayerSetting = "PlayerSetting";
const char* const kCommon = "Common";
const char* const kHotKeys = "HotKeys";
const char* const kCapPic = "CapPic";
const char* const kCapPicFolder = "CapPicFolder";
const char* const kMainWnd = "MainWnd";
const char* const kPlaylistFiles = "PlaylistFiles";
const char* const kURLRecords = "URLRecords";
const char* const kURL = "URL";
const char* const kFileCutToolConfig = "FileCutToolConfig";
const char* const kSrcDir = "SrcDir";
const char* const kDstDir = "DstDir";
const char* const kItem = "Item";

// Limits past which a file is taken for damaged rather than parsed. The player
// writes four levels of elements and about 500 bytes per playlist entry; a
// file past these was not written by it, and TinyXML, which recurses once per
// level, would overflow the stack on a file nested deep enough.
const qint64 kMaxFileBytes = 4 * 1024 * 1024;
const int kMaxNesting = 64;

// The open URL dialog keeps this many; a file edited by hand may hold more.
const int kMaxURLRecords = 30;

// A stored geometry past these is no window the player made; screens of today
// are far below them, and Qt's own widget size limit is not much above.
const int kMaxGeometry = 100000;

// The file holds stream addresses with their passwords and the keys of
// encrypted files: only its owner may read it, and only the owner may enter the
// folder the player makes for it.
const QFileDevice::Permissions kFilePermissions = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
const QFileDevice::Permissions kDirPermissions =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;

struct IntField {
    const char* pName;
    int PlayerConfig::*pField;
};
struct BoolField {
    const char* pName;
    bool PlayerConfig::*pField;
};
struct HotKeyField {
    const char* pName;
    int HotKeysCfg::*pField;
};

// Each table is in the order the writer puts the elements; the reader takes any order.
const IntField kCommonInts[] = {{"Language", &PlayerConfig::nLanguage},
                                {"Skin", &PlayerConfig::nSkin},
                                {"PlayLocateMode", &PlayerConfig::nPlayLocateMode}};
const BoolField kCommonBools[] = {{"ExitKeepPlaylistFiles", &PlayerConfig::bExitKeepPlaylistFiles},
                                  {"SartHardDecodeEngine", &PlayerConfig::bStartHardDecodeEngine},
                                  {"KeepPlayProgress", &PlayerConfig::bKeepPlayProgress},
                                  {"AutoAddSimilarFileName", &PlayerConfig::bAutoAddSimilarFileName},
                                  {"ReconnectLostStreams", &PlayerConfig::bReconnectLostStreams}};
const IntField kCapPicInts[] = {{"CapPicSaveType", &PlayerConfig::nCapPicSaveType},
                                {"ConCapPicMode", &PlayerConfig::nConCapPicMode},
                                {"ConCapPicGap", &PlayerConfig::nConCapPicGap},
                                {"MaxConCapPicNum", &PlayerConfig::nMaxConCapPicNum}};
// The file has FisheyeExpansion after VolumeDown and RepeatAB before Exit, unlike
// the order of the fields; existing files keep that order.
const HotKeyField kHotKeyFields[] = {{"OpenFiles", &HotKeysCfg::nOpenFiles},
                                     {"OpenFolder", &HotKeysCfg::nOpenFolder},
                                     {"OpenURL", &HotKeysCfg::nOpenURL},
                                     {"PlayOrPause", &HotKeysCfg::nPlayOrPause},
                                     {"Stop", &HotKeysCfg::nStop},
                                     {"FrameForward", &HotKeysCfg::nFrameForward},
                                     {"FrameBackward", &HotKeysCfg::nFrameBackward},
                                     {"Fast", &HotKeysCfg::nFast},
                                     {"Slow", &HotKeysCfg::nSlow},
                                     {"RestoreSpeed", &HotKeysCfg::nRestoreSpeed},
                                     {"VolumeUp", &HotKeysCfg::nVolumeUp},
                                     {"VolumeDown", &HotKeysCfg::nVolumeDown},
                                     {"FisheyeExpansion", &HotKeysCfg::nFisheyeExpansion},
                                     {"GotoBegin", &HotKeysCfg::nGotoBegin},
                                     {"GotoEnd", &HotKeysCfg::nGotoEnd},
                                     {"CapPic", &HotKeysCfg::nCapPic},
                                     {"FullScreen", &HotKeysCfg::nFullScreen},
                                     {"RepeatAB", &HotKeysCfg::nRepeatAB},
                                     {"Exit", &HotKeysCfg::nExit}};

template <class T, size_t N> const T* FindField(const T (&table)[N], const char* pName) {
    for (const T& field : table)
        if (std::strcmp(field.pName, pName) == 0)
            return &field;
    return nullptr;
}

QTextCodec* Gb18030() {
    static QTextCodec* s_pCodec = QTextCodec::codecForName("GB18030");
    return s_pCodec;
}

// An element without text reads as 0 or as an empty string.
const char* TextOf(const TiXmlElement* pElem) {
    const char* pText = pElem->GetText();
    return pText ? pText : "";
}

// Decimal with atoi's leniency (blanks, sign, numeric prefix, else 0); strtol
// because atoi is undefined on overflow.
int IntOf(const TiXmlElement* pElem) {
    return int(std::strtol(TextOf(pElem), nullptr, 10));
}

// The whole text as a decimal in int's range, or false: for the values this
// program adds, where a word read as 0 would be taken for a real value.
bool StrictIntOf(const TiXmlElement* pElem, int* pnValue) {
    const char* pText = TextOf(pElem);
    char* pEnd = nullptr;
    errno = 0;
    const long nValue = std::strtol(pText, &pEnd, 10);
    while (pEnd && (*pEnd == ' ' || *pEnd == '\t' || *pEnd == '\n' || *pEnd == '\r'))
        ++pEnd;
    if (pEnd == pText || !pEnd || *pEnd != '\0' || errno == ERANGE || nValue < INT_MIN || nValue > INT_MAX)
        return false;
    *pnValue = int(nValue);
    return true;
}

QString StringOf(const TiXmlElement* pElem) {
    return Gb18030()->toUnicode(TextOf(pElem));
}

bool IsNamed(const TiXmlElement* pElem, const char* pName) {
    return std::strcmp(pElem->Value(), pName) == 0;
}

// TinyXML folds and trims blanks in text by default, which would change a path
// like "D:/a  b". The switch is global to the library, so it is only flipped around
// our own parse (both happen on the GUI thread).
class KeepTextBlanks {
public:
    KeepTextBlanks() : m_bOld(TiXmlBase::IsWhiteSpaceCondensed()) { TiXmlBase::SetCondenseWhiteSpace(false); }
    ~KeepTextBlanks() { TiXmlBase::SetCondenseWhiteSpace(m_bOld); }

private:
    bool m_bOld;
};

// The main dialog's state as it was left. Each value is checked on its own: a
// value out of range leaves the record's (the default at start), never the file
// refused. The geometry counts only whole: four numbers, a size above zero.
void ReadMainWnd(const TiXmlElement* pGroup, PlayerConfig* pConfig) {
    int nGeometry[4] = {0, 0, 0, 0}; // X, Y, Width, Height
    int nGeometryFound = 0;
    static const char* const kGeometryNames[4] = {"X", "Y", "Width", "Height"};
    for (const TiXmlElement* pElem = pGroup->FirstChildElement(); pElem;
         pElem = pElem->NextSiblingElement()) {
        int nValue = 0;
        if (!StrictIntOf(pElem, &nValue))
            continue;
        if (IsNamed(pElem, "PlayWndNum")) {
            if (nValue == 1 || nValue == 4 || nValue == 9 || nValue == 16)
                pConfig->nPlayWndNum = nValue;
        } else if (IsNamed(pElem, "Volume")) {
            if (nValue >= 0 && nValue <= 200)
                pConfig->nVolume = nValue;
        } else if (IsNamed(pElem, "Mute")) {
            pConfig->bMute = nValue != 0;
        } else if (IsNamed(pElem, "Maximized")) {
            pConfig->bMaximized = nValue != 0;
        } else {
            for (int i = 0; i < 4; ++i) {
                if (IsNamed(pElem, kGeometryNames[i])) {
                    nGeometry[i] = nValue;
                    nGeometryFound |= 1 << i;
                }
            }
        }
    }
    const bool bWhole = nGeometryFound == 0xF;
    // Compared without std::abs, which overflows on the most negative int.
    auto inRange = [](int nValue, int nMin) { return nValue >= nMin && nValue <= kMaxGeometry; };
    const bool bInRange = inRange(nGeometry[0], -kMaxGeometry) && inRange(nGeometry[1], -kMaxGeometry) &&
                          inRange(nGeometry[2], 1) && inRange(nGeometry[3], 1);
    if (bWhole && bInRange)
        pConfig->rcMainDlg = QRect(nGeometry[0], nGeometry[1], nGeometry[2], nGeometry[3]);
}

void ReadPlayerSetting(const TiXmlElement* pSetting, PlayerConfig* pConfig) {
    for (const TiXmlElement* pGroup = pSetting->FirstChildElement(); pGroup;
         pGroup = pGroup->NextSiblingElement()) {
        const bool bCommon = IsNamed(pGroup, kCommon);
        const bool bHotKeys = IsNamed(pGroup, kHotKeys);
        const bool bCapPic = IsNamed(pGroup, kCapPic);
        if (IsNamed(pGroup, kMainWnd)) {
            ReadMainWnd(pGroup, pConfig);
            continue;
        }
        for (const TiXmlElement* pElem = pGroup->FirstChildElement(); pElem;
             pElem = pElem->NextSiblingElement()) {
            const char* pName = pElem->Value();
            if (bCommon) {
                if (const IntField* pInt = FindField(kCommonInts, pName))
                    pConfig->*(pInt->pField) = IntOf(pElem);
                else if (const BoolField* pBool = FindField(kCommonBools, pName))
                    pConfig->*(pBool->pField) = IntOf(pElem) != 0;
            } else if (bHotKeys) {
                if (const HotKeyField* pKey = FindField(kHotKeyFields, pName))
                    pConfig->stHotKeys.*(pKey->pField) = IntOf(pElem);
            } else if (bCapPic) {
                if (IsNamed(pElem, kCapPicFolder))
                    pConfig->strCapPicFolder = StringOf(pElem);
                else if (const IntField* pInt = FindField(kCapPicInts, pName))
                    pConfig->*(pInt->pField) = IntOf(pElem);
            }
        }
    }
}

void ReadPlaylistFiles(const TiXmlElement* pList, PlayerConfig* pConfig) {
    for (const TiXmlElement* pItem = pList->FirstChildElement(); pItem; pItem = pItem->NextSiblingElement()) {
        PlaylistFileCfg stEntry;
        if (IsNamed(pItem, kItem)) {
            for (const TiXmlElement* pElem = pItem->FirstChildElement(); pElem;
                 pElem = pElem->NextSiblingElement()) {
                if (IsNamed(pElem, "MediaType"))
                    stEntry.nMediaType = IntOf(pElem);
                else if (IsNamed(pElem, "FilePath"))
                    stEntry.strFilePath = StringOf(pElem);
                else if (IsNamed(pElem, "IsEncrypt"))
                    stEntry.bIsEncrypt = IntOf(pElem) != 0;
                else if (IsNamed(pElem, "DecryptKey"))
                    stEntry.strDecryptKey = StringOf(pElem);
                else if (IsNamed(pElem, "TransmitMode"))
                    stEntry.nTransmitMode = IntOf(pElem);
                else if (IsNamed(pElem, "Port"))
                    stEntry.nPort = IntOf(pElem);
                else if (IsNamed(pElem, "FilePlayProgress"))
                    stEntry.nFilePlayProgress = IntOf(pElem);
            }
        }
        // An entry without a path cannot be opened: it is dropped.
        if (!stEntry.strFilePath.isEmpty())
            pConfig->lstPlaylistFiles.append(stEntry);
    }
}

void ReadURLRecords(const TiXmlElement* pList, PlayerConfig* pConfig) {
    for (const TiXmlElement* pItem = pList->FirstChildElement(); pItem; pItem = pItem->NextSiblingElement()) {
        QString strURL;
        if (IsNamed(pItem, kItem))
            if (const TiXmlElement* pElem = pItem->FirstChildElement(kURL))
                strURL = StringOf(pElem);
        if (!strURL.isEmpty() && pConfig->lstURLRecords.size() < kMaxURLRecords)
            pConfig->lstURLRecords.append(strURL);
    }
}

void ReadFileCutToolConfig(const TiXmlElement* pTool, PlayerConfig* pConfig) {
    const TiXmlElement* pItem = pTool->FirstChildElement(); // only the first one counts
    if (!pItem || !IsNamed(pItem, kItem))
        return;
    if (const TiXmlElement* pElem = pItem->FirstChildElement(kSrcDir))
        pConfig->stFileCutToolConfig.strSrcDir = StringOf(pElem);
    if (const TiXmlElement* pElem = pItem->FirstChildElement(kDstDir))
        pConfig->stFileCutToolConfig.strDstDir = StringOf(pElem);
}

// A value element: the name with one text child. Null for an empty name.
TiXmlElement* AddValue(TiXmlElement* pParent, const char* pName, const QByteArray& baText) {
    if (!pName || !*pName)
        return nullptr;
    TiXmlElement* pElem = new TiXmlElement(pName);
    pElem->LinkEndChild(new TiXmlText(baText.constData()));
    pParent->LinkEndChild(pElem);
    return pElem;
}

TiXmlElement* AddValue(TiXmlElement* pParent, const char* pName, int nValue) {
    return AddValue(pParent, pName, QByteArray::number(nValue));
}

TiXmlElement* AddValue(TiXmlElement* pParent, const char* pName, const QString& strValue) {
    return AddValue(pParent, pName, Gb18030()->fromUnicode(strValue));
}

TiXmlElement* AddGroup(TiXmlNode* pParent, const char* pName) {
    TiXmlElement* pElem = new TiXmlElement(pName);
    pParent->LinkEndChild(pElem);
    return pElem;
}

void WritePlayerSetting(TiXmlElement* pRoot, const PlayerConfig& cfg) {
    TiXmlElement* pSetting = AddGroup(pRoot, kPlayerSetting);
    TiXmlElement* pCommon = AddGroup(pSetting, kCommon);
    for (const IntField& field : kCommonInts)
        AddValue(pCommon, field.pName, cfg.*(field.pField));
    for (const BoolField& field : kCommonBools)
        AddValue(pCommon, field.pName, cfg.*(field.pField) ? 1 : 0);
    TiXmlElement* pHotKeys = AddGroup(pSetting, kHotKeys);
    for (const HotKeyField& field : kHotKeyFields)
        AddValue(pHotKeys, field.pName, cfg.stHotKeys.*(field.pField));
    TiXmlElement* pCapPic = AddGroup(pSetting, kCapPic);
    AddValue(pCapPic, kCapPicFolder, cfg.strCapPicFolder);
    for (const IntField& field : kCapPicInts)
        AddValue(pCapPic, field.pName, cfg.*(field.pField));
    // A null geometry is written as zeros, which read back as none.
    TiXmlElement* pMainWnd = AddGroup(pSetting, kMainWnd);
    AddValue(pMainWnd, "PlayWndNum", cfg.nPlayWndNum);
    AddValue(pMainWnd, "Volume", cfg.nVolume);
    AddValue(pMainWnd, "Mute", cfg.bMute ? 1 : 0);
    const QRect rc = cfg.rcMainDlg.isValid() ? cfg.rcMainDlg : QRect(0, 0, 0, 0);
    AddValue(pMainWnd, "X", rc.x());
    AddValue(pMainWnd, "Y", rc.y());
    AddValue(pMainWnd, "Width", rc.width());
    AddValue(pMainWnd, "Height", rc.height());
    AddValue(pMainWnd, "Maximized", cfg.bMaximized ? 1 : 0);
}

void WriteLists(TiXmlElement* pRoot, const PlayerConfig& cfg, const FileCutToolCfg& stTool) {
    TiXmlElement* pList = AddGroup(pRoot, kPlaylistFiles);
    for (const PlaylistFileCfg& stEntry : cfg.lstPlaylistFiles) {
        TiXmlElement* pItem = AddGroup(pList, kItem);
        AddValue(pItem, "MediaType", stEntry.nMediaType);
        AddValue(pItem, "FilePath", stEntry.strFilePath);
        AddValue(pItem, "IsEncrypt", stEntry.bIsEncrypt ? 1 : 0);
        AddValue(pItem, "DecryptKey", stEntry.strDecryptKey);
        AddValue(pItem, "TransmitMode", stEntry.nTransmitMode);
        AddValue(pItem, "Port", stEntry.nPort);
        AddValue(pItem, "FilePlayProgress", stEntry.nFilePlayProgress);
    }
    TiXmlElement* pURLs = AddGroup(pRoot, kURLRecords);
    for (const QString& strURL : cfg.lstURLRecords)
        AddValue(AddGroup(pURLs, kItem), kURL, strURL);
    TiXmlElement* pToolItem = AddGroup(AddGroup(pRoot, kFileCutToolConfig), kItem);
    AddValue(pToolItem, kSrcDir, stTool.strSrcDir);
    AddValue(pToolItem, kDstDir, stTool.strDstDir);
}

} // namespace

bool CPlayerConfigFile::ReadPlayerConfig(const QString& strPath, PlayerConfig* pConfig) {
    return ReadFile(strPath, pConfig, true);
}

bool CPlayerConfigFile::ReadFile(const QString& strPath, PlayerConfig* pConfig, bool bKeepDamaged) {
    if (strPath.isEmpty() || !pConfig || !Gb18030())
        return false;
    QFile file(strPath);
    if (!file.exists())
        return false; // a first start: nothing to say
    if (!file.open(QIODevice::ReadOnly)) {
        qDebug() << "CPlayerConfigFile::ReadPlayerConfig Fail" << strPath << file.errorString();
        return false; // unreadable is not damaged: the file stays where it is
    }
    // Too large is damaged too, found before anything is read into memory.
    const bool bTooLarge = file.size() > kMaxFileBytes;
    const QByteArray baData = bTooLarge ? QByteArray() : file.read(kMaxFileBytes + 1);
    file.close();
    QString strWhy;
    if (bTooLarge) {
        strWhy = QStringLiteral("larger than %1 bytes").arg(kMaxFileBytes);
    } else if (ReadConfigData(baData, pConfig, &strWhy)) {
        return true;
    }
    qDebug() << "CPlayerConfigFile::ReadPlayerConfig Fail" << strPath << strWhy;
    if (bKeepDamaged)
        KeepDamagedFile(strPath);
    return false;
}

bool CPlayerConfigFile::ReadConfigData(QByteArray baData, PlayerConfig* pConfig, QString* pstrWhy) {
    QString strIgnored;
    QString& strWhy = pstrWhy ? *pstrWhy : strIgnored;
    if (!pConfig || !Gb18030()) {
        strWhy = QStringLiteral("no record or no Gb18030 codec");
        return false;
    }
    if (baData.size() > kMaxFileBytes) {
        strWhy = QStringLiteral("larger than %1 bytes").arg(kMaxFileBytes);
        return false;
    }
    // A file saved by a Windows editor may start with a UTF-8 byte order mark, which
    // the byte-wise parse below would not skip.
    if (baData.startsWith("\xEF\xBB\xBF"))
        baData.remove(0, 3);
    if (XmlNesting::Deepest(baData.constData(), kMaxNesting) > kMaxNesting) {
        strWhy = QStringLiteral("elements nested deeper than %1").arg(kMaxNesting);
        return false;
    }

    // The text is Gb18030 whatever the declaration says. TinyXML's UTF-8 mode would
    // take a Gb18030 byte such as the E0 ending "监" for the start of a three-byte
    // sequence and swallow the '<' after it; the legacy mode takes bytes one by one,
    // and no byte of a Gb18030 character can be '<' or '&'.
    TiXmlDocument doc;
    {
        KeepTextBlanks keep;
        doc.Parse(baData.constData(), nullptr, TIXML_ENCODING_LEGACY);
    }
    const TiXmlElement* pRoot = doc.Error() ? nullptr : doc.RootElement();
    if (!pRoot) {
        strWhy = QStringLiteral("%1 row %2").arg(QString::fromLatin1(doc.ErrorDesc())).arg(doc.ErrorRow());
        return false;
    }

    // The root's name is not checked: a file with another root is read all the same
    // and gets "Config" at the next write.
    for (const TiXmlElement* pSection = pRoot->FirstChildElement(); pSection;
         pSection = pSection->NextSiblingElement()) {
        if (IsNamed(pSection, kPlayerSetting))
            ReadPlayerSetting(pSection, pConfig);
        else if (IsNamed(pSection, kPlaylistFiles))
            ReadPlaylistFiles(pSection, pConfig);
        else if (IsNamed(pSection, kURLRecords))
            ReadURLRecords(pSection, pConfig);
        else if (IsNamed(pSection, kFileCutToolConfig))
            ReadFileCutToolConfig(pSection, pConfig);
    }
    return true;
}

bool CPlayerConfigFile::WritePlayerConfig(const QString& strPath, PlayerConfig* pConfig) {
    if (strPath.isEmpty() || !pConfig || !Gb18030())
        return false;
    // The clip tool is a separate program that shares this file; the player never
    // changes its folders, so they are carried over from the file on disk.
    PlayerConfig stOnDisk;
    ReadFile(strPath, &stOnDisk, false);

    TiXmlDocument doc;
    doc.LinkEndChild(new TiXmlDeclaration("1.0", "UTF-8", ""));
    TiXmlElement* pRoot = AddGroup(&doc, kRoot);
    WritePlayerSetting(pRoot, *pConfig);
    WriteLists(pRoot, *pConfig, stOnDisk.stFileCutToolConfig);

    TiXmlPrinter printer;
    printer.SetIndent("    ");
    if (!doc.Accept(&printer))
        return false;

    // Written to a temporary file in the same folder, flushed to disk and renamed over
    // the old one: a crash or a full disk leaves either the old file or the new one.
    QSaveFile file(strPath);
    if (!file.open(QIODevice::WriteOnly)) {
        qDebug() << "CPlayerConfigFile::WritePlayerConfig Fail" << strPath << file.errorString();
        return false;
    }
    // Set on the temporary file before it replaces the old one: QSaveFile copies
    // the old file's permissions, which may be wider (a file from an earlier
    // version), and a new file would take the umask's.
    // A file system without owner permissions (a FAT stick) refuses this; the
    // settings are written all the same.
    if (!file.setPermissions(kFilePermissions))
        qDebug() << "CPlayerConfigFile::WritePlayerConfig Fail: permissions" << strPath << file.errorString();
    const qint64 nSize = qint64(printer.Size());
    if (file.write(printer.CStr(), nSize) != nSize || !file.commit()) {
        qDebug() << "CPlayerConfigFile::WritePlayerConfig Fail" << strPath << file.errorString();
        return false;
    }
    return true;
}

bool CPlayerConfigFile::KeepDamagedFile(const QString& strPath) {
    if (strPath.isEmpty() || !QFile::exists(strPath))
        return false;
    // Only the latest damaged file is kept: QFile::rename does not replace.
    const QString strBad = strPath + QStringLiteral(".bad");
    if (QFile::exists(strBad) && !QFile::remove(strBad)) {
        qDebug() << "CPlayerConfigFile::KeepDamagedFile Fail: cannot remove" << strBad;
        return false;
    }
    if (!QFile::rename(strPath, strBad)) {
        qDebug() << "CPlayerConfigFile::KeepDamagedFile Fail: cannot rename" << strPath;
        return false;
    }
    qDebug() << "CPlayerConfigFile: damaged configuration kept as" << strBad;
    return true;
}

QString CPlayerConfigFile::ChooseConfigDir(const QString& strAppDir) {
    // Creating a file is the only sure test: permission bits say nothing about a
    // read-only mount, ACLs or a folder virtualised by the system.
    if (!strAppDir.isEmpty()) {
        QTemporaryFile probe(strAppDir + QStringLiteral("/.velquin-probe-XXXXXX")); // removed at scope end
        if (probe.open())
            return strAppDir;
    }
    const QString strDir = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    if (strDir.isEmpty())
        return strAppDir; // no home folder: the write will fail and say so
    if (QFileInfo::exists(strDir))
        return strDir;
    if (!QDir().mkpath(strDir) || !QFile::setPermissions(strDir, kDirPermissions))
        qDebug() << "CPlayerConfigFile::ChooseConfigDir Fail: cannot create" << strDir;
    return strDir;
}

void CPlayerConfigFile::SetDefaults(PlayerConfig* pConfig, const QString& strAppDir) {
    if (!pConfig)
        return;
    *pConfig = PlayerConfig(); // the record's initialisers are the defaults of a first start
    pConfig->strCapPicFolder = QDir::toNativeSeparators(strAppDir + QStringLiteral("/Screenshot/"));
}
