#include "temperature_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>

#include "access_log.h"
#include "fake_kernel.h"
#include "long_line.h"

using namespace std::string_literals;

namespace {

std::optional<double> temperatureOf(const FakeKernel& kernel) {
    return TemperatureService(kernel.root()).getCPUTemperature();
}

void addMonitor(FakeKernel& kernel, const std::string& directory, const std::string& name) {
    kernel.file("/sys/class/hwmon/" + directory + "/name", name + "\n");
}

void addZone(FakeKernel& kernel, const std::string& directory, const std::string& type,
             const std::string& millidegrees) {
    kernel.file("/sys/class/thermal/" + directory + "/type", type + "\n")
        .file("/sys/class/thermal/" + directory + "/temp", millidegrees + "\n");
}

}  // namespace

TEST(TemperatureText, IsRoundedInThePage) {
    const struct {
        double celsius;
        const char* text;
    } cases[] = {
        {45.5, "46 °C"}, {44.5, "44 °C"}, {45.4, "45 °C"},   {0, "0 °C"},
        {-5.6, "-6 °C"}, {100, "100 °C"}, {99.96, "100 °C"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(TemperatureService::formatTemperature(c.celsius), c.text);
}

TEST(TemperatureText, IsCutInThePanel) {
    const struct {
        double celsius;
        const char* text;
    } cases[] = {
        {45.5, "45°C"}, {45.999, "45°C"}, {45, "45°C"},   {0, "0°C"},
        {-0.5, "0°C"},  {-5.6, "-5°C"},   {100, "100°C"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(TemperatureService::menuBarTemperatureString(c.celsius), c.text);
}

TEST(TemperatureText, AbsurdFiguresStayShort) {
    for (const double celsius : {1e300, -1e300, HUGE_VAL, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_LE(TemperatureService::formatTemperature(celsius).size(), 31U);
        EXPECT_LE(TemperatureService::menuBarTemperatureString(celsius).size(), 31U);
    }
    EXPECT_EQ(TemperatureService::menuBarTemperatureString(9e15), "9000000000000000°C");
}

TEST(TemperatureService, KnowsTheMonitorsOfCpus) {
    const struct {
        const char* name;
        bool known;
    } cases[] = {
        {"coretemp", true},   {"k10temp", true},    {"zenpower", true}, {"it8728", true},
        {"coretemp x", true}, {" k10temp", true},   {"nvme", false},    {"acpitz", false},
        {"Coretemp", false},  {"coretemp2", false}, {"it8720", false},  {"x86_pkg_temp", false},
        {"cpu", false},       {"", false},
    };
    for (const auto& c : cases) {
        FakeKernel kernel;
        addMonitor(kernel, "hwmon0", c.name);
        kernel.file("/sys/class/hwmon/hwmon0/temp1_input", "45500\n");
        EXPECT_EQ(temperatureOf(kernel).has_value(), c.known) << c.name;
    }
}

TEST(TemperatureService, KnowsTheInputsOfAMonitor) {
    const struct {
        const char* file;
        bool input;
    } cases[] = {
        {"temp1_input", true}, {"temp12_input", true}, {"temp_input_old", true}, {"temp1_crit", false},
        {"in0_input", false},  {"fan1_input", false},  {"Temp1_input", false},   {"xtemp1_input", false},
    };
    for (const auto& c : cases) {
        FakeKernel kernel;
        addMonitor(kernel, "hwmon3", "k10temp");
        kernel.file(std::string("/sys/class/hwmon/hwmon3/") + c.file, "45500\n");
        EXPECT_EQ(temperatureOf(kernel).has_value(), c.input) << c.file;
    }
}

TEST(TemperatureService, KnowsTheZonesOfCpus) {
    const struct {
        const char* type;
        bool known;
    } cases[] = {
        {"x86_pkg_temp", true}, {"cpu-thermal", true}, {"soc-CPU", true},  {"acpitz", true},
        {"acpitz2", false},     {"iwlwifi_1", false},  {"Cpu", false},     {"X86", false},
        {"pch_skylake", false}, {"", false},           {"fan cpu", false},
    };
    for (const auto& c : cases) {
        FakeKernel kernel;
        addZone(kernel, "thermal_zone0", c.type, "45500");
        EXPECT_EQ(temperatureOf(kernel).has_value(), c.known) << c.type;
    }
}

TEST(TemperatureService, AMonitorComesBeforeAnyZone) {
    FakeKernel kernel;
    addZone(kernel, "thermal_zone0", "x86_pkg_temp", "60000");
    addMonitor(kernel, "hwmon0", "coretemp");
    kernel.file("/sys/class/hwmon/hwmon0/temp1_input", "45500\n");
    EXPECT_EQ(temperatureOf(kernel), 45.5);
}

TEST(TemperatureService, PassesOverUnfitEntries) {
    FakeKernel kernel;
    addMonitor(kernel, "hwmon0", "nvme");
    kernel.file("/sys/class/hwmon/hwmon0/temp1_input", "38850\n");
    addMonitor(kernel, "hwmon1", "coretemp");  // without an input
    kernel.file("/sys/class/hwmon/hwmon1/temp1_crit", "100000\n")
        .file("/sys/class/hwmon/hwmon2", "no directory");
    addMonitor(kernel, "hwmon3", "k10temp");
    kernel.file("/sys/class/hwmon/hwmon3/temp1_input", "52000\n");
    EXPECT_EQ(temperatureOf(kernel), 52.0);

    kernel.remove("/sys/class/hwmon/hwmon3");
    EXPECT_EQ(temperatureOf(kernel), std::nullopt);
    addZone(kernel, "cooling_device0", "Processor", "1");
    addZone(kernel, "thermal_zone0", "acpitz", "27800");
    EXPECT_EQ(temperatureOf(kernel), 27.8);
}

TEST(TemperatureService, TheDirectorysOrderDecidesBetweenInputs) {
    FakeKernel kernel;
    addMonitor(kernel, "hwmon0", "coretemp");
    for (int i = 1; i <= 9; ++i) {
        kernel.file("/sys/class/hwmon/hwmon0/temp" + std::to_string(i) + "_input", std::to_string(i * 1000));
    }
    std::string first;
    for (const auto& entry : std::filesystem::directory_iterator(kernel.at("/sys/class/hwmon/hwmon0"))) {
        first = entry.path().filename().string();
        if (first != "name") break;
    }
    EXPECT_EQ(temperatureOf(kernel), first.at(4) - '0');
}

TEST(TemperatureService, ReadsThousandthsOfADegree) {
    const struct {
        const char* content;
        std::optional<double> celsius;
    } cases[] = {
        {"45500\n", 45.5},  {"45500", 45.5},
        {"-1250\n", -1.25}, {"0\n", 0.0},
        {" 7\n", 0.007},    {"45x", 0.045},
        {"", {}},           {"\n", {}},
        {"N/A\n", {}},      {"\xff\xfe", {}},
        {"-", {}},          {"4550", 4.55},
        {"x45500\n", {}},   {"99999999999999999999", {}},
    };
    FakeKernel kernel;
    addZone(kernel, "thermal_zone0", "acpitz", "1");
    TemperatureService service(kernel.root());
    for (const auto& c : cases) {
        kernel.file("/sys/class/thermal/thermal_zone0/temp", c.content);
        EXPECT_EQ(service.getCPUTemperature(), c.celsius) << c.content;
    }
}

TEST(TemperatureService, ASensorThatIsGoneIsTriedAgain) {
    FakeKernel kernel;
    addZone(kernel, "thermal_zone0", "acpitz", "30000");
    TemperatureService service(kernel.root());
    EXPECT_EQ(service.getCPUTemperature(), 30.0);
    kernel.remove("/sys/class/thermal");
    EXPECT_EQ(service.getCPUTemperature(), std::nullopt);
    addZone(kernel, "thermal_zone0", "acpitz", "31000");
    EXPECT_EQ(service.getCPUTemperature(), 31.0);
}

TEST(TemperatureService, ASensorThatIsLostIsLookedForAnew) {
    FakeKernel kernel;
    addMonitor(kernel, "hwmon2", "coretemp");
    kernel.file("/sys/class/hwmon/hwmon2/temp1_input", "45500\n");
    TemperatureService service(kernel.root());
    EXPECT_EQ(service.getCPUTemperature(), 45.5);
    kernel.remove("/sys/class/hwmon/hwmon2");
    EXPECT_EQ(service.getCPUTemperature(), std::nullopt);

    addMonitor(kernel, "hwmon2", "nvme");  // another chip has its number now
    kernel.file("/sys/class/hwmon/hwmon2/temp1_input", "38850\n");
    EXPECT_EQ(service.getCPUTemperature(), std::nullopt);
    addMonitor(kernel, "hwmon5", "coretemp");
    kernel.file("/sys/class/hwmon/hwmon5/temp1_input", "46500\n");
    EXPECT_EQ(service.getCPUTemperature(), 46.5);
}

TEST(TemperatureService, AZoneDoesNotStandInForALostMonitor) {
    FakeKernel kernel;
    addMonitor(kernel, "hwmon1", "coretemp");
    kernel.file("/sys/class/hwmon/hwmon1/temp1_input", "45000\n");
    addZone(kernel, "thermal_zone0", "acpitz", "20000");
    TemperatureService service(kernel.root());
    kernel.remove("/sys/class/hwmon/hwmon1");
    EXPECT_EQ(service.getCPUTemperature(), std::nullopt);
    EXPECT_EQ(service.getCPUTemperature(), std::nullopt);

    addMonitor(kernel, "hwmon4", "coretemp");
    kernel.file("/sys/class/hwmon/hwmon4/temp1_input", "46000\n");
    EXPECT_EQ(service.getCPUTemperature(), 46.0);
}

TEST(TemperatureService, EachSearchStartsFromNothing) {
    FakeKernel kernel;
    TemperatureService service(kernel.root());
    EXPECT_EQ(service.getCPUTemperature(), std::nullopt);
    addZone(kernel, "thermal_zone0", "acpitz", "30000");
    EXPECT_EQ(service.getCPUTemperature(), std::nullopt);
    service.findHwmonPath();
    EXPECT_EQ(service.hwmonPath(), kernel.at("/sys/class/thermal/thermal_zone0/temp"));
    EXPECT_EQ(service.getCPUTemperature(), 30.0);
    kernel.file("/sys/class/thermal/thermal_zone0/type", "battery");
    service.findHwmonPath();
    EXPECT_EQ(service.hwmonPath(), "");
    EXPECT_EQ(service.getCPUTemperature(), std::nullopt);
}

TEST(TemperatureService, WithoutASensorNothingIsOpened) {
    FakeKernel kernel;
    addMonitor(kernel, "hwmon0", "nvme");
    kernel.file("/sys/class/hwmon/hwmon0/temp1_input", "38850\n");
    addZone(kernel, "thermal_zone0", "battery", "30000");
    TemperatureService service(kernel.root());
    AccessLog log;
    for (const char* directory : {"/", "/sys", "/sys/class", "/sys/class/hwmon", "/sys/class/hwmon/hwmon0",
                                  "/sys/class/thermal", "/sys/class/thermal/thermal_zone0"}) {
        log.watch(kernel.at(directory));
    }
    EXPECT_EQ(service.getCPUTemperature(), std::nullopt);
    EXPECT_THAT(log.take(), testing::IsEmpty());
}

TEST(TemperatureService, BadDirectoriesAndNamesLeaveNoSensor) {
    FakeKernel kernel;
    EXPECT_EQ(temperatureOf(kernel), std::nullopt);
    kernel.file("/sys/class/hwmon", "a file").file("/sys/class/thermal", "a file");
    EXPECT_EQ(temperatureOf(kernel), std::nullopt);
    kernel.remove("/sys/class/hwmon").remove("/sys/class/thermal");
    for (const std::string& content : {""s, "\0coretemp"s, "\xff\xfe"s, longLine('c')}) {
        kernel.file("/sys/class/hwmon/hwmon0/name", content)
            .file("/sys/class/hwmon/hwmon0/temp1_input", "45500\n")
            .file("/sys/class/thermal/thermal_zone0/type", content)
            .file("/sys/class/thermal/thermal_zone0/temp", "45500\n");
        EXPECT_EQ(temperatureOf(kernel), std::nullopt);
    }
    kernel.file("/sys/class/thermal/thermal_zone0/type", "acpitz")
        .file("/sys/class/thermal/thermal_zone0/temp", longLine('9'));
    EXPECT_EQ(temperatureOf(kernel), std::nullopt);
}

TEST(TemperatureService, ReadsTheRealKernel) {
    const std::optional<double> celsius = TemperatureService().getCPUTemperature();
    if (!celsius) GTEST_SKIP() << "this machine has no sensor";
    EXPECT_GT(*celsius, -60);
    EXPECT_LT(*celsius, 150);
}
