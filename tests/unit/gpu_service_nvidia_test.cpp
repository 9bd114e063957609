#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "gpu_machine.h"
#include "gpu_service.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using Clock = std::chrono::steady_clock;

namespace {

class GPUServiceNvidiaTest : public GPUMachineTest {
protected:
    void boardIs(const char* state) {
        kernel.file("/sys/bus/pci/devices/0000:01:00.0/power/runtime_status", std::string(state) + "\n");
    }

    /// Samples while the board sleeps, until the last run of nvidia-smi has been reaped.
    void outliveLastRun(GPUService& service) {
        for (int tries = 0; hasChildren() && tries < 500; ++tries) {
            std::this_thread::sleep_for(10ms);
            expectZeros(service.getAllGPUUsage(false)[0]);
        }
        EXPECT_FALSE(hasChildren()) << "it is reaped all the same";
    }
};

}  // namespace

TEST_F(GPUServiceNvidiaTest, NvidiaBoardsComeFirstAndShareOneSample) {
    nvidiaSmi("names-two.txt", "utilization-two.txt");
    GPUService service(fixtureRoot("gpu-amd"));
    EXPECT_THAT(names(service), ElementsAre("NVIDIA GeForce RTX 3090", "NVIDIA RTX A2000 12GB", "AMD GPU"));
    EXPECT_EQ(service.gpus()[0].type, GPUInfo::Type::NVIDIA);
    EXPECT_EQ(service.gpus()[0].sysfs_path, "");

    programs.forgetRuns();
    const auto usages = service.getAllGPUUsage(true);
    ASSERT_EQ(usages.size(), 3U);
    for (int board : {0, 1}) {
        EXPECT_EQ(usages[board].utilization, 45);
        EXPECT_EQ(usages[board].memory_utilization, 12);
        EXPECT_EQ(usages[board].video_utilization, 3);
        EXPECT_EQ(usages[board].model_name, service.gpus()[board].name);
        ASSERT_EQ(usages[board].processes.size(), 3U);
        EXPECT_EQ(usages[board].processes[1].name, "/opt/render farm/blender");
    }
    EXPECT_EQ(usages[2].utilization, 37);
    EXPECT_THAT(programs.runs(),
                ElementsAre("nvidia-smi --query-gpu=utilization.gpu,utilization.memory,utilization.encoder "
                            "--format=csv,noheader,nounits",
                            "nvidia-smi --query-compute-apps=pid,name,used_gpu_memory "
                            "--format=csv,noheader,nounits"));
    EXPECT_FALSE(hasChildren());
}

TEST_F(GPUServiceNvidiaTest, NvidiaProcessesAreAskedForOnlyOnRequest) {
    nvidiaSmi("names-one.txt", "utilization-one.txt");
    GPUService service(fixtureRoot("gpu-nvidia"));
    EXPECT_THAT(programs.runs(), ElementsAre(StartsWith("nvidia-smi --query-gpu=name ")));
    programs.forgetRuns();
    EXPECT_THAT(service.getAllGPUUsage(false)[0].processes, IsEmpty());
    EXPECT_THAT(programs.runs(), ElementsAre(StartsWith("nvidia-smi --query-gpu=utilization")));
}

TEST_F(GPUServiceNvidiaTest, NvidiaWithoutFiguresShowsZeros) {
    nvidiaSmi("names-one.txt", "utilization-not-available.txt", "no-driver.txt");
    GPUService service(fixtureRoot("gpu-nvidia"));
    const auto usages = service.getAllGPUUsage(true);
    expectZeros(usages[0]);
    EXPECT_THAT(usages[0].processes, IsEmpty());
    programs.remove("nvidia-smi");
    expectZeros(service.getAllGPUUsage(true)[0]);
}

TEST_F(GPUServiceNvidiaTest, AFailingNvidiaSmiInventsNoBoard) {
    nvidiaSmi("no-driver.txt", "no-driver.txt", "no-driver.txt",
              "rmdir running; cat '" + fixtureRoot("nvidia-smi") + "/no-driver.txt'; exit 9");
    EXPECT_THAT(names(GPUService(fixtureRoot("gpu-nvidia"))), ElementsAre("No GPU detected"));
    EXPECT_THAT(names(GPUService(fixtureRoot("gpu-amd"))), ElementsAre("AMD GPU"));
    programs.script("nvidia-smi", "exit 0");
    EXPECT_THAT(names(GPUService(fixtureRoot("gpu-nvidia"))), ElementsAre("No GPU detected"));
    programs.file("nvidia-smi", "#!/no/such/interpreter\n");
    EXPECT_THAT(names(GPUService(fixtureRoot("gpu-nvidia"))), ElementsAre("No GPU detected"));
}

