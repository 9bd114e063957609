#include "network_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "fake_kernel.h"
#include "long_line.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using namespace std::string_literals;

namespace {

const std::string kHeader =
    "Inter-|   Receive                                                |  Transmit\n"
    " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop fifo colls "
    "carrier compressed\n";

/// A line as the kernel prints it.
std::string devLine(const std::string& name, std::uint64_t rx, std::uint64_t tx) {
    return name + ": " + std::to_string(rx) + " 11 1 2 3 4 5 6 " + std::to_string(tx) + " 22 1 2 3 4 5 6\n";
}

/// A machine whose one interface has counted so much.
void count(FakeKernel& kernel, std::uint64_t rx, std::uint64_t tx) {
    kernel.file("/proc/net/dev", kHeader + devLine("    lo", 900, 900) + devLine("  eth0", rx, tx));
}

void addInterface(FakeKernel& kernel, const std::string& name, const std::string& state,
                  const std::string& rx_bytes) {
    kernel.file("/sys/class/net/" + name + "/operstate", state + "\n")
        .file("/sys/class/net/" + name + "/statistics/rx_bytes", rx_bytes + "\n");
}

std::vector<std::string> namesOf(const std::vector<NetInterface>& interfaces) {
    std::vector<std::string> names;
    names.reserve(interfaces.size());
    for (const NetInterface& interface : interfaces)
        names.push_back(interface.name);
    return names;
}

std::pair<std::uint64_t, std::uint64_t> totals(std::string_view text, std::string_view selected = "") {
    const auto bytes = parseNetDev(text, selected);
    return {bytes.rx, bytes.tx};
}

using Bytes = std::pair<std::uint64_t, std::uint64_t>;
const NetworkService::Clock::time_point kStart{1000s};

}  // namespace

