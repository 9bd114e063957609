#pragma once

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <span>
#include <string>

/// How long the work takes.
inline double secondsOf(auto&& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The least that a program can do with these files: open, read and close each into one fixed buffer.
inline void readBare(std::span<const std::string> paths, std::span<char> buffer) {
    for (const std::string& path : paths) {
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) continue;
        benchmark::DoNotOptimize(read(fd, buffer.data(), buffer.size()));
        benchmark::ClobberMemory();
        close(fd);
    }
}

/// Reports a cost as a multiple of what it is compared with, and how much it may be: bench/check_ratios.py
/// holds the one against the other.
inline void reportRatio(benchmark::State& state, double ratio, double limit) {
    state.counters["ratio"] = ratio;
    state.counters["limit"] = limit;
}
