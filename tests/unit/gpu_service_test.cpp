#include "gpu_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "access_log.h"
#include "gpu_machine.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Clock = std::chrono::steady_clock;

namespace {

using GPUServiceTest = GPUMachineTest;

}  // namespace

TEST_F(GPUServiceTest, AMachineWithoutGraphicsHasOneEntryOfTypeNone) {
    for (const char* name : {"gpu-none", "gpu-nvidia", "no-such-machine"}) {
        GPUService service(fixtureRoot(name));
        ASSERT_EQ(service.gpus().size(), 1U) << name;
        EXPECT_EQ(service.gpus()[0].type, GPUInfo::Type::None);
        EXPECT_EQ(service.gpus()[0].sysfs_path, "");
        const auto usages = service.getAllGPUUsage(true);
        ASSERT_EQ(usages.size(), 1U);
        EXPECT_EQ(usages[0].model_name, "No GPU detected");
        EXPECT_THAT(usages[0].processes, IsEmpty());
        expectZeros(usages[0]);
    }
}

TEST_F(GPUServiceTest, WithoutGraphicsNothingIsOpened) {
    machine("gpu-none");
    GPUService service(kernel.root());
    AccessLog log;
    for (const char* directory : {"/", "/proc", "/sys/class", "/sys/class/drm"})
        log.watch(kernel.at(directory));
    service.getAllGPUUsage(true);
    EXPECT_THAT(log.take(), IsEmpty());
}

// AMD

TEST_F(GPUServiceTest, AMDIsReadFromItsDeviceDirectory) {
    lspci("Advanced Micro Devices, Inc. [AMD/ATI] Navi 31 [Radeon RX 7900 XT/7900 XTX] (rev c8)");
    GPUService service(fixtureRoot("gpu-amd"));
    ASSERT_EQ(service.gpus().size(), 1U);
    EXPECT_EQ(service.gpus()[0].type, GPUInfo::Type::AMD);
    EXPECT_EQ(service.gpus()[0].sysfs_path, fixtureRoot("gpu-amd") + "/sys/class/drm/card0/device");
    EXPECT_THAT(programs.runs(), ElementsAre("lspci -s 0000:03:00.0"));

    const auto usages = service.getAllGPUUsage(false);
    ASSERT_EQ(usages.size(), 1U);
    EXPECT_EQ(usages[0].utilization, 37);
    EXPECT_EQ(usages[0].memory_utilization, 12);
    EXPECT_EQ(usages[0].video_utilization, 0);
    EXPECT_EQ(usages[0].model_name, "AMD Navi 31 [Radeon RX 7900 XT/7900 XTX]");
    EXPECT_THAT(usages[0].processes, IsEmpty());
    EXPECT_EQ(programs.runs().size(), 1U) << "the name is asked for once";
}

TEST_F(GPUServiceTest, AMDListsItsProcessesOnRequest) {
    GPUService service(fixtureRoot("gpu-amd"));
    const auto usages = service.getAllGPUUsage(true);
    ASSERT_EQ(usages[0].processes.size(), 4U);
    EXPECT_EQ(usages[0].processes[0].name, "browser");
    EXPECT_EQ(usages[0].processes[0].vram_mb, 1152U);
    EXPECT_EQ(usages[0].processes[3].name, "thumbnailer");
    EXPECT_EQ(usages[0].processes[3].vram_mb, 0U) << "900 KiB round down";
}

TEST_F(GPUServiceTest, EachClientCountsForEachAMDCard) {
    machine("gpu-amd");
    std::filesystem::copy(kernel.at("/sys/class/drm/card0"), kernel.at("/sys/class/drm/card1"),
                          std::filesystem::copy_options::recursive);
    GPUService service(kernel.root());
    const auto usages = service.getAllGPUUsage(true);
    ASSERT_EQ(usages.size(), 2U);
    EXPECT_EQ(usages[0].processes.size(), 4U);
    EXPECT_EQ(usages[1].processes.size(), 4U);
}

TEST_F(GPUServiceTest, TheProgramsMayTakeTwoSeconds) {
    EXPECT_EQ(CommandLimits{}.wait, std::chrono::seconds(2));
}

