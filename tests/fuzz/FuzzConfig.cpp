// Fuzz target: the bytes of a PlayerConfig.xml read by the configuration store
// (CPlayerConfigFile::ReadConfigData). Besides crashes and sanitizer reports it
// checks two properties:
//  - the nesting scan that guards TinyXML's recursion never answers less than
//    the depth of the tree TinyXML builds (walked here without recursion);
//  - a record read from the bytes, written and read again, comes back the same.
// Built for libFuzzer with clang, and with g++ into the replay program that
// CTest runs on the regression corpus.
#include "CPlayerConfigFile.h"
#include "ConfigSamples.h"
#include "XmlNesting.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <tinyxml.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

namespace {

const int kNestingLimit = 64; // what the store allows

[[noreturn]] void Broken(const char* szWhat, const QString& strDetail = QString()) {
    std::fprintf(stderr, "FuzzConfig: %s %s\n", szWhat, qPrintable(strDetail));
    std::abort();
}

int TreeDepth(const TiXmlDocument& doc) {
    int nDeepest = 0;
    std::vector<std::pair<const TiXmlNode*, int>> stack{{&doc, 0}};
    while (!stack.empty()) {
        const auto [pNode, nDepth] = stack.back();
        stack.pop_back();
        nDeepest = std::max(nDeepest, nDepth);
        for (const TiXmlNode* pChild = pNode->FirstChild(); pChild; pChild = pChild->NextSibling())
            stack.emplace_back(pChild, nDepth + 1);
    }
    return nDeepest;
}

// The scan against TinyXML itself, on texts shallow enough to parse safely.
void CheckNestingScan(const QByteArray& baData) {
    const int nScanned = XmlNesting::Deepest(baData.constData(), kNestingLimit);
    if (nScanned > kNestingLimit)
        return;
    TiXmlDocument doc;
    doc.Parse(baData.constData(), nullptr, TIXML_ENCODING_LEGACY);
    // Text nodes hang one level below their element, which the scan does not count.
    const int nTree = TreeDepth(doc);
    if (nTree > nScanned + 1)
        Broken("the nesting scan answered less than TinyXML's tree",
               QStringLiteral("%1 < %2").arg(nScanned).arg(nTree));
}

QString Scratch() {
    static QTemporaryDir s_dir;
    return s_dir.filePath(QStringLiteral("PlayerConfig.xml"));
}

void CheckRoundTrip(const QByteArray& baData) {
    PlayerConfig cfgRead;
    if (!CPlayerConfigFile::ReadConfigData(baData, &cfgRead))
        return;
    const QString strPath = Scratch();
    QFile::remove(strPath); // the writer takes the clip tool folders from the file on disk
    CPlayerConfigFile store;
    if (!store.WritePlayerConfig(strPath, &cfgRead))
        Broken("a record read from bytes cannot be written");
    PlayerConfig cfgAgain;
    if (!store.ReadPlayerConfig(strPath, &cfgAgain))
        Broken("the file written from a record does not read back");
    const QString strDiff = ConfigSamples::FirstDifference(cfgRead, cfgAgain);
    if (!strDiff.isEmpty())
        Broken("a field changed on its way through write and read:", strDiff);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    const QByteArray baData(reinterpret_cast<const char*>(pData), static_cast<qsizetype>(nSize));
    CheckNestingScan(baData);
    CheckRoundTrip(baData);
    return 0;
}