TEST(NetworkSpeedText, HasBinaryUnitsRightAlignedInFive) {
    const struct {
        double rate;
        const char* text;
    } cases[] = {
        {0, "   0K"},
        {-5, "   0K"},
        {1, "   0K"},
        {1023, "   0K"},
        {1023.999, "   0K"},
        {1024, " 1.0K"},
        {1536, " 1.5K"},
        {9.96 * 1024, "10.0K"},  // the decimal is chosen before the rounding
        {10240, "  10K"},
        {1048575, "1023K"},
        {1048576, " 1.0M"},
        {9.94 * 1048576, " 9.9M"},
        {10.0 * 1048576, "  10M"},
        {1073741823, "1023M"},
        {1073741824, " 1.0G"},
        {12.0 * 1073741824, "12.0G"},  // no whole numbers here
        {100.0 * 1073741824, "100.0G"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(NetworkSpeed::format(c.rate), c.text) << c.rate;
}

TEST(NetworkSpeedText, AbsurdRatesStayShort) {
    for (const double rate : {1e300, HUGE_VAL, -HUGE_VAL})
        EXPECT_LE(NetworkSpeed::format(rate).size(), 31U);
}

TEST(NetworkSpeedText, UpAndDownAreNotMixedUp) {
    const NetworkSpeed speed{.bytes_up_per_sec = 1024, .bytes_down_per_sec = 2048};
    EXPECT_EQ(speed.upFormatted(), " 1.0K");
    EXPECT_EQ(speed.downFormatted(), " 2.0K");
}

TEST(ParseNetDev, AddsUpAllButLoopback) {
    const std::string text =
        kHeader + devLine("    lo", 5, 5) + devLine("  eth0", 100, 10) + devLine("wlan0", 200, 20);
    EXPECT_EQ(totals(text), Bytes(300, 30));
    EXPECT_EQ(totals(text, "eth0"), Bytes(100, 10));
    EXPECT_EQ(totals(text, "wlan0"), Bytes(200, 20));
    EXPECT_EQ(totals(text, "eth"), Bytes(0, 0));
    EXPECT_EQ(totals(text, "eth00"), Bytes(0, 0));
    EXPECT_EQ(totals(text, "lo"), Bytes(0, 0));
}

TEST(ParseNetDev, ReadsTheFirstAndTheNinthNumberOfALine) {
    const struct {
        const char* line;
        Bytes bytes;
    } cases[] = {
        {"eth0: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16", {1, 9}},
        {"eth0:1 2 3 4 5 6 7 8 9", {1, 9}},  // old kernels leave no blank behind a long name
        {" \t eth0:\t1 2 3 4 5 6 7 8 9", {1, 9}},
        {"eth0: 18446744073709551615 2 3 4 5 6 7 8 18446744073709551615", {UINT64_MAX, UINT64_MAX}},
        {"eth0: 1 2 3 4 5 6 7 8", {1, 0}},
        {"eth0: 1", {1, 0}},
        {"eth0: 1 2 x 4 5 6 7 8 9", {1, 0}},
        {"eth0: x 2 3 4 5 6 7 8 9", {0, 0}},
        {"eth0: 18446744073709551616 2 3 4 5 6 7 8 9", {0, 0}},
        {"eth0: -1 2 3 4 5 6 7 8 9", {0, 0}},
        {"eth0:", {0, 0}},
        {"eth0", {0, 0}},
        {"eth0 1 2 3 4 5 6 7 8 9", {0, 0}},
        {"", {0, 0}},
        {"eth0:1: 2 3 4 5 6 7 8 9", {1, 0}},
        {"eth0 : 1 2 3 4 5 6 7 8 9", {0, 0}},  // another name, with a blank at its end
    };
    for (const auto& c : cases)
        EXPECT_EQ(totals(kHeader + c.line, "eth0"), c.bytes) << c.line;
}

TEST(ParseNetDev, DropsTwoLinesOfHeaders) {
    EXPECT_EQ(totals(devLine("a", 1, 1) + devLine("b", 2, 2) + devLine("c", 4, 4)), Bytes(4, 4));
    EXPECT_EQ(totals(kHeader), Bytes(0, 0));
    EXPECT_EQ(totals("Inter-|"), Bytes(0, 0));
}

TEST(ParseInterfaceNames, AreAllButLoopback) {
    EXPECT_THAT(parseInterfaceNames(kHeader + devLine("    lo", 5, 5) + devLine("  eth0", 1, 1) +
                                    devLine("br-6f3a21b0c9d4", 2, 2) + devLine("lo0", 3, 3) + "no colon\n"),
                ElementsAre("eth0", "br-6f3a21b0c9d4", "lo0"));
    EXPECT_THAT(parseInterfaceNames(""), IsEmpty());
    EXPECT_THAT(parseInterfaceNames(kHeader), IsEmpty());
}

TEST(CountedSince, ACounterThatWentBackCountsFromZero) {
    EXPECT_EQ(countedSince(5000, 6200), 1200U);
    EXPECT_EQ(countedSince(5000, 5000), 0U);
    EXPECT_EQ(countedSince(5000, 1200), 1200U);
    EXPECT_EQ(countedSince(0, UINT64_MAX), UINT64_MAX);
    EXPECT_EQ(countedSince(UINT64_MAX, 0), 0U);
}

TEST(SmoothRate, ShowsTheFirstRateAtOnceAndGlidesAfterwards) {
    const double first = smoothRate(0, 1000);
    EXPECT_DOUBLE_EQ(first, 1000);
    const double second = smoothRate(first, 0);
    EXPECT_DOUBLE_EQ(second, 700);
    EXPECT_DOUBLE_EQ(smoothRate(second, 0), 490);
    EXPECT_DOUBLE_EQ(smoothRate(1000, 2000), 1300);
    EXPECT_DOUBLE_EQ(smoothRate(0, 0), 0);
}

TEST(NetworkService, RatesAreBytesPerSecondOfTheTimeThatPassed) {
    FakeKernel kernel;
    count(kernel, 1000, 100);
    NetworkService service(kernel.root(), kStart);
    count(kernel, 5000, 300);
    const NetworkSpeed speed = service.getSpeed(kStart + 2s);
    EXPECT_DOUBLE_EQ(speed.bytes_down_per_sec, 2000);
    EXPECT_DOUBLE_EQ(speed.bytes_up_per_sec, 100);
}

TEST(NetworkService, RatesAreSmoothedEachByItself) {
    FakeKernel kernel;
    count(kernel, 0, 0);
    NetworkService service(kernel.root(), kStart);
    count(kernel, 1000, 0);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 1s).bytes_down_per_sec, 1000);
    count(kernel, 1000, 500);  // receiving stops, sending begins
    const NetworkSpeed speed = service.getSpeed(kStart + 2s);
    EXPECT_DOUBLE_EQ(speed.bytes_down_per_sec, 700);
    EXPECT_DOUBLE_EQ(speed.bytes_up_per_sec, 500);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 3s).bytes_down_per_sec, 490);
}

