#pragma once
// Timing helpers shared by the benchmarks.

#include <algorithm>
#include <chrono>
#include <vector>

namespace pellix::bench {

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Wall-clock seconds that `action` took.
inline double secondsFor(const auto& action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace pellix::bench
