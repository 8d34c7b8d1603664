// What the benchmark programs share: a millisecond clock and the median of their runs.
#pragma once

#include <windows.h>

#include <algorithm>
#include <vector>

namespace bench {

inline double Now() {
    LARGE_INTEGER counter, frequency;
    ::QueryPerformanceCounter(&counter);
    ::QueryPerformanceFrequency(&frequency);
    return 1000.0 * static_cast<double>(counter.QuadPart) / static_cast<double>(frequency.QuadPart);
}

inline double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

}  // namespace bench