TEST(NetworkService, ASecondCallInQuickSuccessionReadsNothing) {
    FakeKernel kernel;
    count(kernel, 0, 0);
    NetworkService service(kernel.root(), kStart);
    count(kernel, 2000, 0);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 2s).bytes_down_per_sec, 1000);
    count(kernel, 4000, 0);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 2050ms).bytes_down_per_sec, 1000);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 2099ms).bytes_down_per_sec, 1000);
    // The 2000 bytes count over the whole second since the last reading, not since the calls between.
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 3s).bytes_down_per_sec, 0.3 * 2000 + 0.7 * 1000);
}

TEST(NetworkService, ATenthOfASecondIsLongEnough) {
    FakeKernel kernel;
    count(kernel, 0, 0);
    NetworkService service(kernel.root(), kStart);
    count(kernel, 100, 0);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 100ms).bytes_down_per_sec, 1000);
}

TEST(NetworkService, NoTimeOrTimeBackwardsRepeatsTheAnswer) {
    FakeKernel kernel;
    count(kernel, 0, 0);
    NetworkService service(kernel.root(), kStart);
    count(kernel, 1000, 1000);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart).bytes_down_per_sec, 0);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart - 5s).bytes_down_per_sec, 0);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 1s).bytes_down_per_sec, 1000);
}

TEST(NetworkService, ACounterThatWasResetCountsFromZero) {
    FakeKernel kernel;
    count(kernel, 5000, 700);
    NetworkService service(kernel.root(), kStart);
    count(kernel, 1200, 800);
    const NetworkSpeed speed = service.getSpeed(kStart + 1s);
    EXPECT_DOUBLE_EQ(speed.bytes_down_per_sec, 1200);
    EXPECT_DOUBLE_EQ(speed.bytes_up_per_sec, 100);
}

