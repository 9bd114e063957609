// What one refresh of an AMD card's figures costs. The limit is what the kernel itself takes to produce the
// same files, so each round times both and `ratio` is the one to the other; on a busy machine both grow
// alike. Files of a fixture are cheaper to read than the kernel's, so that the ratio on a real card is lower.

#include <benchmark/benchmark.h>

#include <array>
#include <string>

#include "gpu_service.h"
#include "ratio.h"

namespace {

const std::string kRoot = FIXTURES_DIR "/gpu-amd";
const std::string kDevice = kRoot + "/sys/class/drm/card0/device";

const std::array<std::string, 3> kFiles{kDevice + "/power/runtime_status", kDevice + "/gpu_busy_percent",
                                        kDevice + "/mem_busy_percent"};

void refreshOfAnAmdCard(benchmark::State& state) {
    GPUService service(kRoot);
    std::array<char, 64> buffer{};
    double refresh_seconds = 0;
    double bare_seconds = 0;
    for ([[maybe_unused]] auto round : state) {
        const double refresh = secondsOf([&] { benchmark::DoNotOptimize(service.getAllGPUUsage(false)); });
        bare_seconds += secondsOf([&] { readBare(kFiles, buffer); });
        refresh_seconds += refresh;
        state.SetIterationTime(refresh);
    }
    reportRatio(state, refresh_seconds / bare_seconds, 1.5);
}

}  // namespace

BENCHMARK(refreshOfAnAmdCard)->UseManualTime();
