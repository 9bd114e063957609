#include "gpu_clients.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

#include "fake_kernel.h"

namespace {

void addClient(FakeKernel& kernel, int pid, std::uint64_t vram_kib) {
    const std::string process = "/proc/" + std::to_string(pid);
    kernel.file(process + "/comm", "client" + std::to_string(pid) + "\n")
        .file(process + "/fd/3", "")
        .file(process + "/fdinfo/3", "drm-memory-vram:\t" + std::to_string(vram_kib) + " KiB\n");
}

std::string text(const std::vector<GPUProcessUsage>& clients) {
    std::string all;
    for (const auto& [pid, name, vram_mb] : clients)
        all += std::to_string(pid) + "|" + name + "|" + std::to_string(vram_mb) + "\n";
    return all;
}

}  // namespace

TEST(DrmMemory, IsVramPlusGtt) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
    const std::pair<std::string_view, std::optional<std::uint64_t>> cases[] = {
        {"drm-memory-vram:\t512 KiB\ndrm-memory-gtt: \t256 KiB\n", 768},
        {"pos:\t0\ndrm-memory-vram: 512 KiB", 512},
        {"drm-memory-gtt:256", 256},
        {"drm-memory-vram:\t0 KiB\n", 0},
        {"drm-memory-vram: 1 KiB\ndrm-memory-vram: 2 KiB\n", 2},
        {"pos:\t0\nflags:\t02\n", std::nullopt},
        {"", std::nullopt},
        {" drm-memory-vram: 512 KiB\n", std::nullopt},
        {"drm-memory-vram 512 KiB\n", std::nullopt},
        {"amd-requested-vram: 512 KiB\ndrm-memory-cpu: 3 KiB\n", std::nullopt},
        {"drm-memory-vram:\ndrm-memory-gtt:\n512\n", std::nullopt},
        {"drm-memory-vram: -1 KiB\ndrm-memory-gtt: many\n", std::nullopt},
        {"drm-memory-vram: 99999999999999999999999\n", std::nullopt},
        {"drm-memory-vram: 18446744073709551615\ndrm-memory-gtt: 5\n", kMost},
    };
    for (const auto& [fdinfo, kib] : cases)
        EXPECT_EQ(parseDrmMemory(fdinfo), kib) << fdinfo;
}

TEST(GpuClients, AreListedByMemoryEachOnce) {
    EXPECT_EQ(text(findGpuClients(fixtureRoot("gpu-amd"))),
              "2040|browser|1152\n812|compositor|532\n2043|2043|3\n2041|thumbnailer|0\n");
}

TEST(GpuClients, NoneWithoutProc) {
    EXPECT_EQ(text(findGpuClients(fixtureRoot("no-such-machine"))), "");
    EXPECT_EQ(text(findGpuClients(fixtureRoot("gpu-none"))), "");
}

TEST(GpuClients, AreTheTenLargest) {
    FakeKernel kernel;
    for (int pid = 100; pid < 115; ++pid)
        addClient(kernel, pid, static_cast<std::uint64_t>(pid) * 1024);
    const auto clients = findGpuClients(kernel.root());
    ASSERT_EQ(clients.size(), 10U);
    EXPECT_EQ(clients.front().pid, 114);
    EXPECT_EQ(clients.back().pid, 105);
    EXPECT_EQ(clients.back().vram_mb, 105U);
}

TEST(GpuClients, AreCountedWhateverAmountTheFirstDescriptorHas) {
    FakeKernel kernel;
    addClient(kernel, 7, 0);
    EXPECT_EQ(text(findGpuClients(kernel.root())), "");
    kernel.file("/proc/7/fd/4", "").file("/proc/7/fdinfo/4", "pos:\t0\n");
    kernel.file("/proc/7/fdinfo/3", "drm-memory-gtt:\t1024 KiB\n");
    EXPECT_EQ(text(findGpuClients(kernel.root())), "7|client7|1\n");
}

TEST(GpuClients, AreNotLookedAtBeyondTheirFirstDescriptor) {
    FakeKernel kernel;
    kernel.file("/proc/7/fd/3", "").file("/proc/7/fd/4", "").file("/proc/7/comm", "tool\n");
    const std::string first = std::filesystem::directory_iterator(kernel.at("/proc/7/fd"))->path().filename();
    for (const char* descriptor : {"3", "4"})
        kernel.file("/proc/7/fdinfo/" + std::string(descriptor), "drm-memory-vram: 5000 KiB\n");
    EXPECT_EQ(text(findGpuClients(kernel.root())), "7|tool|4\n");
    kernel.file("/proc/7/fdinfo/" + first, "drm-memory-vram: 0 KiB\n");
    EXPECT_EQ(text(findGpuClients(kernel.root())), "");
}

TEST(GpuClients, SkipWhatCanNotBeRead) {
    FakeKernel kernel;
    addClient(kernel, 7, 1024);
    kernel.file("/proc/8", "no directory");
    kernel.directory("/proc/9");
    kernel.file("/proc/10/fd", "no directory").file("/proc/10/comm", "x\n");
    kernel.file("/proc/11/fd/3", "");
    kernel.directory("/proc/12/fd/3").directory("/proc/12/fdinfo/3");
    kernel.file("/proc/self/fd/3", "").file("/proc/self/fdinfo/3", "drm-memory-vram: 5000 KiB\n");
    kernel.file("/proc/99999999999999/fd/3", "");
    kernel.file("/proc/99999999999999/fdinfo/3", "drm-memory-vram: 5000 KiB\n");
    kernel.file("/proc/13/fd/3", "")
        .file("/proc/13/fdinfo/3", std::string("\0\xff\n\0drm-memory-vram: 9", 22));
    EXPECT_EQ(text(findGpuClients(kernel.root())), "7|client7|1\n");
}

TEST(GpuClients, ANameIsTheFirstLineOfCommOrElseTheDirectorys) {
    FakeKernel kernel;
    const auto nameWith = [&](std::string_view comm) {
        addClient(kernel, 7, 1024);
        kernel.file("/proc/7/comm", comm);
        return findGpuClients(kernel.root()).at(0).name;
    };
    EXPECT_EQ(nameWith("tool\n"), "tool");
    EXPECT_EQ(nameWith("tool"), "tool");
    EXPECT_EQ(nameWith("one\ntwo\n"), "one");
    EXPECT_EQ(nameWith(""), "7");
    EXPECT_EQ(nameWith("\ntwo\n"), "7");
    EXPECT_EQ(nameWith(" a) <b>\xff\n"), " a) <b>\xff");
    addClient(kernel, 7, 1024);
    kernel.remove("/proc/7/comm");
    EXPECT_EQ(findGpuClients(kernel.root()).at(0).name, "7");
}

TEST(GpuClients, ReadTheRealKernel) {
    const auto clients = findGpuClients("/");
    if (clients.empty()) GTEST_SKIP() << "no process that may be read here uses a graphics card";
    for (const auto& client : clients)
        EXPECT_GT(client.pid, 0);
}
