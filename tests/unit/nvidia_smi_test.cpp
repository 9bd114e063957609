#include "nvidia_smi.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_kernel.h"
#include "kernel_file.h"
#include "long_line.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string answer(std::string_view name) {
    return readKernelFile(fixtureRoot("nvidia-smi") + "/" + std::string(name)).value();
}

struct Utilization {
    std::string output;
    int gpu, memory, video;
};

std::string text(const std::vector<GPUProcessUsage>& processes) {
    std::string all;
    for (const auto& [pid, name, vram_mb] : processes)
        all += std::to_string(pid) + "|" + name + "|" + std::to_string(vram_mb) + "\n";
    return all;
}

}  // namespace

TEST(NvidiaNames, AreOneALine) {
    EXPECT_THAT(parseNvidiaNames(answer("names-one.txt")), ElementsAre("NVIDIA GeForce RTX 3090"));
    EXPECT_THAT(parseNvidiaNames(answer("names-two.txt")),
                ElementsAre("NVIDIA GeForce RTX 3090", "NVIDIA RTX A2000 12GB"));
    EXPECT_THAT(parseNvidiaNames("\nA\n\nB"), ElementsAre("A", "B"));
    EXPECT_THAT(parseNvidiaNames(""), IsEmpty());
    EXPECT_THAT(parseNvidiaNames("\n\n"), IsEmpty());
    EXPECT_THAT(parseNvidiaNames(std::string_view("A\0B\n\0\nC\n", 8)), ElementsAre("A", "C"));
    EXPECT_THAT(parseNvidiaNames(std::string(5000, 'x')), ElementsAre(std::string(1023, 'x')));
    EXPECT_THAT(parseNvidiaNames("\xff\xfe\r\n"), ElementsAre("\xff\xfe\r"));
}

TEST(NvidiaNames, AreNoMoreThanAMachineHasBoards) {
    std::string output;
    for (int i = 0; i < 10'000; ++i)
        output += "y\n";
    EXPECT_EQ(parseNvidiaNames(output).size(), 64U);
}

TEST(NvidiaUtilization, IsTheFirstLineUpToWhatIsNoNumber) {
    const Utilization cases[] = {
        {answer("utilization-one.txt"), 45, 12, 3},
        {answer("utilization-two.txt"), 45, 12, 3},
        {answer("utilization-not-available.txt"), 0, 0, 0},
        {answer("utilization-partly-available.txt"), 45, 0, 0},
        {answer("no-driver.txt"), 0, 0, 0},
        {"", 0, 0, 0},
        {"\n45, 12, 3\n", 0, 0, 0},
        {"45,12,3", 45, 12, 3},
        {"  45,\t 12,   3\r\n", 45, 12, 3},
        {"45 , 12, 3", 45, 0, 0},
        {"45, 12", 45, 12, 0},
        {"45, 12, [Not Supported]", 45, 12, 0},
        {"45 %, 12 %, 3 %", 45, 0, 0},
        {"-5, 1000, 3", -5, 1000, 3},
        {"99999999999, 12, 3", 0, 0, 0},
        {"45, 99999999999, 3", 45, 0, 0},
        {"4", 4, 0, 0},
        {",,", 0, 0, 0},
        {std::string("45\0, 12, 3", 10), 45, 0, 0},
        {std::string(254, ' ') + "45, 12, 3", 4, 0, 0},
        {longLine('7'), 0, 0, 0},
        {"\xff\xfe\x80", 0, 0, 0},
    };
    for (const auto& [output, gpu, memory, video] : cases) {
        const NvidiaSample sample = parseNvidiaUtilization(output);
        const std::string shown = output.substr(0, 60);
        EXPECT_EQ(sample.utilization, gpu) << shown;
        EXPECT_EQ(sample.memory_utilization, memory) << shown;
        EXPECT_EQ(sample.video_utilization, video) << shown;
    }
}

TEST(NvidiaProcesses, AreTheCompleteLinesInTheirOrder) {
    EXPECT_EQ(text(parseNvidiaProcesses(answer("processes.txt"))),
              "2201|/usr/bin/python3|512\n2377|/opt/render farm/blender|4096\n1500|tool|1\n");
    EXPECT_EQ(text(parseNvidiaProcesses(answer("processes-none.txt"))), "");
    EXPECT_EQ(text(parseNvidiaProcesses(answer("no-driver.txt"))), "");
    EXPECT_EQ(text(parseNvidiaProcesses(answer("no-devices.txt"))), "");
}

TEST(NvidiaProcesses, AreNotLimitedInNumber) {
    std::string lines;
    for (int pid = 1; pid <= 40; ++pid)
        lines += std::to_string(pid) + ", tool, 1\n";
    EXPECT_EQ(parseNvidiaProcesses(lines).size(), 40U);
}

TEST(NvidiaProcesses, LeaveOutWhatIsNoProcess) {
    for (const char* line :
         {"", "2201", "2201, tool", "2201, tool, ", "2201, tool, -1", "tool, 2201, 5", "2201, , 5",
          "2201,tool MiB", "99999999999, tool, 5", "1, tool, 99999999999999999999999", "[N/A], [N/A], [N/A]"})
        EXPECT_EQ(text(parseNvidiaProcesses(line)), "") << line;
    EXPECT_EQ(text(parseNvidiaProcesses(std::string("1, to\0ol, 5\n2, b, 6\n", 20))), "2|b|6\n");
}

TEST(NvidiaProcesses, TakeOddNamesAsTheyAre) {
    EXPECT_EQ(text(parseNvidiaProcesses("1,a,2")), "1|a|2\n");
    EXPECT_EQ(text(parseNvidiaProcesses("1, <b>a & b</b> ), 2 MiB\r\n")), "1|<b>a & b</b> )|2\n");
    EXPECT_EQ(text(parseNvidiaProcesses("1, \xff\xfe, 2")), "1|\xff\xfe|2\n");
    const std::string longest(255, 'x');
    EXPECT_EQ(text(parseNvidiaProcesses("1, " + longest + ", 2")), "1|" + longest + "|2\n");
    EXPECT_EQ(text(parseNvidiaProcesses("1, " + longest + "x, 2")), "");
    EXPECT_EQ(text(parseNvidiaProcesses("1, " + longLine('x') + ", 2, 3, 4\n5, b, 6")), "5|b|6\n");
}
