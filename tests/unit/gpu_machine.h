#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "fake_kernel.h"
#include "fake_programs.h"
#include "gpu_service.h"

/// A machine of fixture files and scripts for the GPU service to look at.
class GPUMachineTest : public testing::Test {
protected:
    static constexpr CommandLimits kShort{std::chrono::milliseconds(500), std::chrono::seconds(60)};

    /// A copy of a fixture that the test may change.
    void machine(std::string_view name) {
        std::filesystem::copy(fixtureRoot(name), kernel.root(), std::filesystem::copy_options::recursive);
    }

    /// An lspci that knows one name for every slot.
    void lspci(const std::string& name) {
        programs.script("lspci", "echo \"$2 VGA compatible controller: " + name + "\"");
    }

    /// An nvidia-smi that prints files of the fixtures, after `first` has run.
    void nvidiaSmi(const std::string& names, const std::string& utilization,
                   const std::string& processes = "processes.txt", const std::string& first = "") {
        const std::string texts = "'" + fixtureRoot("nvidia-smi") + "'/";
        programs.script("nvidia-smi", "mkdir running || echo >twice\n" + first + "\ncase $1 in\n" +
                                          "*=name) cat " + texts + names + ";;\n" + "--query-gpu=*) cat " +
                                          texts + utilization + ";;\n" + "*) cat " + texts + processes +
                                          ";;\nesac\nrmdir running");
    }

    /// The same, hanging until the test lets it go on.
    void hangingNvidiaSmi() {
        nvidiaSmi("names-two.txt", "utilization-one.txt", "processes.txt",
                  "while ! [ -e go ]; do sleep 0.02; done");
    }

    void letGo() { programs.file("go", ""); }

    std::vector<std::string> names(const GPUService& service) {
        std::vector<std::string> all;
        for (const GPUInfo& info : service.gpus())
            all.push_back(info.name);
        return all;
    }

    /// Samples until `done` or for too long, with no more than a tick in between.
    template <typename Condition>
    std::vector<GPUUsage> sampleUntil(GPUService& service, Condition done) {
        std::vector<GPUUsage> usages;
        for (int tries = 0; tries < 500; ++tries) {
            usages = service.getAllGPUUsage(false);
            if (done(usages)) return usages;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ADD_FAILURE() << "it never came";
        return usages;
    }

    std::size_t runsOf(std::string_view start) {
        std::size_t count = 0;
        for (const std::string& run : programs.runs())
            count += run.starts_with(start);
        return count;
    }

    FakePrograms programs;
    FakeKernel kernel;
};

inline void expectZeros(const GPUUsage& usage) {
    EXPECT_EQ(usage.utilization, 0);
    EXPECT_EQ(usage.memory_utilization, 0);
    EXPECT_EQ(usage.video_utilization, 0);
}
