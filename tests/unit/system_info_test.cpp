#include "system_info.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <memory>

#include "fake_kernel.h"
#include "fake_programs.h"

namespace {

std::string statOf(int busy, int idle) {
    const std::string times = " " + std::to_string(busy) + " 0 0 " + std::to_string(idle) + " 0 0 0 0\n";
    return "cpu " + times + "cpu0" + times + "cpu1" + times;
}

/// A machine of two cores, with memory and one AMD GPU.
class SystemInfoTest : public testing::Test {
protected:
    SystemInfoTest() {
        kernel.file("/proc/stat", statOf(100, 100))
            .file("/proc/meminfo", "MemTotal: 8388608 kB\nMemAvailable: 4194304 kB\n")
            .file("/sys/class/hwmon/hwmon0/name", "coretemp\n")
            .file("/sys/class/hwmon/hwmon0/temp1_input", "45500\n");
        addGpu(0, 30);
    }

    void addGpu(int card, int busy) {
        const std::string device = "/sys/class/drm/card" + std::to_string(card) + "/device";
        kernel.file(device + "/vendor", "0x1002\n");
        kernel.file(device + "/gpu_busy_percent", std::to_string(busy) + "\n");
    }

    void addGpuClient(int pid) {
        const std::string dir = "/proc/" + std::to_string(pid);
        kernel.file(dir + "/fd/4", "").file(dir + "/comm", "game\n");
        kernel.file(dir + "/fdinfo/4", "drm-memory-vram:\t2048 KiB\n");
    }

    FakeKernel kernel;
    FakePrograms programs;  // no nvidia-smi of this machine
};

/// Whether a timer or another source of the main loop would call into the object at this address.
bool hasSource(gpointer address) {
    return g_main_context_find_source_by_user_data(nullptr, address) != nullptr;
}

}  // namespace

TEST_F(SystemInfoTest, StartsWithAnEmptySnapshotAndPrimedCounters) {
    SystemInfo info(kernel.root());
    EXPECT_EQ(info.core_usages.size(), 2U);
    EXPECT_EQ(info.core_usages[0].usage, 0);
    EXPECT_EQ(info.average_cpu, 0);
    EXPECT_FALSE(info.cpu_temperature);
    EXPECT_TRUE(info.gpu_usages.empty());
    EXPECT_EQ(info.network_speed.bytes_up_per_sec, 0);
    EXPECT_EQ(info.network_speed.bytes_down_per_sec, 0);
    EXPECT_EQ(info.memory_info.total_bytes, 0U);
    EXPECT_TRUE(info.top_processes.empty());
    EXPECT_TRUE(info.user_processes.empty());
    EXPECT_EQ(info.active_tab, "cpu");
    EXPECT_FALSE(info.on_fast_update);
    EXPECT_FALSE(info.on_slow_update);
}

TEST_F(SystemInfoTest, AFastCycleFillsTheSnapshotAndThenCallsItsHook) {
    SystemInfo info(kernel.root());
    kernel.file("/proc/stat", statOf(150, 150));
    int calls = 0;
    info.on_fast_update = [&] {
        ++calls;
        EXPECT_DOUBLE_EQ(info.average_cpu, 50);
        EXPECT_EQ(info.memory_info.free_bytes, std::uint64_t{4} << 30);
    };
    info.updateFast();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(info.core_usages.size(), 2U);
    EXPECT_EQ(info.cpu_temperature, 45.5);
    ASSERT_EQ(info.gpu_usages.size(), 1U);
    EXPECT_EQ(info.gpu_usages[0].utilization, 30);
}

TEST_F(SystemInfoTest, TheFastCycleRunsWhicheverPageIsShowing) {
    SystemInfo info(kernel.root());
    int calls = 0;
    info.on_fast_update = [&] { ++calls; };
    for (const char* tab : {"cpu", "gpu", "processes", "settings"}) {
        info.active_tab = tab;
        info.updateFast();
    }
    EXPECT_EQ(calls, 4);
}

