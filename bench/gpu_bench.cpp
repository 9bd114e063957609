// What one refresh of an AMD card's figures costs. The limit is what the kernel itself takes to produce the
// same files, so each round times both and `ratio` is the one to the other; on a busy machine both grow
// alike. Files of a fixture are cheaper to read than the kernel's, so that the ratio on a real card is lower.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <string>

#include "gpu_service.h"
#include "ratio.h"

namespace {

using Clock = std::chrono::steady_clock;

const std::string kRoot = FIXTURES_DIR "/gpu-amd";
const std::string kDevice = kRoot + "/sys/class/drm/card0/device";

/// The least that a program can do: open, read and close the same files into one fixed buffer.
class BareReads {
public:
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
    std::array<std::string, 3> paths_{kDevice + "/power/runtime_status", kDevice + "/gpu_busy_percent",
                                      kDevice + "/mem_busy_percent"};
    std::array<char, 64> buffer_{};
};

void refreshOfAnAmdCard(benchmark::State& state) {
    GPUService service(kRoot);
    BareReads bare;
    double refresh_seconds = 0;
    double bare_seconds = 0;
    for ([[maybe_unused]] auto round : state) {
        const double refresh = secondsOf([&] { benchmark::DoNotOptimize(service.getAllGPUUsage(false)); });
        bare_seconds += secondsOf([&] { bare.read(); });
        refresh_seconds += refresh;
        state.SetIterationTime(refresh);
    }
    reportRatio(state, refresh_seconds / bare_seconds, 1.5);
}

}  // namespace

BENCHMARK(refreshOfAnAmdCard)->UseManualTime();
