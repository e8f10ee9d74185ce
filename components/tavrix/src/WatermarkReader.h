// The recorder's watermark: who recorded the footage and when. A recorder
// writes it as text, either into the H.264/HEVC stream as a "user data
// unregistered" SEI message under our UUID (repeated at key frames), or as a
// format-level metadata tag "watermark". The reader turns the text into the
// 64-byte watermark record and hands it to the port's watermark callback on
// the decode thread.
//
// The text, ASCII, no spaces:
//   mac=00-11-22-33-44-55;sn=AB1234567;chan=2;time=20260501102030;info=1;type=3
// - pairs key=value separated by ';' (one trailing ';' allowed); mac, sn and
//   time are required, chan, info and type default to 0; a known key twice is
//   an error; unknown keys are skipped, so that recorders can add fields;
// - mac: six pairs of hex digits separated by '-' or ':';
// - sn: up to 3 ASCII letters, then 1 to 10 digits (at most 2147483647);
// - chan, info, type: 0 to 255;
// - time: YYYYMMDDhhmmss, the recorder's local wall clock, years 2000 to 2063;
// - the text ends at its end or at the first NUL byte, at most 512 bytes.
// Anything else is malformed and reported by nothing but one log line.
//
// The record, little-endian: 0 packed time (uint32; year-2000 in bits 31..26,
// month 25..22, day 21..17, hour 16..12, minute 11..6, second 5..0), 4 serial
// number (int32), 8 MAC (6 bytes), 14 device type, 15 device information,
// 16 channel, 17 'X' when prefix letters follow (else 0), 18 up to 3 prefix
// letters (zero-filled); the rest is zero.
#pragma once

#include "FfmpegPtr.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace tavrix {

class CallbackSet;

class WatermarkReader {
public:
    static constexpr size_t kRecordBytes = 64;
    using Record = std::array<uint8_t, kRecordBytes>;
    // UUID b60e8f6c-273d-414f-a5de-3b101d4d6de6: the SEI messages that carry
    // our text. Encoders write SEI of their own under other UUIDs.
    static const std::array<uint8_t, 16> kSeiUuid;
    static constexpr size_t kMaxTextBytes = 512;
    // Name of the format-level metadata tag.
    static constexpr const char* kTagName = "watermark";

    // False, and *pRecord untouched, for a malformed text.
    static bool ParseText(const char* pText, size_t nLength, Record* pRecord);
    // The last of our SEI messages on the frame; false when there is none or
    // none parses.
    static bool FromFrame(const AVFrame& frame, Record* pRecord, bool* pbMalformed);

    WatermarkReader(int nPort, CallbackSet* pCallbacks) : m_nPort(nPort), m_pCallbacks(pCallbacks) {}

    // At open: the container's tag text (empty for none), reported with the
    // first frame.
    void SetContainerText(const std::string& strText);
    // Decode thread, for every decoded picture: reports the pending
    // container record once, and each record the picture carries.
    void OnFrame(const AVFrame& frame);

private:
    void Report(const Record& record);
    void WarnMalformed(const char* szWhere);

    const int m_nPort;
    CallbackSet* const m_pCallbacks;
    Record m_containerRecord{};       // decode thread only once playing
    bool m_bContainerPending = false; // decode thread only once playing
    bool m_bWarned = false;           // one log line per open; decode thread only once playing
};

} // namespace tavrix