TEST_F(SystemInfoTest, ProcessesAreSampledOnTheirOwnPagesOnly) {
    kernel.file("/proc/1/stat", "1 (init) S 0 1 1 0 -1 0 0 0 0 0 5 5 0 0 20 0 1 0 1 100 10 0\n");
    SystemInfo info(kernel.root());
    int calls = 0;
    info.on_slow_update = [&] {
        ++calls;
        EXPECT_EQ(info.top_processes.size(), 1U) << "what is to be shown is there before anyone is told";
    };
    for (const char* tab : {"cpu", "", "Processes", "myprocesses", "gpu"}) {
        info.active_tab = tab;
        info.updateSlow();
    }
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(info.top_processes.empty());
    for (const char* tab : {"processes", "myProcesses"}) {
        info.active_tab = tab;
        info.updateSlow();
    }
    EXPECT_EQ(calls, 2);
    ASSERT_EQ(info.top_processes.size(), 1U);
    EXPECT_EQ(info.top_processes[0].name, "init");
}

TEST_F(SystemInfoTest, GpuProcessesOutliveFastCycles) {
    addGpuClient(42);
    SystemInfo info(kernel.root());
    int hooks = 0;
    info.on_fast_update = info.on_slow_update = [&] { ++hooks; };
    info.loadGPUProcesses();
    EXPECT_EQ(hooks, 0);
    ASSERT_EQ(info.gpu_usages.at(0).processes.size(), 1U);
    kernel.remove("/proc/42");
    info.updateFast();
    info.updateFast();
    ASSERT_EQ(info.gpu_usages.at(0).processes.size(), 1U);
    EXPECT_EQ(info.gpu_usages[0].processes[0].pid, 42);
    info.loadGPUProcesses();
    EXPECT_TRUE(info.gpu_usages.at(0).processes.empty());
}

TEST_F(SystemInfoTest, GpuProcessesArePairedByPlace) {
    addGpuClient(42);
    SystemInfo info(kernel.root());
    info.gpu_usages.resize(3);
    for (int i = 0; i < 3; ++i)
        info.gpu_usages[static_cast<std::size_t>(i)].processes.resize(7);
    info.updateFast();
    ASSERT_EQ(info.gpu_usages.size(), 1U);
    EXPECT_EQ(info.gpu_usages[0].processes.size(), 7U);
    info.gpu_usages.clear();
    info.updateFast();
    ASSERT_EQ(info.gpu_usages.size(), 1U);
    EXPECT_TRUE(info.gpu_usages[0].processes.empty());
}

TEST_F(SystemInfoTest, StoppingIsHarmlessAtAnyTime) {
    SystemInfo info(kernel.root());
    info.stop();
    EXPECT_FALSE(hasSource(&info));
    info.start();
    info.stop();
    info.stop();
    EXPECT_EQ(info.fast_timer_, 0U);
    EXPECT_EQ(info.slow_timer_, 0U);
}

TEST_F(SystemInfoTest, TheFirstRefreshComesAfterHalfASecondEvenWhenStopped) {
    SystemInfo info(kernel.root());
    int calls = 0;
    info.on_fast_update = [&] { ++calls; };
    int slow_calls = 0;
    info.active_tab = "processes";
    info.on_slow_update = [&] { ++slow_calls; };
    const gint64 start = g_get_monotonic_time();
    info.start();
    info.stop();
    ASSERT_EQ(info.fast_timer_, 0U);
    while (hasSource(&info) && g_get_monotonic_time() - start < 10'000'000)
        g_main_context_iteration(nullptr, FALSE);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(slow_calls, 1);
    EXPECT_GE(g_get_monotonic_time() - start, (SystemInfo::kFirstMs - 1) * 1000);
}

TEST_F(SystemInfoTest, NothingCallsIntoADestroyedObject) {
    alignas(SystemInfo) std::array<std::byte, sizeof(SystemInfo)> place;
    EXPECT_FALSE(hasSource(place.data()));
    auto* info = new (place.data()) SystemInfo(kernel.root());
    info->start();
    EXPECT_TRUE(hasSource(place.data()));
    std::destroy_at(info);
    EXPECT_FALSE(hasSource(place.data()));
}

