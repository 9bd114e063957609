#include "memory_service.h"

#include <array>

#include "kernel_text.h"
#include "short_text.h"

namespace {

constexpr std::uint64_t kMiB = 1ULL << 20;
constexpr std::uint64_t kGiB = 1ULL << 30;

struct Field {
    std::string_view label;
    std::uint64_t MemoryCounters::*counter;
};

constexpr std::array<Field, 7> kFields{{
    {"MemTotal:", &MemoryCounters::total},
    {"MemFree:", &MemoryCounters::free},
    {"MemAvailable:", &MemoryCounters::available},
    {"Buffers:", &MemoryCounters::buffers},
    {"Cached:", &MemoryCounters::cached},
    {"SwapTotal:", &MemoryCounters::swap_total},
    {"SwapFree:", &MemoryCounters::swap_free},
}};

constexpr std::uint64_t bytesOf(std::uint64_t kilobytes) {
    return kilobytes << 10;
}

}  // namespace

std::string MemoryInfo::formatShort(std::uint64_t bytes) {
    const auto value = static_cast<double>(bytes);
    if (bytes < kMiB) return "0M";
    if (bytes < kGiB) return figureWithUnit(value / kMiB, 'M');
    return figureWithUnit(value / kGiB, 'G');
}

std::string MemoryInfo::formatPadded(std::uint64_t bytes) {
    return padLeft(formatShort(bytes), 5);
}

std::string MemoryInfo::memFormatted() const {
    const std::uint64_t used = total_bytes > free_bytes ? total_bytes - free_bytes : 0;
    return padLeft(formatShort(used), 4) + "/" + padLeft(formatShort(total_bytes), 4);
}

MemoryCounters parseMeminfo(std::string_view text) {
    MemoryCounters counters;
    LineScanner lines(text);
    for (std::string_view line; lines.next(line);) {
        for (const Field& field : kFields) {
            if (!line.starts_with(field.label)) continue;
            FieldScanner(line.substr(field.label.size())).number(counters.*field.counter);
            break;
        }
    }
    return counters;
}

MemoryInfo memoryInfo(const MemoryCounters& counters) {
    // Kernels before 3.14 have no MemAvailable; what they can give up at once is the next best figure.
    const std::uint64_t available =
        counters.available != 0 ? counters.available : counters.free + counters.buffers + counters.cached;
    MemoryInfo info;
    info.free_bytes = bytesOf(available);
    info.total_bytes = bytesOf(counters.total);
    // Unguarded on purpose: a kernel that claims more free swap than it has shows as absurd, not as 0.
    info.swap_used_bytes = bytesOf(counters.swap_total - counters.swap_free);
    return info;
}

MemoryService::MemoryService(const std::string& root) : meminfo_(kernelPath(root, "/proc/meminfo")) {}

MemoryInfo MemoryService::getMemoryInfo() {
    return memoryInfo(parseMeminfo(meminfo_.read().value_or(std::string_view())));
}