TEST_F(GPUServiceTest, AMDOpensThreeFilesARefresh) {
    machine("gpu-amd");
    GPUService service(kernel.root());
    AccessLog log;
    for (const char* directory : {"", "/card0", "/card0/device", "/card0/device/power"})
        log.watch(kernel.at("/sys/class/drm" + std::string(directory)));
    service.getAllGPUUsage(false);
    EXPECT_THAT(log.take(), ElementsAre(Pair("gpu_busy_percent", 1), Pair("mem_busy_percent", 1),
                                        Pair("runtime_status", 1)));
}

TEST_F(GPUServiceTest, UnreadableFiguresAreZero) {
    machine("gpu-amd");
    GPUService service(kernel.root());
    const auto busyWith = [&](std::string_view content) {
        kernel.file("/sys/class/drm/card0/device/gpu_busy_percent", content);
        return service.getAllGPUUsage(false)[0].utilization;
    };
    EXPECT_EQ(busyWith("100\n"), 100);
    EXPECT_EQ(busyWith("5"), 5);
    EXPECT_EQ(busyWith(""), 0);
    EXPECT_EQ(busyWith("busy\n"), 0);
    EXPECT_EQ(busyWith("99999999999\n"), 0);
    EXPECT_EQ(busyWith(std::string(1000, '\0')), 0);
    kernel.remove("/sys/class/drm/card0/device");
    expectZeros(service.getAllGPUUsage(false)[0]);
}

// Intel

TEST_F(GPUServiceTest, IntelShowsTheShareOfItsTopClock) {
    lspci("Intel Corporation Meteor Lake-P [Intel Arc Graphics]");
    GPUService service(fixtureRoot("gpu-intel"));
    const auto usages = service.getAllGPUUsage(true);
    ASSERT_EQ(usages.size(), 1U);
    EXPECT_EQ(usages[0].model_name, "Intel Meteor Lake-P [Intel Arc Graphics]");
    EXPECT_EQ(usages[0].utilization, 46);  // 1050 of 2250 MHz
    EXPECT_EQ(usages[0].memory_utilization, 0);
    EXPECT_THAT(usages[0].processes, IsEmpty());
}

TEST_F(GPUServiceTest, IntelClocksOutOfTheOrdinary) {
    machine("gpu-intel");
    GPUService service(kernel.root());
    const auto usageWith = [&](std::string_view current, std::string_view maximum) {
        kernel.file("/sys/class/drm/card1/gt_cur_freq_mhz", current);
        kernel.file("/sys/class/drm/card1/gt_max_freq_mhz", maximum);
        return service.getAllGPUUsage(false)[0].utilization;
    };
    EXPECT_EQ(usageWith("1000\n", "1000\n"), 100);
    EXPECT_EQ(usageWith("999\n", "1000\n"), 99);
    EXPECT_EQ(usageWith("1000\n", "0\n"), 0);
    EXPECT_EQ(usageWith("1000\n", "-5\n"), 0);
    EXPECT_EQ(usageWith("1000\n", ""), 0);
    EXPECT_EQ(usageWith("", "1000\n"), 0);
    EXPECT_EQ(usageWith("2147483647\n", "2147483647\n"), 100);
    EXPECT_EQ(usageWith("2147483647\n", "1\n"), 2147483647);
    kernel.remove("/sys/class/drm/card1/gt_max_freq_mhz");
    EXPECT_EQ(service.getAllGPUUsage(false)[0].utilization, 0);
}

/// Two cards, of which the kernel lists the AMD one first; both have clocks, 75 % and 50 %.
class AmdBeforeIntelTest : public GPUMachineTest {
protected:
    AmdBeforeIntelTest() {
        machine("gpu-two");
        first = findDrmCards(kernel.root()).first.ends_with("card0") ? "/sys/class/drm/card0"
                                                                     : "/sys/class/drm/card1";
        second = first.ends_with("card0") ? "/sys/class/drm/card1" : "/sys/class/drm/card0";
        kernel.file(first + "/device/vendor", "0x1002\n").file(first + "/device/gpu_busy_percent", "64\n");
        kernel.file(first + "/gt_cur_freq_mhz", "300\n").file(first + "/gt_max_freq_mhz", "400\n");
        kernel.file(second + "/device/vendor", "0x8086\n");
        kernel.file(second + "/gt_cur_freq_mhz", "300\n").file(second + "/gt_max_freq_mhz", "600\n");
    }

    std::string first, second;
};