TEST_F(SystemInfoTest, StartingInstallsBothTimersAndTheFirstRefresh) {
    SystemInfo info(kernel.root());
    const gint64 now = g_get_monotonic_time();
    info.start();
    const auto dueIn = [&](guint timer) {
        GSource* source = g_main_context_find_source_by_id(nullptr, timer);
        return source ? static_cast<double>(g_source_get_ready_time(source) - now) / 1e6 : -1;
    };
    EXPECT_NEAR(dueIn(info.fast_timer_), 2.0, 0.3);
    EXPECT_NEAR(dueIn(info.slow_timer_), 5.0, 0.3);
    info.stop();
    EXPECT_TRUE(hasSource(&info)) << "the first refresh is not taken back";
    info.start();
    info.start();
    info.stop();
}

TEST_F(SystemInfoTest, TheFirstProcessListHasFiguresAlready) {
    const auto stat = [](int utime) {
        return "1 (init) S 0 1 1 0 -1 0 0 0 0 0 " + std::to_string(utime) + " 5 0 0 20 0 1 0 1 100 10 0\n";
    };
    kernel.file("/proc/1/stat", stat(5));
    SystemInfo info(kernel.root());
    kernel.file("/proc/1/stat", stat(5000));
    info.active_tab = "processes";
    info.updateSlow();
    ASSERT_EQ(info.top_processes.size(), 1U);
    EXPECT_GT(info.top_processes[0].cpu_usage, 0);
}

TEST_F(SystemInfoTest, AFastCycleTakesOverTheNetworkSpeed) {
    const std::string header = "Inter-|   Receive\n face |bytes\n";
    kernel.file("/proc/net/dev", header + "eth0: 1000 0 0 0 0 0 0 0 500 0 0 0 0 0 0 0\n");
    SystemInfo info(kernel.root());
    kernel.file("/proc/net/dev", header + "eth0: 9000000 0 0 0 0 0 0 0 8000000 0 0 0 0 0 0 0\n");
    const gint64 start = g_get_monotonic_time();
    while (info.network_speed.bytes_down_per_sec == 0 && g_get_monotonic_time() - start < 10'000'000)
        info.updateFast();
    EXPECT_GT(info.network_speed.bytes_down_per_sec, 0);
    EXPECT_GT(info.network_speed.bytes_up_per_sec, 0);
}

TEST_F(SystemInfoTest, ATemperatureThatDisappearsIsAbsent) {
    SystemInfo info(kernel.root());
    info.updateFast();
    EXPECT_TRUE(info.cpu_temperature);
    kernel.remove("/sys/class/hwmon/hwmon0/temp1_input");
    info.updateFast();
    EXPECT_FALSE(info.cpu_temperature);
}

TEST_F(SystemInfoTest, TheTimersGoOn) {
    SystemInfo info(kernel.root());
    EXPECT_EQ(SystemInfo::onFastTimer(&info), G_SOURCE_CONTINUE);
    EXPECT_EQ(SystemInfo::onSlowTimer(&info), G_SOURCE_CONTINUE);
}

TEST(SystemInfo, AMachineWithoutAnythingYieldsNothing) {
    FakePrograms programs;
    FakeKernel kernel;
    SystemInfo info(kernel.root());
    info.active_tab = "processes";
    info.updateFast();
    info.updateSlow();
    EXPECT_TRUE(info.core_usages.empty());
    EXPECT_FALSE(info.cpu_temperature);
    ASSERT_EQ(info.gpu_usages.size(), 1U);
    EXPECT_EQ(info.gpu_usages[0].model_name, "No GPU detected");
    EXPECT_TRUE(info.top_processes.empty());
}

TEST(SystemInfo, ReadsThisMachine) {
    SystemInfo info;
    info.updateFast();
    EXPECT_FALSE(info.core_usages.empty());
    EXPECT_GT(info.memory_info.total_bytes, 0U);
}