TEST_F(GPUServiceNvidiaTest, ASleepingNvidiaBoardKeepsNvidiaSmiFromBeingAsked) {
    machine("gpu-nvidia");
    nvidiaSmi("names-two.txt", "utilization-one.txt");
    GPUService service(kernel.root());
    EXPECT_EQ(service.gpus().size(), 2U) << "the sleeping sound device of a board is none";
    programs.forgetRuns();
    kernel.file("/sys/bus/pci/devices/0000:02:00.0/power/runtime_status", "suspended\n");
    for (const GPUUsage& usage : service.getAllGPUUsage(true))
        expectZeros(usage);
    EXPECT_THAT(programs.runs(), IsEmpty());
    kernel.file("/sys/bus/pci/devices/0000:02:00.0/power/runtime_status", "active\n");
    EXPECT_EQ(service.getAllGPUUsage(false)[1].utilization, 45);
}

TEST_F(GPUServiceNvidiaTest, ABoardLentToAVirtualMachineMaySleep) {
    machine("gpu-nvidia");
    nvidiaSmi("names-one.txt", "utilization-one.txt");
    kernel.file("/sys/bus/pci/devices/0000:02:00.0/power/runtime_status", "suspended\n");
    fs::create_symlink("../../../bus/pci/drivers/vfio-pci",
                       kernel.at("/sys/bus/pci/devices/0000:02:00.0/driver"));
    GPUService service(kernel.root());
    EXPECT_THAT(names(service), ElementsAre("NVIDIA GeForce RTX 3090"));
    EXPECT_EQ(service.getAllGPUUsage(false)[0].utilization, 45);
}

TEST_F(GPUServiceNvidiaTest, ANvidiaBoardWithABlankNameHasAGeneralOne) {
    programs.script("nvidia-smi", "case $1 in *=name) echo '  '; echo Board;; *) echo 45, 12, 3;; esac");
    GPUService service(fixtureRoot("gpu-nvidia"));
    EXPECT_THAT(names(service), ElementsAre("NVIDIA GPU", "Board"));
    EXPECT_EQ(service.getAllGPUUsage(false)[0].utilization, 45);
}

TEST_F(GPUServiceNvidiaTest, ANvidiaBoardThatSleepsAtStartIsNamedWhenItWakesUp) {
    machine("gpu-nvidia");
    nvidiaSmi("names-two.txt", "utilization-one.txt");
    boardIs("suspending");
    GPUService service(kernel.root());
    EXPECT_THAT(names(service), ElementsAre("NVIDIA GPU", "NVIDIA GPU"));
    expectZeros(service.getAllGPUUsage(true)[0]);
    EXPECT_THAT(programs.runs(), IsEmpty());

    boardIs("active");
    const auto usages = service.getAllGPUUsage(false);
    ASSERT_EQ(usages.size(), 2U);
    EXPECT_EQ(usages[1].model_name, "NVIDIA RTX A2000 12GB");
    EXPECT_EQ(usages[1].utilization, 45);
    EXPECT_EQ(runsOf("nvidia-smi --query-gpu=name"), 1U);
}

TEST_F(GPUServiceNvidiaTest, WithoutNvidiaSmiASleepingNvidiaBoardIsNotListed) {
    machine("gpu-nvidia");
    boardIs("suspended");
    EXPECT_THAT(names(GPUService(kernel.root())), ElementsAre("No GPU detected"));
}

TEST_F(GPUServiceNvidiaTest, AHangingNvidiaSmiHoldsUpTheStartForItsLimitOnly) {
    hangingNvidiaSmi();
    const auto start = Clock::now();
    GPUService service(fixtureRoot("gpu-nvidia"), kShort);
    const auto constructed = Clock::now();
    EXPECT_LT(constructed - start, 5 * kShort.wait);
    EXPECT_THAT(names(service), ElementsAre("NVIDIA GPU", "NVIDIA GPU"));
    for (int i = 0; i < 3; ++i)
        expectZeros(service.getAllGPUUsage(true).at(0));
    EXPECT_LT(Clock::now() - constructed, kShort.wait);
    EXPECT_EQ(programs.runs().size(), 1U);

    letGo();
    const auto usages = sampleUntil(service, [](const auto& now) { return now[0].utilization == 45; });
    EXPECT_EQ(usages.size(), 2U);
    EXPECT_THAT(names(service), ElementsAre("NVIDIA GeForce RTX 3090", "NVIDIA RTX A2000 12GB"));
    EXPECT_EQ(runsOf("nvidia-smi --query-gpu=name"), 1U);
    EXPECT_FALSE(programs.exists("twice"));
}

TEST_F(GPUServiceNvidiaTest, ANameQueryThatFailsLateTakesTheProvisionalBoardAway) {
    nvidiaSmi("names-one.txt", "utilization-one.txt", "processes.txt",
              "while ! [ -e go ]; do sleep 0.02; done; exit 9");
    GPUService service(fixtureRoot("gpu-nvidia"), kShort);
    EXPECT_THAT(names(service), ElementsAre("NVIDIA GPU", "NVIDIA GPU"));
    letGo();
    sampleUntil(service, [](const auto& usages) { return usages[0].model_name == "No GPU detected"; });
    EXPECT_EQ(programs.runs().size(), 1U);
    EXPECT_FALSE(hasChildren());
}

