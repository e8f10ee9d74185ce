#include "WatermarkReader.h"

#include "CallbackSet.h"
#include "EngineLog.h"

#include <cstring>
#include <string_view>

namespace tavrix {

const std::array<uint8_t, 16> WatermarkReader::kSeiUuid = {0xb6, 0x0e, 0x8f, 0x6c, 0x27, 0x3d, 0x41, 0x4f,
                                                           0xa5, 0xde, 0x3b, 0x10, 0x1d, 0x4d, 0x6d, 0xe6};

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

int HexValue(char c) {
    if (IsDigit(c))
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// All digits, 1 to nMaxDigits of them, at most nMax.
bool ParseNumber(std::string_view value, size_t nMaxDigits, uint64_t nMax, uint64_t* pnOut) {
    if (value.empty() || value.size() > nMaxDigits)
        return false;
    uint64_t n = 0;
    for (char c : value) {
        if (!IsDigit(c))
            return false;
        n = n * 10 + static_cast<uint64_t>(c - '0');
    }
    if (n > nMax)
        return false;
    *pnOut = n;
    return true;
}

bool ParseByte(std::string_view value, uint8_t* pOut) {
    uint64_t n = 0;
    if (!ParseNumber(value, 3, 255, &n))
        return false;
    *pOut = static_cast<uint8_t>(n);
    return true;
}

bool ParseMac(std::string_view value, uint8_t* pMac) {
    // "hh-hh-hh-hh-hh-hh": 17 characters.
    if (value.size() != 17)
        return false;
    for (size_t i = 0; i < 6; ++i) {
        const size_t nAt = i * 3;
        const int nHigh = HexValue(value[nAt]);
        const int nLow = HexValue(value[nAt + 1]);
        if (nHigh < 0 || nLow < 0)
            return false;
        if (i < 5 && value[nAt + 2] != '-' && value[nAt + 2] != ':')
            return false;
        pMac[i] = static_cast<uint8_t>(nHigh * 16 + nLow);
    }
    return true;
}

bool ParseSerial(std::string_view value, int32_t* pnNumber, uint8_t* pMark, uint8_t* pPrefix) {
    size_t nLetters = 0;
    while (nLetters < value.size() && IsLetter(value[nLetters]))
        ++nLetters;
    if (nLetters > 3)
        return false;
    uint64_t n = 0;
    if (!ParseNumber(value.substr(nLetters), 10, 2147483647u, &n))
        return false;
    *pnNumber = static_cast<int32_t>(n);
    *pMark = nLetters > 0 ? 'X' : 0;
    for (size_t i = 0; i < nLetters; ++i)
        pPrefix[i] = static_cast<uint8_t>(value[i]);
    return true;
}

bool IsLeapYear(unsigned nYear) {
    return (nYear % 4 == 0 && nYear % 100 != 0) || nYear % 400 == 0;
}

// "YYYYMMDDhhmmss" into the packed 32-bit form.
bool ParseTime(std::string_view value, uint32_t* pnPacked) {
    if (value.size() != 14)
        return false;
    uint64_t anField[6] = {};
    const size_t anWidth[6] = {4, 2, 2, 2, 2, 2};
    size_t nAt = 0;
    for (int i = 0; i < 6; ++i) {
        if (!ParseNumber(value.substr(nAt, anWidth[i]), anWidth[i], 9999, &anField[i]))
            return false;
        nAt += anWidth[i];
    }
    const unsigned nYear = static_cast<unsigned>(anField[0]);
    const unsigned nMonth = static_cast<unsigned>(anField[1]);
    const unsigned nDay = static_cast<unsigned>(anField[2]);
    // Six bits of year from 2000.
    if (nYear < 2000 || nYear > 2063 || nMonth < 1 || nMonth > 12 || nDay < 1)
        return false;
    static const unsigned anDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const unsigned nMonthDays = anDays[nMonth - 1] + (nMonth == 2 && IsLeapYear(nYear) ? 1 : 0);
    if (nDay > nMonthDays || anField[3] > 23 || anField[4] > 59 || anField[5] > 59)
        return false;
    *pnPacked = (nYear - 2000) << 26 | nMonth << 22 | nDay << 17 | static_cast<uint32_t>(anField[3]) << 12 |
                static_cast<uint32_t>(anField[4]) << 6 | static_cast<uint32_t>(anField[5]);
    return true;
}

bool IsKeyChar(char c) {
    return (c >= 'a' && c <= 'z') || IsDigit(c) || c == '_';
}

void PutLe32(uint8_t* p, uint32_t n) {
    p[0] = static_cast<uint8_t>(n);
    p[1] = static_cast<uint8_t>(n >> 8);
    p[2] = static_cast<uint8_t>(n >> 16);
    p[3] = static_cast<uint8_t>(n >> 24);
}

} // namespace

bool WatermarkReader::ParseText(const char* pText, size_t nLength, Record* pRecord) {
    if (pText == nullptr || pRecord == nullptr)
        return false;
    // Payloads may be padded with NUL bytes after the text.
    const void* pNul = std::memchr(pText, '\0', nLength);
    if (pNul != nullptr)
        nLength = static_cast<size_t>(static_cast<const char*>(pNul) - pText);
    if (nLength == 0 || nLength > kMaxTextBytes)
        return false;
    std::string_view text(pText, nLength);
    if (text.back() == ';')
        text.remove_suffix(1);

    Record record{};
    uint32_t nTime = 0;
    int32_t nSerial = 0;
    enum : unsigned { kMac = 1, kSerial = 2, kTime = 4, kChan = 8, kInfo = 16, kType = 32 };
    unsigned nSeen = 0;
    while (true) {
        const size_t nEnd = text.find(';');
        const std::string_view pair = text.substr(0, nEnd);
        const size_t nEq = pair.find('=');
        if (nEq == std::string_view::npos || nEq == 0)
            return false;
        const std::string_view key = pair.substr(0, nEq);
        const std::string_view value = pair.substr(nEq + 1);
        for (char c : key) {
            if (!IsKeyChar(c))
                return false;
        }
        unsigned nField = 0;
        bool bOk = true;
        if (key == "mac") {
            nField = kMac;
            bOk = ParseMac(value, &record[8]);
        } else if (key == "sn") {
            nField = kSerial;
            bOk = ParseSerial(value, &nSerial, &record[17], &record[18]);
        } else if (key == "time") {
            nField = kTime;
            bOk = ParseTime(value, &nTime);
        } else if (key == "chan") {
            nField = kChan;
            bOk = ParseByte(value, &record[16]);
        } else if (key == "info") {
            nField = kInfo;
            bOk = ParseByte(value, &record[15]);
        } else if (key == "type") {
            nField = kType;
            bOk = ParseByte(value, &record[14]);
        }
        if (!bOk || (nSeen & nField) != 0)
            return false;
        nSeen |= nField;
        if (nEnd == std::string_view::npos)
            break;
        text.remove_prefix(nEnd + 1);
    }
    if ((nSeen & (kMac | kSerial | kTime)) != (kMac | kSerial | kTime))
        return false;
    PutLe32(&record[0], nTime);
    PutLe32(&record[4], static_cast<uint32_t>(nSerial));
    *pRecord = record;
    return true;
}

bool WatermarkReader::FromFrame(const AVFrame& frame, Record* pRecord, bool* pbMalformed) {
    bool bFound = false;
    for (int i = 0; i < frame.nb_side_data; ++i) {
        const AVFrameSideData* pData = frame.side_data[i];
        if (pData->type != AV_FRAME_DATA_SEI_UNREGISTERED || pData->size < kSeiUuid.size() ||
            std::memcmp(pData->data, kSeiUuid.data(), kSeiUuid.size()) != 0) {
            continue;
        }
        const char* pText = reinterpret_cast<const char*>(pData->data) + kSeiUuid.size();
        if (ParseText(pText, pData->size - kSeiUuid.size(), pRecord))
            bFound = true;
        else if (pbMalformed != nullptr)
            *pbMalformed = true;
    }
    return bFound;
}

void WatermarkReader::SetContainerText(const std::string& strText) {
    m_bWarned = false;
    m_bContainerPending = false;
    if (strText.empty())
        return;
    m_bContainerPending = ParseText(strText.data(), strText.size(), &m_containerRecord);
    if (!m_bContainerPending)
        WarnMalformed("container tag");
}

void WatermarkReader::OnFrame(const AVFrame& frame) {
    if (m_bContainerPending) {
        m_bContainerPending = false;
        Report(m_containerRecord);
    }
    if (frame.nb_side_data == 0)
        return;
    Record record{};
    bool bMalformed = false;
    if (FromFrame(frame, &record, &bMalformed))
        Report(record);
    if (bMalformed)
        WarnMalformed("stream");
}

void WatermarkReader::Report(const Record& record) {
    const CallbackSet::Watermark cb = m_pCallbacks->GetWatermark();
    if (cb.pfn == nullptr)
        return;
    // The callback gets a copy of its own: it may keep the pointer until it returns.
    Record copy = record;
    TAVRIX_WATERMARK_INFO info{};
    info.pDataBuf = copy.data();
    info.nSize = static_cast<int32_t>(copy.size());
    cb.pfn(m_nPort, &info, cb.pUser);
}

void WatermarkReader::WarnMalformed(const char* szWhere) {
    if (m_bWarned)
        return;
    m_bWarned = true;
    EngineLog::Warn(m_nPort, "malformed watermark text in the %s; ignored", szWhere);
}

} // namespace tavrix
