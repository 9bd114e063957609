// What one refresh of an AMD card's figures costs. The limit is what the kernel itself takes to produce the
// same files, so each round times both and `ratio` is the one to the other; on a busy machine both grow
// alike. Files of a fixture are cheaper to read than the kernel's, so that the ratio on a real card is lower.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "gpu_service.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

/// One AMD card in files of a temporary directory.
class CardFiles {
public:
    CardFiles() : root_(fs::temp_directory_path() / ("korvalune-gpu-bench-" + std::to_string(getpid()))) {
        fs::create_directories(device() / "power");
        std::ofstream(device() / "vendor") << "0x1002\n";
        std::ofstream(device() / "power/runtime_status") << "active\n";
        std::ofstream(device() / "gpu_busy_percent") << "37\n";
        std::ofstream(device() / "mem_busy_percent") << "12\n";
    }
    ~CardFiles() {
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }
    CardFiles(const CardFiles&) = delete;
    CardFiles& operator=(const CardFiles&) = delete;

    std::string root() const { return root_.string(); }
    fs::path device() const { return root_ / "sys/class/drm/card0/device"; }

private:
    fs::path root_;
};

/// The least that a program can do: open, read and close the same files into one fixed buffer.
class BareReads {
public:
    explicit BareReads(const fs::path& device)
        : paths_{device / "power/runtime_status", device / "gpu_busy_percent", device / "mem_busy_percent"} {}

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
    std::array<std::string, 3> paths_;
    std::array<char, 64> buffer_{};
};

double secondsFor(auto&& work) {
    const Clock::time_point start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void refreshOfAnAmdCard(benchmark::State& state) {
    const CardFiles card;
    GPUService service(card.root());
    BareReads bare(card.device());
    double refresh_seconds = 0;
    double bare_seconds = 0;
    for ([[maybe_unused]] auto round : state) {
        const double refresh = secondsFor([&] { benchmark::DoNotOptimize(service.getAllGPUUsage(false)); });
        bare_seconds += secondsFor([&] { bare.read(); });
        refresh_seconds += refresh;
        state.SetIterationTime(refresh);
    }
    state.counters["ratio"] = refresh_seconds / bare_seconds;
}

}  // namespace

BENCHMARK(refreshOfAnAmdCard)->UseManualTime();
