#pragma once

#include <QHash>
#include <QString>

// The strings of the user interface in the current language, looked up by
// language key (components/LanguageKeys.h).
//
// Language types: 0 Simplified Chinese, 1 English. The string files are compiled in
// as Qt resources ":/lang/zh_CN.xml" and ":/lang/en_US.xml":
//   <Strings language="1"><String key="IDS_Global_Information">Information</String>...</Strings>
// A file of the same name in the folder "lang" beside the program takes precedence,
// so that a translation can be changed without a rebuild.
//
// Every operation is static and acts on the one instance, so both
// CLanguageParser::CurrentLanguageType() and GetInstance()->CurrentLanguageType() work.
// GUI thread only; FindString may be called from any thread once the strings are loaded
// (it only reads).
class CLanguageParser {
public:
    // Made at first call; null only if it could not be made.
    static CLanguageParser* GetInstance();
    static void DeleteInstance();

    // Loads the string file of a language type. False (and no strings) for an
    // unknown type or an unreadable file; the type is remembered either way.
    static bool LoadStringFile(int nLanguage);

    // The type given to the last LoadStringFile; 1 (English) without an instance or
    // before any load.
    static int CurrentLanguageType();
    // "CN" for type 0, "EN" for anything else.
    static QString CurrentLanguageTypeStr();

    // strText receives the loaded string of strKey; without an instance, without a
    // loaded file or for a missing key it receives strDefault. True when the loaded
    // file had the key.
    static bool FindString(const QString& strKey, QString& strText, const QString& strDefault);

private:
    CLanguageParser() = default;
    ~CLanguageParser() = default;
    CLanguageParser(const CLanguageParser&) = delete;
    CLanguageParser& operator=(const CLanguageParser&) = delete;

    static CLanguageParser* s_pInstance;

    QHash<QString, QString> m_hashStrings;
    int m_nLanguage = 1;
};

// The text of szKey in the loaded language; szDefault (UTF-8) when the file
// has none.
QString LanguageText(const char* szKey, const char* szDefault);
