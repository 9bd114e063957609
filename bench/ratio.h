#pragma once

#include <benchmark/benchmark.h>

#include <chrono>

/// How long the work takes.
inline double secondsOf(auto&& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Reports a cost as a multiple of what it is compared with, and how much it may be: bench/check_ratios.py
/// holds the one against the other.
inline void reportRatio(benchmark::State& state, double ratio, double limit) {
    state.counters["ratio"] = ratio;
    state.counters["limit"] = limit;
}
