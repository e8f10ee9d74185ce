#include "GlobalCfgHelper.h"

#include <QDebug>
#include <QFile>
#include <QSaveFile>

#include <tinyxml.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace {

const char* const kRoot = "GlobalConfig";
const char* const kLanguage = "Language";
const char* const kSkin = "Skin";
const char* const kLanguageList = "LanguageList";
const char* const kItem = "Item";

// A whole decimal 32-bit number, nothing else (blanks around allowed).
bool ParseInt(const char* pText, int32_t* pnValue) {
    if (!pText)
        return false;
    errno = 0;
    char* pEnd = nullptr;
    const long n = std::strtol(pText, &pEnd, 10);
    if (pEnd == pText || errno == ERANGE || n < INT_MIN || n > INT_MAX)
        return false;
    while (*pEnd == ' ' || *pEnd == '\t' || *pEnd == '\r' || *pEnd == '\n')
        ++pEnd;
    if (*pEnd != '\0')
        return false;
    *pnValue = int32_t(n);
    return true;
}

bool ReadIntElement(const TiXmlElement* pRoot, const char* pName, int32_t* pnValue, bool* pbBad) {
    const TiXmlElement* pElem = pRoot->FirstChildElement(pName);
    if (!pElem)
        return false;
    if (!ParseInt(pElem->GetText(), pnValue)) {
        *pbBad = true;
        return false;
    }
    return true;
}

bool ReadLanguageList(const TiXmlElement* pList, std::vector<GlobalLanguageInfo>* pVec) {
    for (const TiXmlElement* pItem = pList->FirstChildElement(kItem); pItem;
         pItem = pItem->NextSiblingElement(kItem)) {
        GlobalLanguageInfo info;
        if (!ParseInt(pItem->Attribute("type"), &info.nLanguageId))
            return false;
        const char* pName = pItem->Attribute("name");
        info.strLanguageName = QString::fromUtf8(pName ? pName : "");
        pVec->push_back(info);
    }
    return true;
}

void AddTextElement(TiXmlElement* pParent, const char* pName, int32_t nValue) {
    TiXmlElement* pElem = new TiXmlElement(pName);
    pElem->LinkEndChild(new TiXmlText(QByteArray::number(nValue).constData()));
    pParent->LinkEndChild(pElem);
}

} // namespace

bool GlobalCfgHelper::ReadConfigFile(const QString& strPath, AllGlobalConfig* pCfg) {
    if (!pCfg)
        return false;
    QFile file(strPath);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray baData = file.readAll();
    file.close();

    TiXmlDocument doc;
    doc.Parse(baData.constData(), nullptr, TIXML_ENCODING_UTF8);
    if (doc.Error()) {
        qDebug() << "GlobalCfgHelper::ReadConfigFile Fail" << strPath << doc.ErrorDesc() << doc.ErrorRow();
        return false;
    }
    const TiXmlElement* pRoot = doc.RootElement();
    if (!pRoot || pRoot->ValueStr() != kRoot) {
        qDebug() << "GlobalCfgHelper::ReadConfigFile Fail: not a global configuration" << strPath;
        return false;
    }

    // Everything is read into a copy first: a bad value leaves the record untouched.
    AllGlobalConfig cfg = *pCfg;
    bool bBad = false;
    int32_t nValue = 0;
    if (ReadIntElement(pRoot, kLanguage, &nValue, &bBad))
        cfg.nLanguage = nValue;
    if (ReadIntElement(pRoot, kSkin, &nValue, &bBad))
        cfg.nSkinIndex = nValue;
    if (const TiXmlElement* pList = pRoot->FirstChildElement(kLanguageList)) {
        std::vector<GlobalLanguageInfo> vecLanguages;
        if (!ReadLanguageList(pList, &vecLanguages))
            bBad = true;
        cfg.vecLanguages.swap(vecLanguages);
    }
    if (bBad) {
        qDebug() << "GlobalCfgHelper::ReadConfigFile Fail: bad value in" << strPath;
        return false;
    }
    *pCfg = cfg;
    return true;
}

bool GlobalCfgHelper::WriteConfigFile(const QString& strPath, AllGlobalConfig* pCfg) {
    if (!pCfg || strPath.isEmpty())
        return false;
    TiXmlDocument doc;
    doc.LinkEndChild(new TiXmlDeclaration("1.0", "UTF-8", ""));
    TiXmlElement* pRoot = new TiXmlElement(kRoot);
    doc.LinkEndChild(pRoot);
    AddTextElement(pRoot, kLanguage, pCfg->nLanguage);
    AddTextElement(pRoot, kSkin, pCfg->nSkinIndex);
    if (!pCfg->vecLanguages.empty()) {
        TiXmlElement* pList = new TiXmlElement(kLanguageList);
        for (const GlobalLanguageInfo& info : pCfg->vecLanguages) {
            TiXmlElement* pItem = new TiXmlElement(kItem);
            pItem->SetAttribute("type", info.nLanguageId);
            pItem->SetAttribute("name", info.strLanguageName.toUtf8().constData());
            pList->LinkEndChild(pItem);
        }
        pRoot->LinkEndChild(pList);
    }

    TiXmlPrinter printer;
    printer.SetIndent("    ");
    doc.Accept(&printer);

    // Written aside and renamed, so that a failed write keeps the old file.
    QSaveFile file(strPath);
    if (!file.open(QIODevice::WriteOnly)) {
        qDebug() << "GlobalCfgHelper::WriteConfigFile Fail" << strPath << file.errorString();
        return false;
    }
    const qint64 nSize = qint64(printer.Size());
    if (file.write(printer.CStr(), nSize) != nSize || !file.commit()) {
        qDebug() << "GlobalCfgHelper::WriteConfigFile Fail" << strPath << file.errorString();
        return false;
    }
    return true;
}
