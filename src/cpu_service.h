#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kernel_file.h"

/// One logical core in the order of /proc/stat.
struct CoreUsage {
    int id = 0;         ///< 0-based place in the list
    double usage = 0;   ///< smoothed usage, percent 0..100
    int perfLevel = 0;  ///< 0 = first hardware thread of its physical core (or unknown), 1 = SMT sibling
};

/// CPU usage per logical core from /proc/stat, and what the CPU is: its model from /proc/cpuinfo, its cores
/// and their hardware threads from /sys/devices/system/cpu. Model and topology are read once, at
/// construction.
class CPUService {
public:
    /// Cumulative times of one core since boot, in clock ticks, in the kernel's order.
    struct CpuTimes {
        std::uint64_t user = 0, nice = 0, system = 0, idle = 0, iowait = 0, irq = 0, softirq = 0, steal = 0;
        int number = 0;  ///< the kernel's: 2 for "cpu2"; the core's place where the label has none
    };

    explicit CPUService(std::string root = "/");

    /// The usage of every core since the last call, smoothed: quick to rise, slower to fall. A core that was
    /// not there at the last call is measured from the next call on, and so are all after a failed read.
    /// Empty when /proc/stat can't be read or names no core.
    std::vector<CoreUsage> getPerCoreUsage();

    /// Mean of the unsmoothed usage of all cores at the last call, percent 0..100; a call that found no core
    /// leaves it as it was.
    double getAverageUsage() const { return avg_usage_; }

    /// As /proc/cpuinfo names it, or the translated text for an unknown CPU.
    const std::string& modelName() const { return cpu_model_; }
    int totalCores() const { return total_cores_; }        ///< logical cores at construction
    int physicalCores() const { return physical_cores_; }  ///< physical cores, all logical ones if unknown

private:
    void detectTopology();
    int perfLevel(int number) const;

    std::string root_;
    KernelFile stat_;
    std::vector<CpuTimes> prev_times_;    ///< of the last read that found cores
    std::vector<CpuTimes> times_;         ///< of this read; kept between calls for its memory alone
    std::vector<double> smoothed_usage_;  ///< of the cores in prev_times_
    bool has_gap_ = false;                ///< whether reads failed since then
    std::vector<int> perf_levels_;        ///< by the kernel's number
    double avg_usage_ = 0;
    std::string cpu_model_;
    int total_cores_ = 0;
    int physical_cores_ = 0;
};

/// Fills `cores` with the times of all cores in a text of /proc/stat, in its order; counters that are missing
/// or no numbers are 0. A core's place is that of its line: the numbers of cores that are switched off are
/// passed over.
void parseCoreTimes(std::string_view text, std::vector<CPUService::CpuTimes>& cores);

/// The model in a text of /proc/cpuinfo, as its first "model name" line has it; empty when there is none.
std::string parseModelName(std::string_view text);

/// The first hardware thread in a line such as "0,4" or "0-1"; none when no number leads it.
std::optional<int> parseFirstSibling(std::string_view line);

/// What part of the time between two reads a core was busy, percent 0..100; idle is what it spent in idle or
/// iowait. 0 when no time passed or counters ran backwards, as they may when cores come and go.
double busyPercent(const CPUService::CpuTimes& from, const CPUService::CpuTimes& to);

/// The next smoothed usage, percent: close to a higher new one, slower behind a lower one.
double smoothUsage(double smoothed, double raw);