TEST(NetworkService, AFileThatIsGoneForATickLeavesNoSpike) {
    FakeKernel kernel;
    count(kernel, 50'000'000'000, 700);
    NetworkService service(kernel.root(), kStart);
    count(kernel, 50'000'001'000, 700);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 1s).bytes_down_per_sec, 1000);
    kernel.remove("/proc/net/dev");
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 2s).bytes_down_per_sec, 700);
    count(kernel, 50'000'001'000, 700);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 3s).bytes_down_per_sec, 490);
}

TEST(NetworkService, WhatCameInAGapCountsOverAllOfIt) {
    FakeKernel kernel;
    count(kernel, 50'000'000'000, 700);
    NetworkService service(kernel.root(), kStart);
    kernel.remove("/proc/net/dev");
    for (int second = 1; second <= 9; ++second)
        EXPECT_DOUBLE_EQ(service.getSpeed(kStart + second * 1s).bytes_down_per_sec, 0);
    count(kernel, 50'000'010'000, 700);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 10s).bytes_down_per_sec, 1000);
    count(kernel, 50'000'011'000, 700);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 11s).bytes_down_per_sec, 1000);
}

TEST(NetworkService, AFileThatIsMissingAtTheStartLeavesNoSpike) {
    FakeKernel kernel;
    NetworkService service(kernel.root(), kStart);
    count(kernel, 50'000'000'000, 700);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 1s).bytes_down_per_sec, 0);
    count(kernel, 50'000'001'000, 700);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 2s).bytes_down_per_sec, 1000);
}

TEST(NetworkService, InterfacesThatComeAndGoLeaveNoSpike) {
    FakeKernel kernel;
    const auto list = [&](const std::string& lines) { kernel.file("/proc/net/dev", kHeader + lines); };
    list(devLine("eth0", 5'000'000'000, 500) + devLine("wlan0", 9'000'000'000, 900));
    NetworkService service(kernel.root(), kStart);  // none is up: all are measured
    const auto down = [&](int second) { return service.getSpeed(kStart + second * 1s).bytes_down_per_sec; };

    list(devLine("eth0", 5'000'000'100, 500));  // one goes
    EXPECT_DOUBLE_EQ(down(1), 100);
    list(devLine("wlan0", 9'000'000'000, 900) + devLine("eth0", 5'000'000'200, 500));  // and is back
    EXPECT_DOUBLE_EQ(down(2), 100);
    list(devLine("wlan0", 9'000'000'050, 900) + devLine("lan", 5'000'000'200, 500));  // one is renamed
    EXPECT_DOUBLE_EQ(down(3), 0.3 * 50 + 0.7 * 100);
    list("");  // all go
    EXPECT_DOUBLE_EQ(down(4), 0.7 * 85);
    list(devLine("lan", 7'000, 70));  // one begins again
    EXPECT_DOUBLE_EQ(down(5), 0.7 * 0.7 * 85);
    list(devLine("lan", 7'100, 70));
    EXPECT_DOUBLE_EQ(down(6), 0.3 * 100 + 0.7 * 0.7 * 0.7 * 85);
}

TEST(NetworkService, TheChosenInterfaceComesBackWithoutASpike) {
    FakeKernel kernel;
    count(kernel, 8'000'000'000, 700);
    NetworkService service(kernel.root(), kStart);
    service.setInterface("eth0", kStart);
    kernel.file("/proc/net/dev", kHeader + devLine("wlan0", 50'000, 50'000));
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 1s).bytes_down_per_sec, 0);
    count(kernel, 8'000'000'000, 700);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 2s).bytes_down_per_sec, 0);
    count(kernel, 8'000'001'000, 700);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 3s).bytes_down_per_sec, 1000);
}

TEST(NetworkService, StartsWithTheBusiestInterfaceThatIsUp) {
    FakeKernel kernel;
    kernel.file("/proc/net/dev",
                kHeader + devLine("eth0", 1, 1) + devLine("eth1", 2, 2) + devLine("eth2", 4, 4));
    addInterface(kernel, "eth0", "up", "100");
    addInterface(kernel, "eth1", "up", "200");
    addInterface(kernel, "eth2", "down", "300");
    const auto bytes = NetworkService(kernel.root(), kStart).readBytes();
    EXPECT_EQ(bytes.rx, 2U);
    EXPECT_EQ(bytes.tx, 2U);
}

TEST(NetworkService, WithNoInterfaceUpMeasuresAllButLoopback) {
    FakeKernel kernel;
    kernel.file("/proc/net/dev",
                kHeader + devLine("lo", 8, 8) + devLine("eth0", 1, 1) + devLine("eth1", 2, 2));
    addInterface(kernel, "eth0", "down", "100");
    NetworkService service(kernel.root(), kStart);
    EXPECT_EQ(service.readBytes().rx, 3U);
    kernel.file("/proc/net/dev",
                kHeader + devLine("lo", 80, 80) + devLine("eth0", 11, 1) + devLine("eth1", 22, 2));
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 1s).bytes_down_per_sec, 30);
}

TEST(NetworkService, AnotherInterfaceStartsAgainFromZero) {
    FakeKernel kernel;
    const auto both = [&](std::uint64_t eth0, std::uint64_t wlan0) {
        kernel.file("/proc/net/dev", kHeader + devLine("eth0", eth0, 0) + devLine("wlan0", wlan0, 0));
    };
    both(0, 7000);
    addInterface(kernel, "eth0", "up", "0");
    NetworkService service(kernel.root(), kStart);
    both(1000, 7000);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 1s).bytes_down_per_sec, 1000);

    service.setInterface("wlan0", kStart + 2s);
    EXPECT_EQ(service.readBytes().rx, 7000U);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 2050ms).bytes_down_per_sec, 0);
    both(9000, 7500);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 3s).bytes_down_per_sec, 500);

    service.setInterface("", kStart + 4s);
    both(9100, 7600);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 5s).bytes_down_per_sec, 200);
}

TEST(NetworkService, TellsWhatItMeasuresAndCouldMeasure) {
    FakeKernel kernel;
    kernel.file("/proc/net/dev", kHeader + devLine("eth0", 1, 1) + devLine("eth1", 2, 2));
    NetworkService service(kernel.root(), kStart);
    EXPECT_EQ(service.selectedInterface(), "");
    addInterface(kernel, "eth1", "up", "100");
    EXPECT_THAT(namesOf(service.interfaces()), ElementsAre("eth1", "eth0"));
    service.setInterface("eth0", kStart);
    EXPECT_EQ(service.selectedInterface(), "eth0");
}

TEST(NetworkService, AnInterfaceThatIsGoneGlidesToZero) {
    FakeKernel kernel;
    count(kernel, 0, 0);
    NetworkService service(kernel.root(), kStart);
    service.setInterface("eth0", kStart);
    count(kernel, 1000, 1000);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 1s).bytes_down_per_sec, 1000);
    kernel.file("/proc/net/dev", kHeader + devLine("wlan0", 50'000, 50'000));
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 2s).bytes_down_per_sec, 700);
    kernel.remove("/proc/net/dev");
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 3s).bytes_down_per_sec, 490);
    EXPECT_DOUBLE_EQ(service.getSpeed(kStart + 4s).bytes_up_per_sec, 343);
}

