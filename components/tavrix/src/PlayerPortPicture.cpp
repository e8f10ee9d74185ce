// PlayerPort: picture settings, snapshots, motion flow and sound gain. None
// of these takes the control lock: they may come from a callback while the
// transport waits for that callback's thread.
#include "PlayerPort.h"

#include "AudioOutput.h"
#include "Tavrix.h"

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

} // namespace tavrix
