// What one refresh of the panel's figures costs: cores, temperature, network and memory. The limit is what
// the kernel itself takes to produce the same files, so each round times both and `ratio` is the one to the
// other; on a busy machine both grow alike.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <string>
#include <vector>

#include "cpu_service.h"
#include "memory_service.h"
#include "network_service.h"
#include "ratio.h"
#include "temperature_service.h"

namespace {

using Clock = std::chrono::steady_clock;

class Services {
public:
    explicit Services(const std::string& root)
        : cpu_(root), temperature_(root), network_(root), memory_(root) {}

    void refresh() {
        benchmark::DoNotOptimize(cpu_.getPerCoreUsage());
        benchmark::DoNotOptimize(temperature_.getCPUTemperature());
        // A call too soon after the last would read nothing.
        benchmark::DoNotOptimize(network_.getSpeed(now_ += std::chrono::seconds(2)));
        benchmark::DoNotOptimize(memory_.getMemoryInfo());
    }

private:
    CPUService cpu_;
    TemperatureService temperature_;
    NetworkService network_;
    MemoryService memory_;
    Clock::time_point now_ = Clock::now();
};

/// The least that a program can do: open, read and close the same files into one fixed buffer.
class BareReads {
public:
    explicit BareReads(const std::string& root) {
        for (const char* file : {"/proc/stat", "/proc/net/dev", "/proc/meminfo"})
            paths_.push_back(kernelPath(root, file));
        const std::string sensor = TemperatureService(root).hwmonPath();
        if (!sensor.empty()) paths_.push_back(sensor);
    }

    void read() {
        for (const std::string& path : paths_) {
            const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
            if (fd < 0) continue;
            benchmark::DoNotOptimize(::read(fd, buffer_.data(), buffer_.size()));
            benchmark::ClobberMemory();
            close(fd);
        }
    }

private:
    std::vector<std::string> paths_;
    std::array<char, 65536> buffer_{};
};

/// Times refreshes and bare reads in turn; the reported time is that of a refresh.
void compare(benchmark::State& state, const std::string& root, double limit) {
    Services services(root);
    BareReads bare(root);
    double refresh_seconds = 0;
    double bare_seconds = 0;
    for ([[maybe_unused]] auto _ : state) {
        const double seconds = secondsOf([&] { services.refresh(); });
        refresh_seconds += seconds;
        bare_seconds += secondsOf([&] { bare.read(); });
        state.SetIterationTime(seconds);
    }
    state.counters["bare"] = benchmark::Counter(bare_seconds, benchmark::Counter::kAvgIterations);
    reportRatio(state, refresh_seconds / bare_seconds, limit);
}

void refreshOfThisMachine(benchmark::State& state) {
    compare(state, "/", 1.5);
}

// Plain files cost next to nothing to read, so that nearly all of this is our own work.
void refreshOf128Cores(benchmark::State& state) {
    compare(state, FIXTURES_DIR "/server-128core", 2.0);
}

}  // namespace

BENCHMARK(refreshOfThisMachine)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(refreshOf128Cores)->UseManualTime()->Unit(benchmark::kMicrosecond);