TEST(ListInterfaces, PutsThoseUpFirstAndTheBusiestFirstAmongThem) {
    FakeKernel kernel;
    kernel.file("/proc/net/dev", kHeader + devLine("lo", 1, 1) + devLine("idle", 1, 1) +
                                     devLine("busydown", 1, 1) + devLine("busy", 1, 1) +
                                     devLine("lazydown", 1, 1));
    addInterface(kernel, "lo", "up", "99999");
    addInterface(kernel, "idle", "up", "10");
    addInterface(kernel, "busy", "up", "18446744073709551615");
    addInterface(kernel, "busydown", "down", "5000");
    addInterface(kernel, "lazydown", "dormant", "4000");
    const auto interfaces = NetworkService::listInterfaces(kernel.root());
    EXPECT_THAT(namesOf(interfaces), ElementsAre("busy", "idle", "busydown", "lazydown"));
    EXPECT_TRUE(interfaces[1].is_up);
    EXPECT_FALSE(interfaces[2].is_up);
    EXPECT_EQ(interfaces[0].rx_bytes, UINT64_MAX);
    EXPECT_EQ(interfaces[3].rx_bytes, 4000U);
}

TEST(ListInterfaces, OnlyTheWordUpIsUp) {
    const struct {
        const char* operstate;
        bool is_up;
    } cases[] = {
        {"up\n", true},       {" up", true},   {"up down\n", true}, {"down\n", false},
        {"unknown\n", false}, {"UP\n", false}, {"upp\n", false},    {"dormant\n", false},
        {"", false},          {"\n", false},   {"\xff", false},
    };
    FakeKernel kernel;
    count(kernel, 1, 1);
    for (const auto& c : cases) {
        kernel.file("/sys/class/net/eth0/operstate", c.operstate);
        EXPECT_EQ(NetworkService::listInterfaces(kernel.root()).at(0).is_up, c.is_up) << c.operstate;
    }
}