TEST_F(GPUServiceNvidiaTest, ANvidiaSmiThatBeginsToHangShowsZerosUntilItAnswers) {
    nvidiaSmi("names-two.txt", "utilization-one.txt");
    GPUService service(fixtureRoot("gpu-nvidia"), kShort);
    EXPECT_EQ(service.getAllGPUUsage(false)[0].utilization, 45);

    hangingNvidiaSmi();
    programs.forgetRuns();
    const auto start = Clock::now();
    for (const GPUUsage& usage : service.getAllGPUUsage(true))
        expectZeros(usage);
    const auto held_up = Clock::now() - start;
    EXPECT_GE(held_up, kShort.wait);
    EXPECT_LT(held_up, 5 * kShort.wait);
    for (int i = 0; i < 3; ++i)
        expectZeros(service.getAllGPUUsage(true)[0]);
    EXPECT_LT(Clock::now() - start - held_up, kShort.wait);
    EXPECT_EQ(programs.runs().size(), 1U);

    letGo();
    sampleUntil(service, [](const auto& usages) { return usages[0].utilization == 45; });
    std::vector<GPUProcessUsage> processes;
    for (int tries = 0; processes.empty() && tries < 500; ++tries) {
        std::this_thread::sleep_for(10ms);
        processes = service.getAllGPUUsage(true)[0].processes;
    }
    EXPECT_EQ(processes.size(), 3U) << "healthy again, it is waited for again";
    EXPECT_EQ(service.getAllGPUUsage(false)[0].utilization, 45);
    EXPECT_FALSE(programs.exists("twice"));
    EXPECT_FALSE(hasChildren());
}

TEST_F(GPUServiceNvidiaTest, AfterALateAnswerTheNextFigureIsUnderWayAtOnce) {
    nvidiaSmi("names-one.txt", "utilization-one.txt");
    GPUService service(fixtureRoot("gpu-nvidia"), kShort);
    hangingNvidiaSmi();
    expectZeros(service.getAllGPUUsage(false)[0]);
    letGo();
    programs.forgetRuns();
    sampleUntil(service, [](const auto& usages) { return usages[0].utilization == 45; });
    for (int tries = 0; (programs.runs().empty() || programs.exists("running")) && tries < 500; ++tries)
        std::this_thread::sleep_for(10ms);
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(service.getAllGPUUsage(true)[0].utilization, 45);
    EXPECT_THAT(programs.runs(), ElementsAre(StartsWith("nvidia-smi --query-gpu=utilization"),
                                             StartsWith("nvidia-smi --query-compute-apps")));
}

TEST_F(GPUServiceNvidiaTest, FiguresOfAProgramThatIsAlwaysSlowStandUntilTheNext) {
    nvidiaSmi("names-one.txt", "utilization-one.txt");
    GPUService service(fixtureRoot("gpu-nvidia"), kShort);
    nvidiaSmi("names-one.txt", "utilization-one.txt", "processes.txt",
              "if [ -e hang ]; then sleep 20; fi; sleep 0.7");
    expectZeros(service.getAllGPUUsage(false)[0]);
    programs.forgetRuns();
    sampleUntil(service, [](const auto& usages) { return usages[0].utilization == 45; });
    while (programs.runs().size() < 3) {
        std::this_thread::sleep_for(50ms);
        ASSERT_EQ(service.getAllGPUUsage(false)[0].utilization, 45);
    }
    programs.file("hang", "");
    const auto start = Clock::now();
    sampleUntil(service, [](const auto& usages) { return usages[0].utilization == 0; });
    EXPECT_LT(Clock::now() - start, 20 * kShort.wait) << "but not for ever";
}

TEST_F(GPUServiceNvidiaTest, FiguresOfASlowProgramDoNotOutliveTheBoardsSleep) {
    machine("gpu-nvidia");
    nvidiaSmi("names-one.txt", "utilization-one.txt");
    GPUService service(kernel.root(), kShort);
    hangingNvidiaSmi();
    expectZeros(service.getAllGPUUsage(false)[0]);
    letGo();
    sampleUntil(service, [](const auto& usages) { return usages[0].utilization == 45; });
    boardIs("suspended");
    outliveLastRun(service);
    programs.remove("go");
    boardIs("active");
    expectZeros(service.getAllGPUUsage(false)[0]);
}

TEST_F(GPUServiceNvidiaTest, AnAnswerThatComesWhileTheBoardSleepsIsNotShownLater) {
    machine("gpu-nvidia");
    nvidiaSmi("names-one.txt", "utilization-one.txt");
    GPUService service(kernel.root(), kShort);
    hangingNvidiaSmi();
    expectZeros(service.getAllGPUUsage(false)[0]);
    boardIs("suspended");
    letGo();
    outliveLastRun(service);
    programs.remove("nvidia-smi");
    boardIs("active");
    expectZeros(service.getAllGPUUsage(false)[0]);
}

TEST_F(GPUServiceNvidiaTest, GoingAwayLeavesNothingBehind) {
    hangingNvidiaSmi();
    programs.script("lspci", "exec sleep 20");
    const auto before = openDescriptors();
    const auto start = Clock::now();
    { GPUService service(fixtureRoot("gpu-two"), kShort); }
    EXPECT_LT(Clock::now() - start, 5s);
    EXPECT_FALSE(hasChildren());
    EXPECT_EQ(openDescriptors(), before);
}
