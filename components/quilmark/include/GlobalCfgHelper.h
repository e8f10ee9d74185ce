#pragma once

#include "AllGlobalConfig.h"

#include <QString>

// Reader and writer of the global configuration files beside the program:
// "GlobalConfig.xml" (language type and skin index) and "GlobalLanguageConfig.xml"
// (the list of languages). Both share one format; every element is optional:
//
//   <?xml version="1.0" encoding="UTF-8" ?>
//   <GlobalConfig>
//     <Language>1</Language>
//     <Skin>0</Skin>
//     <LanguageList>
//       <Item type="1" name="English" />
//       <Item type="0" name="简体中文" />
//     </LanguageList>
//   </GlobalConfig>
class GlobalCfgHelper {
public:
    // Fills the fields the file holds and leaves the others as they are; a
    // <LanguageList> replaces vecLanguages. False when the file is missing, is not
    // well-formed, has another root, or holds a value that is not a number.
    static bool ReadConfigFile(const QString& strPath, AllGlobalConfig* pCfg);
    // Writes language, skin and, when not empty, the language list. False when the
    // file cannot be written.
    static bool WriteConfigFile(const QString& strPath, AllGlobalConfig* pCfg);
};
