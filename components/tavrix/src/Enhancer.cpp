#include "Enhancer.h"

#include "Tavrix.h"

#include <cstdio>

namespace tavrix {

double Enhancer::Param(int n) const {
    const int32_t nValue = arrParams[n - 1];
    return nValue != 0 ? nValue : kInitial[n - 1];
}

bool Enhancer::Temporal() const {
    return (nMask & TAVRIX_VIE_DENOISE) != 0;
}

std::string Enhancer::FilterText() const {
    std::string strText;
    auto add = [&strText](const char* szFilter) {
        if (!strText.empty()) {
            strText += ',';
        }
        strText += szFilter;
    };
    char szBuf[160];
    if ((nMask & TAVRIX_VIE_DENOISE) != 0) {
        // The initial 25 gives 4, the filter's own default strength.
        std::snprintf(szBuf, sizeof(szBuf), "hqdn3d=luma_spatial=%.4f", Param(4) / 25.0 * 4.0);
        add(szBuf);
    }
    if ((nMask & TAVRIX_VIE_SHARPEN) != 0) {
        std::snprintf(szBuf, sizeof(szBuf), "unsharp=5:5:%.4f", Param(11) / 100.0 * 2.0);
        add(szBuf);
    }
    const bool bBright = (nMask & TAVRIX_VIE_BRIGHTEN) != 0;
    const bool bContrast = (nMask & TAVRIX_VIE_CONTRAST) != 0;
    const bool bSaturation = (nMask & TAVRIX_VIE_SATURATION) != 0;
    if (bBright || bContrast || bSaturation) {
        // One eq for the three: each pass through eq rounds the picture again.
        std::snprintf(szBuf, sizeof(szBuf), "eq=gamma=%.4f:contrast=%.4f:saturation=%.4f",
                      bBright ? 1.0 + Param(12) / 200.0 : 1.0, bContrast ? 1.0 + Param(15) / 100.0 : 1.0,
                      bSaturation ? 1.0 + Param(14) / 10.0 : 1.0);
        add(szBuf);
    }
    return strText;
}

} // namespace tavrix
