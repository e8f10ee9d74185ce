// PlayerPort: picture settings, snapshots, motion flow and sound gain. None
// of these takes the control lock: they may come from a callback while the
// transport waits for that callback's thread.
#include "PlayerPort.h"

#include "AudioOutput.h"
#include "PathCodec.h"
#include "Tavrix.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <vector>

namespace tavrix {

bool PlayerPort::SetColour(int nBrightness, int nContrast, int nSaturation, int nHue) {
    return m_pAdjuster->SetColour(nBrightness, nContrast, nSaturation, nHue) || Fail(TAVRIX_ERR_PARA_OVER);
}

bool PlayerPort::SetRotate(int nRotate) {
    return m_pAdjuster->SetRotate(nRotate) || Fail(TAVRIX_ERR_PARA_OVER);
}

bool PlayerPort::SetFlip(uint32_t nFlip) {
    return m_pAdjuster->SetFlip(nFlip) || Fail(TAVRIX_ERR_PARA_OVER);
}

bool PlayerPort::SetMotionFlow(uint32_t nMode) {
    if (nMode == 2) {
        return Fail(TAVRIX_ERR_NOT_SUPPORT);
    }
    if (nMode > 2) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    m_pAdjuster->SetMotionFlow(nMode);
    return true;
}

bool PlayerPort::AdjustWaveAudio(int nCoefficient) {
    if (nCoefficient < 0 || nCoefficient > 100) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    std::lock_guard<std::mutex> lock(m_mtxSound);
    m_nGainPercent = nCoefficient;
    if (m_pOutput) {
        m_pOutput->SetGainPercent(nCoefficient);
    }
    return true;
}

bool PlayerPort::Snapshot(SnapshotEncoder::Format format, char* pBuf, uint32_t nBufSize, uint32_t* pnSize) {
    if (pnSize == nullptr || (pBuf == nullptr && nBufSize > 0)) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    size_t nSize = 0;
    const SnapshotEncoder::Result result =
        m_pSnapshots->Snapshot(format, reinterpret_cast<uint8_t*>(pBuf), nBufSize, &nSize);
    *pnSize = static_cast<uint32_t>(nSize);
    switch (result) {
    case SnapshotEncoder::Result::Ok:
        return true;
    case SnapshotEncoder::Result::NothingShown:
        return Fail(TAVRIX_ERR_ORDER);
    case SnapshotEncoder::Result::TooSmall:
        return Fail(TAVRIX_ERR_PARA_OVER);
    case SnapshotEncoder::Result::Failed:
        break;
    }
    return Fail(TAVRIX_ERR_ALLOC_MEMORY);
}

bool PlayerPort::SrSetConfig(int32_t nConfigType, const void* pConfig) {
    if (nConfigType != TAVRIX_SR_CONFIG_VIEW || pConfig == nullptr) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    const uint8_t nPtz = static_cast<const TAVRIX_SR_CONFIG*>(pConfig)->bPtzMode;
    if (nPtz > 1) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    return SrSetViewKind(nPtz == 1 ? TAVRIX_SR_FLAT : TAVRIX_SR_ORIGINAL);
}

bool PlayerPort::SrSetViewKind(int32_t nKind) {
    if (!IsStreamPort() && !m_bFisheyeFile.load()) {
        return Fail(TAVRIX_ERR_NOT_SUPPORT);
    }
    if (nKind < TAVRIX_SR_ORIGINAL || nKind > TAVRIX_SR_CYLINDER) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    // The same kind again changes nothing, so it must not rebuild the graph.
    m_pAdjuster->ChangeView([nKind](FisheyeView& view) {
        if (view.nKind == nKind) {
            return false;
        }
        view.nKind = nKind;
        return true;
    });
    return true;
}

bool PlayerPort::SrRotate(const TAVRIX_SR_ROTATE* pRotate) {
    if (!IsStreamPort() && !m_bFisheyeFile.load()) {
        return Fail(TAVRIX_ERR_NOT_SUPPORT);
    }
    if (pRotate == nullptr || pRotate->pParam == nullptr) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    const TAVRIX_SR_ROTATE_PARAM param = *pRotate->pParam;
    if (!std::isfinite(param.fRotateX) || !std::isfinite(param.fRotateY) || !std::isfinite(param.fZoom)) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    // Turning the original picture is kept for when the view is shown: the
    // player turns first and switches the view on later.
    m_pAdjuster->ChangeView([&param](FisheyeView& view) {
        if (param.fRotateX == 0.0f && param.fRotateY == 0.0f && param.fZoom == 0.0f) {
            return false; // nothing moves: no rebuild
        }
        view.Rotate(param.fRotateX, param.fRotateY, param.fZoom);
        return true;
    });
    return true;
}

bool PlayerPort::SrSetOutputSize(int32_t nWidth, int32_t nHeight) {
    const bool bAuto = nWidth == 0 && nHeight == 0;
    if (!bAuto && (nWidth < 16 || nHeight < 16 || nWidth > 8192 || nHeight > 8192 || (nWidth % 2) != 0 ||
                   (nHeight % 2) != 0)) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    m_pAdjuster->ChangeView([nWidth, nHeight](FisheyeView& view) {
        if (view.nWidth == nWidth && view.nHeight == nHeight) {
            return false;
        }
        view.nWidth = nWidth;
        view.nHeight = nHeight;
        return true;
    });
    return true;
}

bool PlayerPort::SrGetView(TAVRIX_SR_VIEW* pView) {
    if (pView == nullptr) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    const FisheyeView view = m_pAdjuster->Current().sr;
    pView->nKind = view.nKind;
    pView->fYaw = static_cast<float>(view.dYaw);
    pView->fPitch = static_cast<float>(view.dPitch);
    pView->fFov = static_cast<float>(view.dFov);
    pView->nWidth = 0;
    pView->nHeight = 0;
    const int32_t nSrcWidth = m_readings.nWidth.load();
    if (view.nWidth > 0) {
        pView->nWidth = view.nWidth;
        pView->nHeight = view.nHeight;
    } else if (nSrcWidth > 0) {
        view.OutputSize(nSrcWidth, &pView->nWidth, &pView->nHeight);
    }
    return true;
}

bool PlayerPort::SrCapture(int32_t nFormat, const char* szFileName) {
    if (!IsStreamPort() && !m_bFisheyeFile.load()) {
        return Fail(TAVRIX_ERR_NOT_SUPPORT);
    }
    std::string strPath;
    if (szFileName == nullptr || szFileName[0] == '\0' || !PathCodec::Gb18030ToUtf8(szFileName, &strPath)) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    const SnapshotEncoder::Format format = nFormat == 0 ? SnapshotEncoder::Format::Bmp : SnapshotEncoder::Format::Jpeg;
    // The picture may change between asking the size and encoding (a JPEG's
    // size varies): a few tries, then give up rather than loop.
    std::vector<uint8_t> vecBytes(1u << 20);
    for (int nTry = 0; nTry < 4; ++nTry) {
        size_t nSize = 0;
        const SnapshotEncoder::Result result = m_pSnapshots->Snapshot(format, vecBytes.data(), vecBytes.size(), &nSize);
        if (result == SnapshotEncoder::Result::TooSmall) {
            vecBytes.resize(nSize + nSize / 4);
            continue;
        }
        if (result == SnapshotEncoder::Result::NothingShown) {
            return Fail(TAVRIX_ERR_ORDER);
        }
        if (result != SnapshotEncoder::Result::Ok) {
            break;
        }
        vecBytes.resize(nSize);
        return SnapshotEncoder::WriteFileAtomically(strPath, vecBytes) || Fail(TAVRIX_ERR_OPEN_FILE);
    }
    return Fail(TAVRIX_ERR_ALLOC_MEMORY);
}

bool PlayerPort::VieSetModuConfig(int32_t nModule, bool bEnable) {
    if (nModule <= 0 || nModule > Enhancer::kAllModules) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    m_pAdjuster->ChangeEnhancer([nModule, bEnable](Enhancer& vie) {
        const int32_t nMask = bEnable ? (vie.nMask | nModule) : (vie.nMask & ~nModule);
        if (nMask == vie.nMask) {
            return false; // a rebuild would reset the denoiser's memory for nothing
        }
        vie.nMask = nMask;
        return true;
    });
    return true;
}

bool PlayerPort::VieSetRegion(int32_t nRegionNum, const TAVRIX_RECT* pRect) {
    // The whole picture is the only region the modules work on.
    if (nRegionNum != 0 || pRect != nullptr) {
        return Fail(TAVRIX_ERR_NOT_SUPPORT);
    }
    return true;
}

bool PlayerPort::VieSetParaConfig(const TAVRIX_VIE_PARAM* pParam) {
    if (pParam == nullptr) {
        return Fail(TAVRIX_ERR_PARA_OVER);
    }
    Enhancer::Params arrParams{};
    std::copy(std::begin(pParam->nParam), std::end(pParam->nParam), arrParams.begin());
    m_pAdjuster->ChangeEnhancer([&arrParams](Enhancer& vie) {
        if (vie.arrParams == arrParams) {
            return false;
        }
        vie.arrParams = arrParams;
        return true;
    });
    return true;
}

} // namespace tavrix
