#include "XmlNesting.h"

#include <cctype>
#include <cstring>

// The scan reads markup the way TinyXML 2.6 does in its legacy encoding: the
// same kinds of node in the same order of recognition, the same ends of
// comments, CDATA sections, declarations and unknown nodes, and attribute
// values in quotes read up to the matching quote. Where TinyXML would report an
// error it stops parsing, so the scan stops there too: nothing after that point
// can nest deeper in TinyXML's tree.
namespace XmlNesting {
namespace {

bool IsBlank(unsigned char c) {
    return std::isspace(c) != 0 || c == '\n' || c == '\r';
}

// Bytes from 127 up count as letters in the legacy encoding.
bool IsNameStart(unsigned char c) {
    return c >= 127 || std::isalpha(c) != 0 || c == '_';
}

bool IsNameChar(unsigned char c) {
    return c >= 127 || std::isalnum(c) != 0 || c == '_' || c == '-' || c == '.' || c == ':';
}

const char* SkipBlanks(const char* p) {
    while (*p != '\0' && IsBlank(static_cast<unsigned char>(*p)))
        ++p;
    return p;
}

bool StartsWith(const char* p, const char* pPrefix) {
    return std::strncmp(p, pPrefix, std::strlen(pPrefix)) == 0;
}

bool StartsWithNoCase(const char* p, const char* pPrefix) {
    for (; *pPrefix != '\0'; ++p, ++pPrefix) {
        if (std::tolower(static_cast<unsigned char>(*p)) !=
            std::tolower(static_cast<unsigned char>(*pPrefix)))
            return false;
    }
    return true;
}

// Moves p past the next pEnd; false (TinyXML reads to the end of the text)
// when there is none.
bool SkipPast(const char*& p, const char* pEnd) {
    const char* pFound = std::strstr(p, pEnd);
    if (pFound == nullptr)
        return false;
    p = pFound + std::strlen(pEnd);
    return true;
}

// name = value, the value in quotes or, leniently, bare. False where TinyXML
// reports an error.
bool SkipAttribute(const char*& p) {
    p = SkipBlanks(p);
    if (!IsNameStart(static_cast<unsigned char>(*p)))
        return false;
    while (IsNameChar(static_cast<unsigned char>(*p)))
        ++p;
    p = SkipBlanks(p);
    if (*p != '=')
        return false;
    p = SkipBlanks(p + 1);
    if (*p == '\'' || *p == '"') {
        const char* pEnd = std::strchr(p + 1, *p);
        if (pEnd == nullptr)
            return false;
        p = pEnd + 1;
        return *p != '\0';
    }
    while (*p != '\0' && !IsBlank(static_cast<unsigned char>(*p)) && *p != '/' && *p != '>') {
        if (*p == '\'' || *p == '"')
            return false; // a quote inside a bare value
        ++p;
    }
    return *p != '\0';
}

// "<?xml ... >": version, encoding and standalone are read as attributes,
// anything else is stepped over word by word.
bool SkipDeclaration(const char*& p) {
    p += 5;
    while (*p != '\0') {
        if (*p == '>') {
            ++p;
            return true;
        }
        p = SkipBlanks(p);
        if (StartsWithNoCase(p, "version") || StartsWithNoCase(p, "encoding") ||
            StartsWithNoCase(p, "standalone")) {
            if (!SkipAttribute(p))
                return false;
        } else {
            while (*p != '\0' && *p != '>' && !IsBlank(static_cast<unsigned char>(*p)))
                ++p;
        }
    }
    return false;
}

// A start tag from its '<'; *pbOpens tells an element that holds content from
// an empty one ("/>"). False where TinyXML reports an error.
bool SkipStartTag(const char*& p, bool* pbOpens) {
    ++p;
    while (IsNameChar(static_cast<unsigned char>(*p)))
        ++p;
    while (*p != '\0') {
        p = SkipBlanks(p);
        if (*p == '/') {
            if (p[1] != '>')
                return false;
            p += 2;
            *pbOpens = false;
            return true;
        }
        if (*p == '>') {
            ++p;
            *pbOpens = true;
            return true;
        }
        if (*p != '\0' && !SkipAttribute(p))
            return false;
    }
    return false;
}

} // namespace

int Deepest(const char* pText, int nStopAbove) {
    if (pText == nullptr)
        return 0;
    const char* p = pText;
    int nDepth = 0;
    int nDeepest = 0;
    while (*p != '\0') {
        if (*p != '<') {
            // Outside the root TinyXML stops at the first text; inside, text runs to the next '<'.
            if (nDepth == 0 && !IsBlank(static_cast<unsigned char>(*p)))
                break;
            ++p;
            continue;
        }
        bool bOk = true;
        if (StartsWithNoCase(p, "<?xml")) {
            bOk = SkipDeclaration(p);
        } else if (StartsWith(p, "<!--")) {
            p += 4;
            bOk = SkipPast(p, "-->");
        } else if (StartsWith(p, "<![CDATA[")) {
            p += 9;
            bOk = SkipPast(p, "]]>");
        } else if (nDepth > 0 && StartsWith(p, "</")) {
            --nDepth; // TinyXML checks the name; a wrong one ends its parse
            bOk = SkipPast(p, ">");
        } else if (IsNameStart(static_cast<unsigned char>(p[1]))) {
            // An empty element is a level of the tree too, without content.
            bool bOpens = false;
            bOk = SkipStartTag(p, &bOpens);
            if (bOk && nDepth + 1 > nDeepest) {
                nDeepest = nDepth + 1;
                if (nDeepest > nStopAbove)
                    return nStopAbove + 1;
            }
            if (bOk && bOpens)
                ++nDepth;
        } else {
            // "<!DOCTYPE", "<?other", "</" outside the root and the like: unknown nodes up to the next '>'.
            ++p;
            bOk = SkipPast(p, ">");
        }
        if (!bOk)
            break;
    }
    return nDeepest;
}

} // namespace XmlNesting
