// Picture controls of a play window: colour, orientation, the shape and size of
// the picture area, private data and motion flow. Most are thin wrappers round
// one engine call; the geometry of the display child is worked out here.

#include <QDebug>
#include <QLabel>
#include <QSize>

#include "CPlayWnd.h"
#include "StreamInfo.h"

namespace {

// Private data kinds, one bit each; the order the engine is told after a reset.
const uint kPrivateDataKinds[] = {1, 2, 4, 8, 16, 32};
const uint kPrivateDataAll = 63;

// Temperature readings come in three shapes, each switched on its own.
const int32_t kTemSubTypes[] = {TAVRIX_TEM_POINT, TAVRIX_TEM_LINE, TAVRIX_TEM_REGION};

// The picture area of an image scale mode inside a W x H window. Mode 1 uses the
// picture's own ratio (nPicW already multiplied by the fisheye width factor) and
// fails while no frame size is known. Modes other than 1, 2 and 3 cover the
// window. The ratio is compared as a float and the sizes truncate to int.
bool ScaleModeSize(int nMode, int nW, int nH, int nPicW, int nPicH, QSize* pSize) {
    if (nW <= 0 || nH <= 0)
        return false;
    int nNum = 0; // the ratio as nNum / nDen
    int nDen = 0;
    float fRatio = 0.0f;
    switch (nMode) {
    case 1:
        if (nPicW <= 0 || nPicH <= 0)
            return false;
        nNum = nPicW;
        nDen = nPicH;
        fRatio = static_cast<float>(nPicW) / static_cast<float>(nPicH);
        break;
    case 2:
        nNum = 4;
        nDen = 3;
        fRatio = 1.3333334f;
        break;
    case 3:
        nNum = 16;
        nDen = 9;
        fRatio = 1.7777778f;
        break;
    default:
        *pSize = QSize(nW, nH);
        return true;
    }
    const float fWndRatio = static_cast<float>(nW) / static_cast<float>(nH);
    if (fRatio > fWndRatio)
        *pSize = QSize(nW, static_cast<int>(static_cast<qint64>(nW) * nDen / nNum));
    else
        *pSize = QSize(static_cast<int>(static_cast<qint64>(nH) * nNum / nDen), nH);
    return true;
}

// The picture area of a percent mode: the source size scaled, and fitted into
// the window with its own ratio when it does not fit.
bool PercentModeSize(int nMode, int nW, int nH, int nSrcW, int nSrcH, QSize* pSize) {
    if (nW <= 0 || nH <= 0 || nSrcW <= 0 || nSrcH <= 0)
        return false;
    int nTW = 0;
    int nTH = 0;
    if (!CPlayWnd::PercentSize(nMode, nSrcW, nSrcH, &nTW, &nTH))
        return false;
    if (nTW > nW || nTH > nH) {
        const float fPicRatio = static_cast<float>(nSrcW) / static_cast<float>(nSrcH);
        const float fWndRatio = static_cast<float>(nW) / static_cast<float>(nH);
        if (fWndRatio > fPicRatio) {
            nTH = nH;
            nTW = static_cast<int>(static_cast<qint64>(nH) * nSrcW / nSrcH);
        } else {
            nTW = nW;
            nTH = static_cast<int>(static_cast<qint64>(nW) * nSrcH / nSrcW);
        }
    }
    *pSize = QSize(nTW, nTH);
    return true;
}

} // namespace

bool CPlayWnd::PercentSize(int nMode, int nSrcW, int nSrcH, int* pnWidth, int* pnHeight) {
    // Mode 1 source size, 2 double, 3 half, 4 a quarter.
    static const int anNum[] = {0, 1, 2, 1, 1};
    static const int anDen[] = {1, 1, 1, 2, 4};
    if (nMode < 1 || nMode > 4)
        return false;
    *pnWidth = nSrcW * anNum[nMode] / anDen[nMode];
    *pnHeight = nSrcH * anNum[nMode] / anDen[nMode];
    return true;
}

void CPlayWnd::SetColor(int nBrightness, int nContrast, int nSaturation, int nHue) {
    if (m_lPort < 0)
        return;
    if (!Tavrix_SetColor(m_lPort, 0, nBrightness, nContrast, nSaturation, nHue))
        qDebug("Tavrix_SetColor dwErr=%d", Tavrix_GetLastError(m_lPort));
}