TEST_F(AmdBeforeIntelTest, IntelTakesTheClocksOfTheFirstCard) {
    GPUService service(kernel.root());
    EXPECT_THAT(names(service), ElementsAre("AMD GPU", "Intel GPU"));
    const auto usages = service.getAllGPUUsage(false);
    EXPECT_EQ(usages[0].utilization, 64);
    EXPECT_EQ(usages[1].utilization, 75);
}

TEST_F(AmdBeforeIntelTest, TheClocksOfASleepingFirstCardAreLeftAlone) {
    GPUService service(kernel.root());
    kernel.file(first + "/device/power/runtime_status", "suspended\n");
    AccessLog log;
    log.watch(kernel.at(first));
    expectZeros(service.getAllGPUUsage(false)[1]);
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(AmdBeforeIntelTest, ASleepingIntelCardShowsZeroWhateverTheFirstDoes) {
    GPUService service(kernel.root());
    kernel.file(second + "/device/power/runtime_status", "suspended\n");
    AccessLog log;
    log.watch(kernel.at(first));
    expectZeros(service.getAllGPUUsage(false)[1]);
    EXPECT_THAT(log.take(), IsEmpty());
}

// Names

TEST_F(GPUServiceTest, WithoutLspciCardsHaveGeneralNames) {
    EXPECT_THAT(names(GPUService(fixtureRoot("gpu-amd"))), ElementsAre("AMD GPU"));
    EXPECT_THAT(names(GPUService(fixtureRoot("gpu-intel"))), ElementsAre("Intel GPU"));
    programs.script("lspci", "exit 1");
    EXPECT_THAT(names(GPUService(fixtureRoot("gpu-amd"))), ElementsAre("AMD GPU"));
    programs.script("lspci", "echo; echo 'VGA: Board'");
    EXPECT_THAT(names(GPUService(fixtureRoot("gpu-amd"))), ElementsAre("AMD GPU"));
    lspci("(rev c8)");
    EXPECT_THAT(names(GPUService(fixtureRoot("gpu-amd"))), ElementsAre("AMD GPU"));
}

TEST_F(GPUServiceTest, ACardWithoutAUsableSlotIsNotLookedUp) {
    lspci("Board");
    machine("gpu-amd");
    for (const char* uevent :
         {"DRIVER=amdgpu\n", "PCI_SLOT_NAME=\n", "PCI_SLOT_NAME=03:00.0 $(touch evil)\n"}) {
        kernel.file("/sys/class/drm/card0/device/uevent", uevent);
        GPUService service(kernel.root());
        service.getAllGPUUsage(false);
        EXPECT_THAT(names(service), ElementsAre("AMD GPU"));
    }
    EXPECT_THAT(programs.runs(), IsEmpty());
}

TEST_F(GPUServiceTest, AHangingLspciDelaysTheNameAndNotTheProgram) {
    programs.script("lspci", "while ! [ -e go ]; do sleep 0.02; done; echo 'VGA: Board'");
    const auto start = Clock::now();
    GPUService service(fixtureRoot("gpu-two"), kShort);
    EXPECT_LT(Clock::now() - start, 10 * kShort.wait);
    EXPECT_EQ(service.gpus().size(), 2U);
    EXPECT_THAT(names(service), testing::UnorderedElementsAre("Intel GPU", "AMD GPU"));
    EXPECT_THAT(service.getAllGPUUsage(false), testing::SizeIs(2));
    EXPECT_EQ(programs.runs().size(), 1U);
    letGo();
    sampleUntil(service, [](const auto& usages) {
        return usages[0].model_name == "Board" && usages[1].model_name == "Board";
    });
    EXPECT_THAT(names(service), ElementsAre("Board", "Board"));
    EXPECT_EQ(programs.runs().size(), 2U);
    EXPECT_FALSE(hasChildren());
}

// Sleeping cards

TEST_F(GPUServiceTest, ASleepingCardIsNotTouched) {
    machine("gpu-sleeping");
    lspci("Board");
    GPUService service(kernel.root());
    EXPECT_THAT(programs.runs(), ElementsAre("lspci -s 0000:00:02.0")) << "lspci would wake the other one";
    EXPECT_THAT(names(service), testing::UnorderedElementsAre("Board", "AMD GPU"));

    AccessLog log;
    log.watch(kernel.at("/sys/class/drm/card1/device"));
    const std::size_t amd = service.gpus()[0].type == GPUInfo::Type::AMD ? 0 : 1;
    for (const char* state : {"suspended\n", "suspending\n"}) {
        kernel.file("/sys/class/drm/card1/device/power/runtime_status", state);
        const auto usages = service.getAllGPUUsage(true);
        expectZeros(usages[amd]);
        ASSERT_EQ(usages[amd].processes.size(), 1U) << "who uses it is known without asking it";
        EXPECT_EQ(usages[amd].processes[0].vram_mb, 12U);
    }
    EXPECT_THAT(log.take(), IsEmpty());
    EXPECT_EQ(programs.runs().size(), 1U);
}

TEST_F(GPUServiceTest, ACardThatFallsAsleepDuringTheCallIsNotTouched) {
    machine("gpu-amd");
    const std::string state = kernel.at("/sys/class/drm/card0/device/power/runtime_status").string();
    nvidiaSmi("names-one.txt", "utilization-one.txt", "processes.txt",
              "case $1 in *=name) ;; *) echo suspended >'" + state + "';; esac");
    GPUService service(kernel.root());
    AccessLog log;
    log.watch(kernel.at("/sys/class/drm/card0/device"));
    const auto usages = service.getAllGPUUsage(false);
    EXPECT_EQ(usages[0].utilization, 45);
    expectZeros(usages[1]);
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(GPUServiceTest, ACardThatWakesUpIsSampledAndNamed) {
    machine("gpu-sleeping");
    lspci("Board");
    GPUService service(kernel.root());
    const std::size_t amd = service.gpus()[0].type == GPUInfo::Type::AMD ? 0 : 1;
    kernel.file("/sys/class/drm/card1/device/power/runtime_status", "active\n");
    const auto usages = service.getAllGPUUsage(false);
    EXPECT_EQ(usages[amd].utilization, 64);
    EXPECT_EQ(usages[amd].memory_utilization, 8);
    EXPECT_EQ(usages[amd].model_name, "Board");
    EXPECT_THAT(names(service), ElementsAre("Board", "Board"));

    kernel.file("/sys/class/drm/card1/device/power/runtime_status", "suspended\n");
    expectZeros(service.getAllGPUUsage(false)[amd]);
    EXPECT_EQ(service.getAllGPUUsage(false)[amd].model_name, "Board");
    EXPECT_EQ(programs.runs().size(), 2U);
}

TEST_F(GPUServiceTest, ASleepingCardDoesNotTakeTheLateNameOfAnAwakeOne) {
    // Whichever of the two the directory lists first.
    for (const char* sleeping : {"card0", "card1"}) {
        SCOPED_TRACE(sleeping);
        FakeKernel both;
        std::filesystem::copy(fixtureRoot("gpu-two"), both.root(), std::filesystem::copy_options::recursive);
        both.file("/sys/class/drm/" + std::string(sleeping) + "/device/power/runtime_status", "suspended\n");
        programs.script("lspci", "while ! [ -e go ]; do sleep 0.02; done; echo 'VGA: Board'");
        GPUService service(both.root(), kShort);
        letGo();
        sampleUntil(service, [&](const auto&) {
            return testing::Matches(testing::Contains("Board"))(names(service));
        });
        EXPECT_EQ(programs.runs().size(), 1U);
        programs.remove("go");
        programs.forgetRuns();
    }
}

TEST_F(GPUServiceTest, APowerStateThatIsNotKnownIsAwake) {
    machine("gpu-sleeping");
    GPUService service(kernel.root());
    const std::size_t amd = service.gpus()[0].type == GPUInfo::Type::AMD ? 0 : 1;
    for (const char* state : {"active\n", "resuming\n", "unsupported\n", "error\n", ""}) {
        kernel.file("/sys/class/drm/card1/device/power/runtime_status", state);
        EXPECT_EQ(service.getAllGPUUsage(false)[amd].utilization, 64) << state;
    }
    kernel.remove("/sys/class/drm/card1/device/power");
    EXPECT_EQ(service.getAllGPUUsage(false)[amd].utilization, 64);
}

TEST_F(GPUServiceTest, LooksAtTheRealMachine) {
    GPUService service;
    ASSERT_FALSE(service.gpus().empty());
    EXPECT_EQ(service.getAllGPUUsage(true).size(), service.gpus().size());
}
