#include "cpu_service.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "kernel_text.h"
#include "l10n.h"

namespace {

constexpr double kRisingWeight = 0.95;
constexpr double kFallingWeight = 0.85;

/// Whether this is "cpu0 ..." and not the sum of all cores, "cpu  ...".
bool isCoreLine(std::string_view line) {
    return line.size() >= 4 && line.starts_with("cpu") && line[3] != ' ';
}

CPUService::CpuTimes parseCoreLine(std::string_view line, std::size_t place) {
    CPUService::CpuTimes times;
    FieldScanner fields(line);
    if (!FieldScanner(fields.word().substr(3)).number(times.number)) times.number = static_cast<int>(place);
    for (std::uint64_t* counter : {&times.user, &times.nice, &times.system, &times.idle, &times.iowait,
                                   &times.irq, &times.softirq, &times.steal}) {
        fields.number(*counter);
    }
    return times;
}

std::uint64_t busyTicks(const CPUService::CpuTimes& times) {
    return times.user + times.nice + times.system + times.irq + times.softirq + times.steal;
}

std::uint64_t idleTicks(const CPUService::CpuTimes& times) {
    return times.idle + times.iowait;
}

/// The first hardware thread of the physical core that `core` belongs to; none when the kernel doesn't say.
/// An empty list names no thread but the core itself.
std::optional<int> readFirstSibling(const std::string& root, int core) {
    const std::string path =
        "/sys/devices/system/cpu/cpu" + std::to_string(core) + "/topology/thread_siblings_list";
    const auto list = readKernelFile(kernelPath(root, path), KernelFile::Kind::SingleShow);
    if (!list) return std::nullopt;
    std::string_view line;
    LineScanner(*list).next(line);
    if (line.empty()) return core;
    return parseFirstSibling(line);
}

}  // namespace

void parseCoreTimes(std::string_view text, std::vector<CPUService::CpuTimes>& cores) {
    cores.clear();
    LineScanner lines(text);
    for (std::string_view line; lines.next(line);) {
        if (isCoreLine(line)) cores.push_back(parseCoreLine(line, cores.size()));
    }
}

std::string parseModelName(std::string_view text) {
    LineScanner lines(text);
    for (std::string_view line; lines.next(line);) {
        if (!line.starts_with("model name")) continue;
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos || colon + 2 > line.size()) return {};
        return std::string(line.substr(colon + 2));  // behind the colon and its blank
    }
    return {};
}

std::optional<int> parseFirstSibling(std::string_view line) {
    int first = 0;
    if (!FieldScanner(line.substr(0, line.find_first_of(",-"))).number(first)) return std::nullopt;
    return first;
}

double busyPercent(const CPUService::CpuTimes& from, const CPUService::CpuTimes& to) {
    const std::uint64_t busy_before = busyTicks(from);
    const std::uint64_t busy_after = busyTicks(to);
    // Unsigned sums may wrap; read as signed, their differences still tell which way the counters ran.
    const auto busy = static_cast<std::int64_t>(busy_after - busy_before);
    const auto total = static_cast<std::int64_t>(busy_after + idleTicks(to) - busy_before - idleTicks(from));
    if (total <= 0 || busy <= 0) return 0;
    return std::min(static_cast<double>(busy) / static_cast<double>(total) * 100, 100.0);
}

double smoothUsage(double smoothed, double raw) {
    const double weight = raw > smoothed ? kRisingWeight : kFallingWeight;
    return weight * raw + (1 - weight) * smoothed;
}

CPUService::CPUService(std::string root) : root_(std::move(root)), stat_(kernelPath(root_, "/proc/stat")) {
    cpu_model_ = parseModelName(readKernelFile(kernelPath(root_, "/proc/cpuinfo")).value_or(""));
    if (cpu_model_.empty()) cpu_model_ = L10n::tr("cpu.unknown");
    parseCoreTimes(stat_.read().value_or(std::string_view()), times_);
    total_cores_ = static_cast<int>(times_.size());
    detectTopology();
    getPerCoreUsage();
}

void CPUService::detectTopology() {
    perf_levels_.assign(static_cast<std::size_t>(total_cores_), 0);
    for (int i = 0; i < total_cores_; ++i) {
        const std::optional<int> first = readFirstSibling(root_, i);
        if (first == i) ++physical_cores_;
        if (first && first != i) perf_levels_[static_cast<std::size_t>(i)] = 1;
    }
    if (physical_cores_ == 0) physical_cores_ = total_cores_;
}

int CPUService::perfLevel(int number) const {
    return number >= 0 && std::cmp_less(number, perf_levels_.size())
               ? perf_levels_[static_cast<std::size_t>(number)]
               : 0;
}

/// A core is compared with itself, wherever its line stood: the kernel lists no core that is switched off.
std::vector<CoreUsage> CPUService::getPerCoreUsage() {
    parseCoreTimes(stat_.read().value_or(std::string_view()), times_);
    if (times_.empty()) {
        has_gap_ = true;
        return {};
    }

    std::vector<CoreUsage> usages;
    usages.reserve(times_.size());
    double sum = 0;
    std::size_t before = 0;
    for (const CpuTimes& core : times_) {
        while (before < prev_times_.size() && prev_times_[before].number < core.number)
            ++before;
        double raw = 0;
        double smoothed = 0;
        if (before < prev_times_.size() && prev_times_[before].number == core.number) {
            if (!has_gap_) raw = busyPercent(prev_times_[before], core);
            smoothed = smoothed_usage_[before++];
        }
        sum += raw;
        usages.push_back({.id = static_cast<int>(usages.size()),
                          .usage = smoothUsage(smoothed, raw),
                          .perfLevel = perfLevel(core.number)});
    }
    avg_usage_ = sum / static_cast<double>(usages.size());
    std::swap(prev_times_, times_);
    smoothed_usage_.clear();
    for (const CoreUsage& core : usages)
        smoothed_usage_.push_back(core.usage);
    has_gap_ = false;
    return usages;
}