void CPlayWnd::GetColor(int* pnBrightness, int* pnContrast, int* pnSaturation, int* pnHue) {
    if (m_lPort < 0)
        return;
    int32_t nBrightness = 64;
    int32_t nContrast = 64;
    int32_t nSaturation = 64;
    int32_t nHue = 64;
    if (!Tavrix_GetColor(m_lPort, 0, &nBrightness, &nContrast, &nSaturation, &nHue)) {
        qDebug("Tavrix_SetColor dwErr=%d", Tavrix_GetLastError(m_lPort));
        return;
    }
    if (pnBrightness)
        *pnBrightness = nBrightness;
    if (pnContrast)
        *pnContrast = nContrast;
    if (pnSaturation)
        *pnSaturation = nSaturation;
    if (pnHue)
        *pnHue = nHue;
}

bool CPlayWnd::SetRotateAngle(int nAngle) {
    if (m_lPort < 0)
        return false;
    if (!Tavrix_SetRotateAngle(m_lPort, 0, nAngle)) {
        qDebug("CPlayWnd::SetRotateAngle() Tavrix_SetRotateAngle Fail nRegion=%d GetLastError()=%d", 0,
               Tavrix_GetLastError(m_lPort));
        return false;
    }
    // A quarter turn more or less swaps the picture's sides. Pictures shown
    // from now on report the turned size, but a paused window shows none: the
    // display child takes the new shape at once.
    const bool bWasQuarter = m_nRotateAngle == 0 || m_nRotateAngle == 1;
    const bool bIsQuarter = nAngle == 0 || nAngle == 1;
    m_nRotateAngle = nAngle;
    if (bWasQuarter != bIsQuarter) {
        const int nW = m_nVideoWidth.load();
        m_nVideoWidth = m_nVideoHeight.load();
        m_nVideoHeight = nW;
        SetImageScaleMode(m_nDisplayMode);
    }
    // The zoom region is in picture pixels, which the turn has moved.
    if (m_bPartZoom)
        On_PartZoomReset();
    return true;
}

bool CPlayWnd::SetFlip(uint nFlip) {
    if (m_lPort < 0)
        return false;
    nFlip &= TAVRIX_FLIP_HORIZONTAL | TAVRIX_FLIP_VERTICAL;
    if (!Tavrix_SetFlip(m_lPort, 0, nFlip)) {
        qDebug("CPlayWnd::SetFlip() Tavrix_SetFlip Fail nRegion=%d GetLastError()=%d", 0,
               Tavrix_GetLastError(m_lPort));
        return false;
    }
    m_nFlip = nFlip;
    if (m_bPartZoom)
        On_PartZoomReset();
    return true;
}

bool CPlayWnd::SetImageScaleMode(int nMode) {
    if (!m_pDisplayWnd)
        return false;
    const int nW = width();
    const int nH = height();
    QSize szPic(nW, nH);
    if (m_nPlayState == 1 || m_nPlayState == 2) {
        QSize szMode;
        // The engine reports the picture it shows. A de-warped fisheye view
        // comes out at its own shape, already twice as wide as the lens
        // circle is high, and the circle itself is round: doubling the width
        // here as well would stretch both. The width factor stays for the
        // zoom region's picture coordinates.
        if (ScaleModeSize(nMode, nW, nH, m_nVideoWidth.load(), m_nVideoHeight.load(), &szMode))
            szPic = szMode;
    }
    m_pDisplayWnd->setGeometry((nW - szPic.width()) / 2, (nH - szPic.height()) / 2, szPic.width(),
                               szPic.height());
    m_nDisplayMode = nMode;
    // The background around the picture area is painted by this window.
    update();
    return true;
}

bool CPlayWnd::GetSourceSize(int* pnWidth, int* pnHeight) {
    const int nVideoW = m_nVideoWidth.load();
    const int nVideoH = m_nVideoHeight.load();
    if (nVideoW < 1 || nVideoH < 1 || !pnWidth || !pnHeight)
        return false;
    *pnWidth = nVideoW;
    if (m_nDisplayMode == 2)
        *pnHeight = nVideoW * 3 / 4;
    else if (m_nDisplayMode == 3)
        *pnHeight = nVideoW * 9 / 16;
    else
        *pnHeight = nVideoH;
    return true;
}

