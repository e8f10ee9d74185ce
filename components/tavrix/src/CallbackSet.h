// The callbacks registered on one port, with their user values. Registration
// happens on any thread while the engine threads call them, so each read takes
// a copy under the lock and the call itself is made without it.
#pragma once

#include "Tavrix.h"

#include <atomic>
#include <cstdint>
#include <mutex>

namespace tavrix {

class CallbackSet {
public:
    // A registered callback and the user value it is called with.
    template <typename Fn> struct Slot {
        Fn pfn = nullptr;
        void* pUser = nullptr;
    };
    using Display = Slot<TavrixDisplayCB>;
    using Draw = Slot<TavrixDrawCB>;
    using Dec = Slot<TavrixDecCB>;
    using FileEnd = Slot<TavrixFileEndCB>;
    using FileRef = Slot<TavrixFileRefCB>;
    using RunTime = Slot<TavrixRunTimeInfoCB>;
    using Watermark = Slot<TavrixWatermarkCB>;
    using EncTypeChange = Slot<TavrixEncTypeChangeCB>;
    using EncryptType = Slot<TavrixEncryptTypeCB>;

    explicit CallbackSet(int nPort) : m_nPort(nPort) {}

    void SetDisplay(Display cb);
    void SetDraw(int nRegion, Draw cb);
    void SetDec(Dec cb);
    void SetFileEnd(FileEnd cb);
    void SetFileRef(FileRef cb);
    void SetRunTime(int nModule, RunTime cb);
    void SetWatermark(Watermark cb);
    void SetEncTypeChange(EncTypeChange cb);
    void SetEncryptType(EncryptType cb);

    Display GetDisplay() const;
    Draw GetDraw(int nRegion) const;
    Dec GetDec() const;
    FileEnd GetFileEnd() const;
    FileRef GetFileRef() const;
    Watermark GetWatermark() const;
    bool WantsYv12() const { return m_bWantsYv12.load(); }

    // Reports a run-time error through the module's callback, once per code
    // until ResetRunTimeReports() (each play starts afresh). A decryption
    // failure (module 2, TAVRIX_RT_DECRYPT) is also the encryption report: the
    // encryption callback hears it once per play, with nEncryptType 1.
    void ReportRunTime(int nModule, int32_t nErrorCode);
    void ResetRunTimeReports();

private:
    void UpdateWantsYv12(); // caller holds m_mtx
    void ReportEncrypted();

    const int m_nPort;
    mutable std::mutex m_mtx;
    Display m_display;                     // guarded by m_mtx
    Draw m_draw[2];                        // guarded by m_mtx
    Dec m_dec;                             // guarded by m_mtx
    FileEnd m_fileEnd;                     // guarded by m_mtx
    FileRef m_fileRef;                     // guarded by m_mtx
    RunTime m_runTime[2];                  // modules 1 and 2; guarded by m_mtx
    Watermark m_watermark;                 // guarded by m_mtx
    EncTypeChange m_encType;               // guarded by m_mtx
    EncryptType m_encrypt;                 // guarded by m_mtx
    bool m_bEncryptReported = false;       // guarded by m_mtx
    uint32_t m_nReportedMask = 0;          // bit per run-time code already reported; guarded by m_mtx
    std::atomic<bool> m_bWantsYv12{false}; // a display or decode callback is set
};

} // namespace tavrix
