// What the services make of whole machines, kept as trees of kernel files below tests/fixtures.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "cpu_service.h"
#include "fake_kernel.h"
#include "memory_service.h"
#include "network_service.h"
#include "temperature_service.h"

using testing::AnyOf;
using testing::ElementsAre;

namespace {

std::vector<std::string> interfacesOf(const char* machine) {
    std::vector<std::string> names;
    for (const NetInterface& interface : NetworkService::listInterfaces(fixtureRoot(machine)))
        names.push_back(interface.name + (interface.is_up ? " up" : " down"));
    return names;
}

std::optional<double> temperatureOf(const char* machine) {
    return TemperatureService(fixtureRoot(machine)).getCPUTemperature();
}

}  // namespace

TEST(Machines, HaveTheirCores) {
    const struct {
        const char* machine;
        const char* model;
        int cores, physical;
    } cases[] = {
        {"desktop-4core", "Intel(R) Core(TM) i5-7500 CPU @ 3.40GHz", 4, 4},
        {"laptop-8threads-comma", "Intel(R) Core(TM) i7-8550U CPU @ 1.80GHz", 8, 4},
        {"laptop-8threads-range", "AMD Ryzen 5 5500U with Radeon Graphics", 8, 4},
        {"server-128core", "AMD EPYC 7763 64-Core Processor", 128, 64},
        {"container-no-stat", "Intel(R) Xeon(R) Platinum 8259CL CPU @ 2.50GHz", 0, 0},
        {"thermal-zone-only", "Intel(R) Celeron(R) N4000 CPU @ 1.10GHz", 2, 2},
        {"no-sensor", "QEMU Virtual CPU version 2.5+", 2, 2},
    };
    for (const auto& c : cases) {
        CPUService service(fixtureRoot(c.machine));
        EXPECT_EQ(service.modelName(), c.model) << c.machine;
        EXPECT_EQ(service.totalCores(), c.cores) << c.machine;
        EXPECT_EQ(service.physicalCores(), c.physical) << c.machine;

        const auto cores = service.getPerCoreUsage();
        EXPECT_EQ(cores.size(), static_cast<std::size_t>(c.cores)) << c.machine;
        const auto firsts = std::count_if(cores.begin(), cores.end(),
                                          [](const CoreUsage& core) { return core.perfLevel == 0; });
        EXPECT_EQ(firsts, c.physical) << c.machine;
    }
}

TEST(Machines, HaveTheirMemory) {
    const struct {
        const char* machine;
        const char* memory;
        const char* swap;
    } cases[] = {
        {"desktop-4core", "6.1G/ 15G", " 1.0G"},
        {"laptop-8threads-comma", "4.7G/7.6G", " 2.0G"},
        {"laptop-8threads-range", "4.3G/ 14G", "   0M"},
        {"server-128core", " 26G/503G", "   0M"},
        {"container-no-stat", "385M/2.0G", "   0M"},
        {"thermal-zone-only", "2.2G/3.7G", "   0M"},
        {"no-sensor", "982M/3.8G", "   0M"},
    };
    for (const auto& c : cases) {
        const MemoryInfo info = MemoryService(fixtureRoot(c.machine)).getMemoryInfo();
        EXPECT_EQ(info.memFormatted(), c.memory) << c.machine;
        EXPECT_EQ(info.swapFormatted(), c.swap) << c.machine;
    }
}

TEST(Machines, HaveTheirInterfaces) {
    EXPECT_THAT(interfacesOf("desktop-4core"), ElementsAre("enp3s0 up", "docker0 down", "wlp2s0 down"));
    EXPECT_THAT(interfacesOf("laptop-8threads-comma"), ElementsAre("wlp0s20f3 up", "enp0s31f6 down"));
    EXPECT_THAT(interfacesOf("thermal-zone-only"), ElementsAre("wlan0 up", "eth0 down"));
    EXPECT_THAT(interfacesOf("no-sensor"), ElementsAre("ens3 down"));
    EXPECT_EQ(interfacesOf("server-128core").front(), "ens1f0np0 up");
    EXPECT_EQ(NetworkService(fixtureRoot("server-128core")).readBytes().rx, 912840033120554U);
    EXPECT_EQ(NetworkService(fixtureRoot("no-sensor")).readBytes().tx, 3312004U);
}

TEST(Machines, HaveTheirTemperature) {
    // Package or core, as the directory has it.
    EXPECT_THAT(temperatureOf("desktop-4core"), AnyOf(45.5, 43.0, 44.0, 42.0, 45.0));
    EXPECT_EQ(temperatureOf("laptop-8threads-comma"), 61.0);
    EXPECT_EQ(temperatureOf("laptop-8threads-range"), 52.125);
    EXPECT_EQ(temperatureOf("server-128core"), 57.375);
    EXPECT_EQ(temperatureOf("container-no-stat"), std::nullopt);
    EXPECT_EQ(temperatureOf("thermal-zone-only"), 51.0);
    EXPECT_EQ(temperatureOf("no-sensor"), std::nullopt);
}
