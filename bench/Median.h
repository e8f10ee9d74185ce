// The median of a set of timings, the figure the seek and step benchmarks print.
#pragma once

#include <algorithm>
#include <vector>

inline double Median(std::vector<double> values) {
    if (values.empty())
        return 0.0;
    const size_t nMid = values.size() / 2;
    std::nth_element(values.begin(), values.begin() + nMid, values.end());
    if (values.size() % 2 == 1)
        return values[nMid];
    const double dUpper = values[nMid];
    const double dLower = *std::max_element(values.begin(), values.begin() + nMid);
    return (dLower + dUpper) / 2.0;
}
