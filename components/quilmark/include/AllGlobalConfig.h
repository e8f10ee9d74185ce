#pragma once

#include <QString>

#include <cstdint>
#include <vector>

// One selectable language: its type (the number given to
// CLanguageParser::LoadStringFile) and its name.
struct GlobalLanguageInfo {
    int32_t nLanguageId = 0;
    QString strLanguageName;
};

// What GlobalConfig.xml and GlobalLanguageConfig.xml hold (GlobalCfgHelper).
struct AllGlobalConfig {
    int32_t nLanguage = -1; // language type; -1 when not read
    int32_t nSkinIndex = 0;
    std::vector<GlobalLanguageInfo> vecLanguages;
};
