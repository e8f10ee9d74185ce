#include "AnalyticsSidecar.h"

#include "EngineLog.h"
#include "GlobalTime.h"
#include "OverlayTrack.h"
#include "Tavrix.h"

#include <tinyxml.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

namespace tavrix {
namespace {

// Larger sidecars are not metadata of one recording; reading them would only stall the open.
constexpr long long kMaxSidecarBytes = 64LL * 1024 * 1024;
constexpr size_t kMaxPointsPerShape = 256;

// Element names are matched without their namespace prefix (tt:, wsnt:, or
// none): TinyXML knows no namespaces and writers choose prefixes freely.
const char* LocalName(const TiXmlElement* pElem) {
    const char* szName = pElem->Value();
    const char* szColon = std::strrchr(szName, ':');
    return szColon != nullptr ? szColon + 1 : szName;
}

const TiXmlElement* FirstChild(const TiXmlElement* pParent, const char* szLocal) {
    if (pParent == nullptr) {
        return nullptr;
    }
    for (const TiXmlElement* p = pParent->FirstChildElement(); p != nullptr; p = p->NextSiblingElement()) {
        if (std::strcmp(LocalName(p), szLocal) == 0) {
            return p;
        }
    }
    return nullptr;
}

const TiXmlElement* NextSibling(const TiXmlElement* pElem, const char* szLocal) {
    for (const TiXmlElement* p = pElem->NextSiblingElement(); p != nullptr; p = p->NextSiblingElement()) {
        if (std::strcmp(LocalName(p), szLocal) == 0) {
            return p;
        }
    }
    return nullptr;
}

bool Attr(const TiXmlElement* pElem, const char* szName, double* pdOut) {
    return pElem->QueryDoubleAttribute(szName, pdOut) == TIXML_SUCCESS;
}

// ONVIF's normalised coordinates run -1..1 with y upwards; the track keeps
// fractions of the picture with y downwards.
OverlayTrack::Point FromOnvif(double dX, double dY) {
    OverlayTrack::Point pt;
    pt.fX = static_cast<float>(std::clamp((dX + 1.0) / 2.0, 0.0, 1.0));
    pt.fY = static_cast<float>(std::clamp((1.0 - dY) / 2.0, 0.0, 1.0));
    return pt;
}

std::string Trimmed(const char* szText) {
    std::string str = szText != nullptr ? szText : "";
    const size_t nBegin = str.find_first_not_of(" \t\r\n");
    if (nBegin == std::string::npos) {
        return {};
    }
    const size_t nEnd = str.find_last_not_of(" \t\r\n");
    return str.substr(nBegin, nEnd - nBegin + 1);
}

int32_t KindOf(const std::string& strType) {
    if (strType == "Motion" || strType == "MotionZone") {
        return TAVRIX_RENDER_MD;
    }
    if (strType == "Fire" || strType == "Smoke" || strType == "Flame") {
        return TAVRIX_RENDER_FIRE_DETECT;
    }
    if (strType == "Temperature") {
        return TAVRIX_RENDER_TEM;
    }
    return TAVRIX_RENDER_ANA_INTEL_DATA; // Human, Vehicle, Face, LicensePlate, ...
}

// The reading of a temperature object: the first value found in its
// tt:Extension, as a Value attribute or as text, of the extension itself or
// of its first child (tt:Temperature Value="36.5" Unit="Celsius").
std::string TemperatureText(const TiXmlElement* pExtension) {
    if (pExtension == nullptr) {
        return {};
    }
    const TiXmlElement* pValue = pExtension->FirstChildElement();
    for (const TiXmlElement* p : {pValue, pExtension}) {
        if (p == nullptr) {
            continue;
        }
        const char* szAttr = p->Attribute("Value");
        std::string strValue = szAttr != nullptr ? Trimmed(szAttr) : Trimmed(p->GetText());
        if (strValue.empty()) {
            continue;
        }
        const char* szUnit = p->Attribute("Unit");
        if (szUnit != nullptr && std::strcmp(szUnit, "Fahrenheit") == 0) {
            return strValue + " \xC2\xB0"
                              "F";
        }
        if (szUnit != nullptr && std::strcmp(szUnit, "Kelvin") == 0) {
            return strValue + " K";
        }
        return strValue + " \xC2\xB0"
                          "C";
    }
    return {};
}

// One tt:Object: its shape (a polygon or line of points, else its box, else
// its centre) and its class. False for an object with nothing to draw.
bool ReadObject(const TiXmlElement* pObject, std::vector<OverlayTrack::Item>* pvecItems) {
    const TiXmlElement* pAppearance = FirstChild(pObject, "Appearance");
    const TiXmlElement* pShape = FirstChild(pAppearance, "Shape");
    if (pShape == nullptr) {
        return false;
    }
    OverlayTrack::Item item;
    const TiXmlElement* pClass = FirstChild(pAppearance, "Class");
    const TiXmlElement* pType = FirstChild(pClass, "Type");
    // Older metadata names the class directly (tt:ClassCandidate/tt:Type is the same idea).
    if (pType == nullptr) {
        pType = FirstChild(FirstChild(pClass, "ClassCandidate"), "Type");
    }
    const std::string strType = pType != nullptr ? Trimmed(pType->GetText()) : std::string();
    item.nKind = KindOf(strType);
    item.strLabel = strType;

    if (const TiXmlElement* pPolygon = FirstChild(pShape, "Polygon")) {
        for (const TiXmlElement* pPt = FirstChild(pPolygon, "Point");
             pPt != nullptr && item.vecPoints.size() < kMaxPointsPerShape; pPt = NextSibling(pPt, "Point")) {
            double dX = 0, dY = 0;
            if (Attr(pPt, "x", &dX) && Attr(pPt, "y", &dY)) {
                item.vecPoints.push_back(FromOnvif(dX, dY));
            }
        }
        item.eShape = OverlayTrack::Shape::Polygon;
    }
    if (item.vecPoints.size() < 2) {
        item.vecPoints.clear();
        double dL = 0, dT = 0, dR = 0, dB = 0;
        const TiXmlElement* pBox = FirstChild(pShape, "BoundingBox");
        const TiXmlElement* pCog = FirstChild(pShape, "CenterOfGravity");
        double dX = 0, dY = 0;
        if (pBox != nullptr && Attr(pBox, "left", &dL) && Attr(pBox, "top", &dT) &&
            Attr(pBox, "right", &dR) && Attr(pBox, "bottom", &dB)) {
            const OverlayTrack::Point a = FromOnvif(std::min(dL, dR), std::max(dT, dB));
            const OverlayTrack::Point b = FromOnvif(std::max(dL, dR), std::min(dT, dB));
            item.vecPoints = {a, b};
            item.eShape = OverlayTrack::Shape::Box;
        } else if (pCog != nullptr && Attr(pCog, "x", &dX) && Attr(pCog, "y", &dY)) {
            item.vecPoints = {FromOnvif(dX, dY)};
            item.eShape = OverlayTrack::Shape::Point;
        } else {
            return false;
        }
    }
    if (item.nKind == TAVRIX_RENDER_TEM) {
        const std::string strReading = TemperatureText(FirstChild(pAppearance, "Extension"));
        if (strReading.empty()) {
            return false; // a temperature object without a reading has nothing to show
        }
        item.strLabel = strReading;
        item.nSubType = item.eShape == OverlayTrack::Shape::Box       ? TAVRIX_TEM_REGION
                        : item.eShape == OverlayTrack::Shape::Polygon ? TAVRIX_TEM_LINE
                                                                      : TAVRIX_TEM_POINT;
    }
    pvecItems->push_back(std::move(item));
    return true;
}

} // namespace

std::string AnalyticsSidecar::PathFor(const std::string& strMediaPath) {
    const size_t nSlash = strMediaPath.find_last_of('/');
    const size_t nDot = strMediaPath.find_last_of('.');
    const bool bHasExt = nDot != std::string::npos && (nSlash == std::string::npos || nDot > nSlash + 1);
    return (bHasExt ? strMediaPath.substr(0, nDot) : strMediaPath) + ".analytics.xml";
}

int AnalyticsSidecar::Load(int nPort, const std::string& strMediaPath, const MediaInfo& info,
                           OverlayTrack* pTrack) {
    const std::string strPath = PathFor(strMediaPath);
    struct stat st {};
    if (::stat(strPath.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        return 0; // no sidecar: the usual case
    }
    if (st.st_size > kMaxSidecarBytes) {
        EngineLog::Warn(nPort, "analytics sidecar %s too large (%lld bytes), not read", strPath.c_str(),
                        static_cast<long long>(st.st_size));
        return 0;
    }
    TiXmlDocument doc;
    if (!doc.LoadFile(strPath.c_str(), TIXML_ENCODING_UTF8)) {
        EngineLog::Warn(nPort, "analytics sidecar %s not read: %s (line %d)", strPath.c_str(),
                        doc.ErrorDesc(), doc.ErrorRow());
        return 0;
    }
    const TiXmlElement* pRoot = doc.RootElement();
    if (pRoot == nullptr || std::strcmp(LocalName(pRoot), "MetadataStream") != 0) {
        EngineLog::Warn(nPort, "analytics sidecar %s holds no MetadataStream", strPath.c_str());
        return 0;
    }
    int nFrames = 0;
    for (const TiXmlElement* pAnalytics = FirstChild(pRoot, "VideoAnalytics"); pAnalytics != nullptr;
         pAnalytics = NextSibling(pAnalytics, "VideoAnalytics")) {
        for (const TiXmlElement* pFrame = FirstChild(pAnalytics, "Frame"); pFrame != nullptr;
             pFrame = NextSibling(pFrame, "Frame")) {
            int64_t nUtcMs = 0;
            if (!GlobalTime::ParseIso8601(pFrame->Attribute("UtcTime"), &nUtcMs)) {
                continue;
            }
            const int64_t nOffsetMs = info.bHasGlobalTime ? nUtcMs - info.nGlobalStartMs : nUtcMs;
            std::vector<OverlayTrack::Item> vecItems;
            for (const TiXmlElement* pObject = FirstChild(pFrame, "Object"); pObject != nullptr;
                 pObject = NextSibling(pObject, "Object")) {
                ReadObject(pObject, &vecItems);
            }
            // An empty frame still counts: it ends the previous frame's objects.
            pTrack->AddFrame(nOffsetMs * 1000, std::move(vecItems));
            ++nFrames;
        }
    }
    return nFrames;
}

} // namespace tavrix