bool CPlayWnd::SetDisplayPercentMode(int nMode) {
    if (nMode < 0 || nMode > 4)
        return false;
    m_nScaleMode = nMode;
    if (!m_pDisplayWnd)
        return false;
    const int nW = width();
    const int nH = height();
    QSize szPic(nW, nH);
    int nSrcW = 0;
    int nSrcH = 0;
    if ((m_nPlayState == 1 || m_nPlayState == 2) && GetSourceSize(&nSrcW, &nSrcH)) {
        QSize szMode;
        if (PercentModeSize(nMode, nW, nH, nSrcW, nSrcH, &szMode))
            szPic = szMode;
    }
    m_pDisplayWnd->setGeometry((nW - szPic.width()) / 2, (nH - szPic.height()) / 2, szPic.width(),
                               szPic.height());
    update();
    return true;
}

bool CPlayWnd::RenderPrivateData(uint nType, bool bOn) {
    if (m_lPort < 0)
        return false;
    if (nType != 1 && nType != 2 && nType != 4 && nType != 8 && nType != 16 && nType != 32)
        return false;
    const char* szFailLog = "Tavrix_RenderPrivateData TAVRIX_RENDER_ADD_POS dwErr=%d";
    if (nType == 1)
        szFailLog = "Tavrix_RenderPrivateData TAVRIX_RENDER_ANA_INTEL_DATA dwErr=%d";
    else if (nType == 2)
        szFailLog = "Tavrix_RenderPrivateData TAVRIX_RENDER_MD dwErr=%d";
    if (!Tavrix_RenderPrivateData(m_lPort, static_cast<int32_t>(nType), bOn)) {
        qDebug(szFailLog, Tavrix_GetLastError(m_lPort));
        return false;
    }
    if (nType == TAVRIX_RENDER_TEM) {
        for (int32_t nSubType : kTemSubTypes) {
            if (!Tavrix_RenderPrivateDataEx(m_lPort, TAVRIX_RENDER_TEM, nSubType, bOn)) {
                qDebug(szFailLog, Tavrix_GetLastError(m_lPort));
                return false;
            }
        }
    }
    if (bOn)
        m_dwPrivateDataMask |= nType;
    else
        m_dwPrivateDataMask &= ~nType;
    return true;
}

bool CPlayWnd::SetMotionFlow(int nMode) {
    if (m_lPort < 0 || nMode < 0)
        return false;
    if (!Tavrix_MotionFlow(m_lPort, static_cast<uint32_t>(nMode))) {
        qDebug("Tavrix_ThrowBFrameNum dwErr=%d", Tavrix_GetLastError(m_lPort));
        return false;
    }
    m_nMotionFlow = nMode;
    return true;
}

void CPlayWnd::ResetPictureControls() {
    m_dwPrivateDataMask = kPrivateDataAll;
    m_nMotionFlow = 0;
    m_nRotateAngle = -1;
    m_nFlip = 0;
    // A stopped port keeps its settings for the next play: it goes back to
    // neutral with the fields, so that what the menus show is what plays.
    if (m_lPort < 0)
        return;
    Tavrix_SetRotateAngle(m_lPort, 0, -1);
    Tavrix_SetFlip(m_lPort, 0, TAVRIX_FLIP_NONE);
    Tavrix_MotionFlow(m_lPort, 0);
    for (uint nType : kPrivateDataKinds)
        Tavrix_RenderPrivateData(m_lPort, static_cast<int32_t>(nType), true);
    for (int32_t nSubType : kTemSubTypes)
        Tavrix_RenderPrivateDataEx(m_lPort, TAVRIX_RENDER_TEM, nSubType, true);
}

bool CPlayWnd::GetStreamInfo(StreamInfo* pInfo) {
    if (!pInfo)
        return false;
    pInfo->strFilePath = m_strFilePath;
    pInfo->nFrameRate = m_nFrameRate;
    pInfo->nWidth = m_nVideoWidth;
    pInfo->nHeight = m_nVideoHeight;
    // A hardware decoder hands out no display record until a picture is
    // shown; the engine's size of the stream is the better answer then.
    const int32_t nPort = m_lPort;
    int32_t nWidth = 0;
    int32_t nHeight = 0;
    if (nPort >= 0 && Tavrix_GetDecodeEngine(nPort) == 1 && Tavrix_GetPictureSize(nPort, &nWidth, &nHeight)) {
        pInfo->nWidth = nWidth;
        pInfo->nHeight = nHeight;
    }
    return true;
}

uint CPlayWnd::GetDamagedFrames() const {
    const int32_t nPort = m_lPort;
    return nPort >= 0 ? Tavrix_GetDamagedFrames(nPort) : 0;
}
