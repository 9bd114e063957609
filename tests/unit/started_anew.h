#pragma once

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>

#include "temporary_directory.h"

/// For tests that have their own program restart itself. While kReportVariable names a file, a start of the
/// test program runs no test: it writes down how it was started and ends.
constexpr const char* kReportVariable = "KORVALUNE_TEST_REPORT";

inline long steadyMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

struct StartReport {
    long time_ms = 0;  ///< steadyMs() at the start
    bool pipe_signal_ignored = false;
    std::string arguments;  ///< each followed by a zero byte
};

inline bool reportedStart() {
    const char* const report = std::getenv(kReportVariable);
    if (report == nullptr) return false;
    const bool ignored = signal(SIGPIPE, SIG_DFL) == SIG_IGN;
    const std::string part = std::string(report) + ".part";
    std::ofstream(part) << steadyMs() << ' ' << ignored << ' ' << contentOf("/proc/self/cmdline");
    std::filesystem::rename(part, report);
    _exit(0);
}

/// Before main().
inline const bool kReportedStart = reportedStart();

/// The report once it is there; none after ten seconds.
inline std::optional<StartReport> awaitReport(const std::filesystem::path& file) {
    for (const long end = steadyMs() + 10'000; steadyMs() < end;) {
        if (std::ifstream in(file); in) {
            StartReport report;
            in >> report.time_ms >> report.pipe_signal_ignored;
            in.get();
            std::getline(in, report.arguments);
            return report;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return std::nullopt;
}
