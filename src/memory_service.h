#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kernel_file.h"

/// The machine's memory at one moment, in bytes; all zeros when /proc/meminfo can't be read.
struct MemoryInfo {
    std::uint64_t free_bytes = 0;   ///< what programs can still have, caches given up included
    std::uint64_t total_bytes = 0;  ///< what the kernel manages
    std::uint64_t swap_used_bytes = 0;

    /// "0M" below one MiB, then "1.5M", "512M", "1.5G", "15G": binary units, one decimal below 10.
    static std::string formatShort(std::uint64_t bytes);
    /// The same, right-aligned in 5 characters.
    static std::string formatPadded(std::uint64_t bytes);

    /// Used and total memory, "3.2G/ 15G", each right-aligned in 4 characters.
    std::string memFormatted() const;
    std::string swapFormatted() const { return formatPadded(swap_used_bytes); }
    std::string swapShort() const { return formatShort(swap_used_bytes); }
};

/// The lines of /proc/meminfo that count here, in the file's kB (1024 bytes). A line that is missing or holds
/// no number leaves 0; a second line of the same name replaces the first.
struct MemoryCounters {
    std::uint64_t total = 0;
    std::uint64_t free = 0;
    std::uint64_t available = 0;
    std::uint64_t buffers = 0;
    std::uint64_t cached = 0;
    std::uint64_t swap_total = 0;
    std::uint64_t swap_free = 0;
};

MemoryCounters parseMeminfo(std::string_view text);
MemoryInfo memoryInfo(const MemoryCounters& counters);

/// Reads /proc/meminfo.
class MemoryService {
public:
    explicit MemoryService(const std::string& root = "/");

    MemoryInfo getMemoryInfo();

private:
    KernelFile meminfo_;
};
