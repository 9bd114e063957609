#include "memory_service.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "fake_kernel.h"
#include "long_line.h"

using namespace std::string_literals;

namespace {

constexpr std::uint64_t kKiB = 1024;
constexpr std::uint64_t kMiB = 1024 * kKiB;
constexpr std::uint64_t kGiB = 1024 * kMiB;

constexpr std::uint64_t sized(double count, std::uint64_t unit) {
    return static_cast<std::uint64_t>(count * static_cast<double>(unit));
}

MemoryInfo infoFrom(std::string_view meminfo) {
    return memoryInfo(parseMeminfo(meminfo));
}

void expectAllZero(const MemoryInfo& info) {
    EXPECT_EQ(info.free_bytes, 0U);
    EXPECT_EQ(info.total_bytes, 0U);
    EXPECT_EQ(info.swap_used_bytes, 0U);
}

}  // namespace

TEST(MemoryShortText, HasBinaryUnitsAndOneDecimalBelowTen) {
    const struct {
        std::uint64_t bytes;
        const char* text;
    } cases[] = {
        {0, "0M"},
        {1, "0M"},
        {1'048'575, "0M"},
        {kMiB, "1.0M"},
        {sized(1.5, kMiB), "1.5M"},
        {sized(9.94, kMiB), "9.9M"},
        {sized(9.96, kMiB), "10.0M"},  // the decimal is chosen before the rounding
        {10 * kMiB - 1, "10.0M"},
        {10 * kMiB, "10M"},
        {sized(10.99, kMiB), "10M"},
        {512 * kMiB, "512M"},
        {kGiB - 1, "1023M"},
        {kGiB, "1.0G"},
        {sized(1.5, kGiB), "1.5G"},
        {sized(9.96, kGiB), "10.0G"},
        {10 * kGiB, "10G"},
        {sized(15.9, kGiB), "15G"},
        {128 * kGiB, "128G"},
        {4096 * kGiB, "4096G"},
        {UINT64_MAX, "17179869184G"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(MemoryInfo::formatShort(c.bytes), c.text) << c.bytes;
}

TEST(MemoryShortText, PaddedIsFiveWide) {
    EXPECT_EQ(MemoryInfo::formatPadded(0), "   0M");
    EXPECT_EQ(MemoryInfo::formatPadded(10 * kMiB), "  10M");
    EXPECT_EQ(MemoryInfo::formatPadded(512 * kMiB), " 512M");
    EXPECT_EQ(MemoryInfo::formatPadded(sized(1.5, kGiB)), " 1.5G");
    EXPECT_EQ(MemoryInfo::formatPadded(sized(9.96, kMiB)), "10.0M");
    EXPECT_EQ(MemoryInfo::formatPadded(UINT64_MAX), "17179869184G");
}

TEST(MemoryInfo, ShowsUsedAndTotalFourWideEach) {
    const struct {
        std::uint64_t free, total;
        const char* text;
    } cases[] = {
        {12 * kGiB, 16 * kGiB, "4.0G/ 16G"},
        {0, 128 * kGiB, "128G/128G"},
        {16 * kGiB - sized(9.96, kMiB), 16 * kGiB, "10.0M/ 16G"},
        {0, kGiB - 1, "1023M/1023M"},
        {16 * kGiB, 16 * kGiB, "  0M/ 16G"},
        {17 * kGiB, 16 * kGiB, "  0M/ 16G"},  // more free than there is
        {0, 0, "  0M/  0M"},
    };
    for (const auto& c : cases) {
        MemoryInfo info;
        info.free_bytes = c.free;
        info.total_bytes = c.total;
        EXPECT_EQ(info.memFormatted(), c.text);
    }
}

TEST(MemoryInfo, ShowsUsedSwapShortAndFiveWide) {
    MemoryInfo info;
    EXPECT_EQ(info.swapShort(), "0M");
    EXPECT_EQ(info.swapFormatted(), "   0M");
    info.swap_used_bytes = 512 * kMiB;
    EXPECT_EQ(info.swapShort(), "512M");
    EXPECT_EQ(info.swapFormatted(), " 512M");
}

TEST(ParseMeminfo, TakesEachOfItsSevenLines) {
    const MemoryCounters counters = parseMeminfo(
        "MemTotal:       16303028 kB\n"
        "MemFree:         1200300 kB\n"
        "MemAvailable:    9876543 kB\n"
        "Buffers:          345678 kB\n"
        "Cached:          4567890 kB\n"
        "SwapCached:        11111 kB\n"
        "Active:          2222222 kB\n"
        "SwapTotal:       2097148 kB\n"
        "SwapFree:        1048572 kB\n"
        "CmaTotal:              0 kB\n");
    EXPECT_EQ(counters.total, 16303028U);
    EXPECT_EQ(counters.free, 1200300U);
    EXPECT_EQ(counters.available, 9876543U);
    EXPECT_EQ(counters.buffers, 345678U);
    EXPECT_EQ(counters.cached, 4567890U);
    EXPECT_EQ(counters.swap_total, 2097148U);
    EXPECT_EQ(counters.swap_free, 1048572U);
}

TEST(ParseMeminfo, ReadsTheLineFromItsStart) {
    const struct {
        const char* line;
        std::uint64_t total;
    } cases[] = {
        {"MemTotal: 7 kB", 7},
        {"MemTotal:7", 7},
        {"MemTotal:\t 7 pages", 7},
        {"MemTotal: 7", 7},
        {"MemTotal: 18446744073709551615 kB", UINT64_MAX},
        {" MemTotal: 7 kB", 0},
        {"xMemTotal: 7 kB", 0},
        {"memtotal: 7 kB", 0},
        {"MemTotal 7 kB", 0},
        {"MemTotal:", 0},
        {"MemTotal: kB", 0},
        {"MemTotal: -7 kB", 0},
        {"MemTotal: 18446744073709551616 kB", 0},
        {"MemTotal: 7 kB\nMemTotal: 8 kB", 8},
        {"MemTotal: 7 kB\nMemTotal: many", 7},
    };
    for (const auto& c : cases)
        EXPECT_EQ(parseMeminfo(c.line).total, c.total) << c.line;
}

TEST(MemoryInfo, CountsInBytes) {
    const MemoryInfo info =
        infoFrom("MemTotal: 16 kB\nMemFree: 1 kB\nMemAvailable: 9 kB\nSwapTotal: 8 kB\nSwapFree: 3 kB\n");
    EXPECT_EQ(info.total_bytes, 16 * kKiB);
    EXPECT_EQ(info.free_bytes, 9 * kKiB);
    EXPECT_EQ(info.swap_used_bytes, 5 * kKiB);
}

TEST(MemoryInfo, WithoutAvailableMemoryAddsUpWhatCanBeGivenUp) {
    EXPECT_EQ(infoFrom("MemFree: 1 kB\nBuffers: 2 kB\nCached: 4 kB\nSwapCached: 8 kB\n").free_bytes,
              7 * kKiB);
    EXPECT_EQ(infoFrom("MemAvailable: 0 kB\nMemFree: 1 kB\nBuffers: 2 kB\nCached: 4 kB\n").free_bytes,
              7 * kKiB);
}

TEST(MemoryInfo, MoreFreeSwapThanSwapWrapsAround) {
    EXPECT_EQ(infoFrom("SwapTotal: 1 kB\nSwapFree: 2 kB\n").swap_used_bytes, UINT64_MAX - 1023);
    EXPECT_EQ(infoFrom("SwapTotal: 1 kB\nSwapFree: 2 kB\n").swapShort(), "17179869184G");
}

TEST(MemoryService, ReadsAnewAtEachCall) {
    FakeKernel kernel;
    MemoryService service(kernel.root());
    expectAllZero(service.getMemoryInfo());
    kernel.file("/proc/meminfo", "MemTotal: 4 kB\nMemAvailable: 3 kB\n");
    EXPECT_EQ(service.getMemoryInfo().free_bytes, 3 * kKiB);
    kernel.file("/proc/meminfo", "MemTotal: 4 kB\nMemAvailable: 2 kB\n");
    EXPECT_EQ(service.getMemoryInfo().free_bytes, 2 * kKiB);
    kernel.remove("/proc/meminfo");
    expectAllZero(service.getMemoryInfo());
}

TEST(MemoryService, BadFilesReadAsZeros) {
    const std::string bad[] = {
        "",
        "\n\n\n",
        "MemTot",
        "MemTotal:",
        "\0\xff\xfe\x7f MemTotal: 7 kB"s,
        "MemTotal:\0 7 kB"s,
        longLine('M'),
        "MemTotal:" + longLine(' '),
        "MemTotal: " + longLine('9'),
    };
    FakeKernel kernel;
    MemoryService service(kernel.root());
    for (const std::string& content : bad) {
        kernel.file("/proc/meminfo", content);
        expectAllZero(service.getMemoryInfo());
    }
    kernel.remove("/proc/meminfo").directory("/proc/meminfo");
    expectAllZero(service.getMemoryInfo());
}

TEST(MemoryService, AFileCutInANumberStillCounts) {
    FakeKernel kernel;
    kernel.file("/proc/meminfo", "MemTotal: 16 kB\nMemFree: 8 kB\nMemAvailable: 1");
    EXPECT_EQ(MemoryService(kernel.root()).getMemoryInfo().free_bytes, kKiB);
}

TEST(MemoryService, ReadsTheRealKernel) {
    const MemoryInfo info = MemoryService().getMemoryInfo();
    EXPECT_GT(info.total_bytes, 16 * kMiB);
    EXPECT_GT(info.free_bytes, 0U);
    EXPECT_LE(info.free_bytes, info.total_bytes);
}
