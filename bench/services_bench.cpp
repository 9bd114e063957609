// What one refresh of the panel's figures costs: cores, temperature, network and memory. The limit is what
// the kernel itself takes to produce the same files, so each round times both and `ratio` is the one to the
// other; on a busy machine both grow alike.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "cpu_service.h"
#include "kernel_file.h"
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

std::vector<std::string> filesOf(const std::string& root) {
    std::vector<std::string> paths;
    for (const char* file : {"/proc/stat", "/proc/net/dev", "/proc/meminfo"})
        paths.push_back(kernelPath(root, file));
    const std::string sensor = TemperatureService(root).hwmonPath();
    if (!sensor.empty()) paths.push_back(sensor);
    return paths;
}

/// Every number of a text by the C library: the least that can be done with counters once they are read.
void convertAll(const std::string& text) {
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at < end;) {
        char* behind = nullptr;
        benchmark::DoNotOptimize(std::strtoull(at, &behind, 10));
        at = behind > at ? behind : at + 1;
    }
}

/// Times refreshes and bare reads in turn; the reported time is that of a refresh.
void compare(benchmark::State& state, const std::string& root, double limit,
             const std::string& counters = {}) {
    Services services(root);
    const std::vector<std::string> files = filesOf(root);
    std::vector<char> buffer(65536);
    double refresh_seconds = 0;
    double bare_seconds = 0;
    for ([[maybe_unused]] auto _ : state) {
        const double seconds = secondsOf([&] { services.refresh(); });
        refresh_seconds += seconds;
        bare_seconds += secondsOf([&] {
            readBare(files, buffer);
            convertAll(counters);
        });
        state.SetIterationTime(seconds);
    }
    state.counters["bare"] = benchmark::Counter(bare_seconds, benchmark::Counter::kAvgIterations);
    reportRatio(state, refresh_seconds / bare_seconds, limit);
}

void refreshOfThisMachine(benchmark::State& state) {
    compare(state, "/", 1.5);
}

// Plain files cost next to nothing to read, so that nearly all of this is our own work: it is held against
// what the C library takes to convert the same counters, which depends on the processor as our work does.
void refreshOf128Cores(benchmark::State& state) {
    const std::string root = FIXTURES_DIR "/server-128core";
    compare(state, root, 0.8, readKernelFile(kernelPath(root, "/proc/stat")).value_or(""));
}

}  // namespace

BENCHMARK(refreshOfThisMachine)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(refreshOf128Cores)->UseManualTime()->Unit(benchmark::kMicrosecond);