TEST(ListInterfaces, UnreadableCountersAreZero) {
    FakeKernel kernel;
    count(kernel, 1, 1);
    EXPECT_EQ(NetworkService::listInterfaces(kernel.root()).at(0).rx_bytes, 0U);
    for (const std::string& content : {""s, "x"s, "-1\n"s, "18446744073709551616"s, longLine('9')}) {
        kernel.file("/sys/class/net/eth0/statistics/rx_bytes", content);
        EXPECT_EQ(NetworkService::listInterfaces(kernel.root()).at(0).rx_bytes, 0U);
    }
}

TEST(ListInterfaces, HostileNamesStayInTheirDirectory) {
    FakeKernel kernel;
    const std::string longest(300, 'n');
    kernel.file("/proc/net/dev", kHeader + devLine("../x", 1, 1) + devLine("..", 1, 1) + devLine(".", 1, 1) +
                                     devLine("", 1, 1) + devLine("<b>\xff", 1, 1) + devLine(longest, 1, 1));
    // What such names would reach if they were taken for directories.
    for (const char* place : {"/sys/class/x", "/sys/class", "/sys/class/net"}) {
        kernel.file(std::string(place) + "/operstate", "up\n")
            .file(std::string(place) + "/statistics/rx_bytes", "7\n");
    }
    const auto interfaces = NetworkService::listInterfaces(kernel.root());
    EXPECT_THAT(namesOf(interfaces), UnorderedElementsAre("../x", "..", ".", "", "<b>\xff", longest));
    for (const NetInterface& interface : interfaces) {
        EXPECT_FALSE(interface.is_up) << interface.name;
        EXPECT_EQ(interface.rx_bytes, 0U) << interface.name;
    }
}

TEST(NetworkService, BadFilesReadAsNothing) {
    const std::string bad[] = {
        "",
        "\n\n\n\n",
        "Inter-|   Rec",
        kHeader + "  eth",
        kHeader + "  eth0:",
        "\0\xff\xfe\x7f:::\n"s,
        longLine('e'),
        longLine(':'),
        kHeader + longLine(' ') + ":",
        kHeader + "eth0: " + longLine('9'),
    };
    FakeKernel kernel;
    for (const std::string& content : bad) {
        kernel.file("/proc/net/dev", content);
        NetworkService service(kernel.root(), kStart);
        const NetworkSpeed speed = service.getSpeed(kStart + 2s);
        EXPECT_EQ(speed.bytes_down_per_sec, 0);
        EXPECT_EQ(speed.bytes_up_per_sec, 0);
        EXPECT_LE(NetworkService::listInterfaces(kernel.root()).size(), 1U);
    }
    kernel.remove("/proc/net/dev");
    EXPECT_THAT(NetworkService::listInterfaces(kernel.root()), IsEmpty());
    EXPECT_EQ(NetworkService(kernel.root(), kStart).readBytes().rx, 0U);
}

TEST(NetworkService, AFileCutInANumberStillCounts) {
    FakeKernel kernel;
    kernel.file("/proc/net/dev", kHeader + "  eth0: 1000 1 0 0 0 0 0 0 50 1 0 0 0 0 0 0\n wlan0: 20");
    const auto bytes = NetworkService(kernel.root(), kStart).readBytes();
    EXPECT_EQ(bytes.rx, 1020U);
    EXPECT_EQ(bytes.tx, 50U);
}

TEST(NetworkService, ReadsTheRealKernel) {
    NetworkService service;
    const NetworkSpeed speed = service.getSpeed(NetworkService::Clock::now() + 2s);
    EXPECT_GE(speed.bytes_down_per_sec, 0);
    EXPECT_GE(speed.bytes_up_per_sec, 0);
    for (const NetInterface& interface : NetworkService::listInterfaces()) {
        EXPECT_NE(interface.name, "lo");
        EXPECT_FALSE(interface.name.empty());
    }
}
