#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "gpu_usage.h"
#include "patient_command.h"

/// What nvidia-smi tells about the first board, percent each, and about the processes on all boards.
struct NvidiaSample {
    int utilization = 0;
    int memory_utilization = 0;
    int video_utilization = 0;
    std::vector<GPUProcessUsage> processes;
};

/// The boards' names, one a line; empty lines name none.
std::vector<std::string> parseNvidiaNames(std::string_view output);

/// The percentages in the first line ("45, 12, 3"). The first field that is no number ("[N/A]") and all
/// behind it stay 0.
NvidiaSample parseNvidiaUtilization(std::string_view output);

/// Lines of process id, name and used memory in MiB ("1234, python3, 512"), in their order; others are left
/// out.
std::vector<GPUProcessUsage> parseNvidiaProcesses(std::string_view output);

/// The boards that only the nvidia-smi program can tell about. It is asked at most once per figure, however
/// many boards there are, never while the kernel has suspended one of them (it would wake them all), and it
/// never holds the caller up past a deadline.
class NvidiaSmi {
public:
    using Clock = PatientCommand::Clock;

    /// Looks below `root` for the boards' power states; asks nothing yet.
    NvidiaSmi(std::string root, CommandLimits limits)
        : root_(std::move(root)), command_(limits), late_figures_stand_(5 * limits.wait) {}

    /// Finds the boards. Where nvidia-smi can't be asked yet, or does not answer in time, one board without a
    /// name stands for them.
    void detect(Clock::time_point deadline);

    /// Asks again for names that are still missing; true when names() has changed.
    bool updateNames(Clock::time_point deadline);

    /// The boards' full names, one per board; empty while a board's is not known.
    const std::vector<std::string>& names() const { return names_; }

    /// All zero while a board sleeps or nvidia-smi has no answer. Where it always takes its time, the figures
    /// that came last stand until it answers again, for five times the caller's wait at most.
    NvidiaSample sample(bool with_processes, Clock::time_point deadline);

private:
    struct Device {
        std::string directory;    ///< of the PCI device
        std::string power_state;  ///< its power state file
    };

    bool aBoardSleeps() const;

    std::string root_;
    PatientCommand command_;
    std::vector<std::string> names_;
    bool names_missing_ = false;
    std::vector<Device> devices_;
    std::chrono::milliseconds late_figures_stand_;
    NvidiaSample late_figures_;  ///< the last answer, if it came late
    Clock::time_point late_since_{};
};
