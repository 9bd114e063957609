#include "cpu_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "fake_kernel.h"
#include "l10n.h"
#include "long_line.h"

using testing::DoubleNear;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using namespace std::string_literals;

namespace {

using CpuTimes = CPUService::CpuTimes;

std::vector<CpuTimes> timesIn(std::string_view stat) {
    std::vector<CpuTimes> cores;
    parseCoreTimes(stat, cores);
    return cores;
}

/// A stat file in which core i has been busy for `busy[i]` ticks and idle for `idle[i]`.
std::string statOf(const std::vector<std::uint64_t>& busy, const std::vector<std::uint64_t>& idle) {
    std::string text = "cpu  1 2 3 4 5 6 7 8 0 0\n";
    for (std::size_t i = 0; i < busy.size(); ++i) {
        text += "cpu" + std::to_string(i) + " " + std::to_string(busy[i]) + " 0 0 " +
                std::to_string(idle[i]) + " 0 0 0 0 0 0\n";
    }
    return text + "intr 5 4 3\nctxt 99\nbtime 1\n";
}

void addSiblings(FakeKernel& kernel, const std::vector<std::string>& lists) {
    for (std::size_t i = 0; i < lists.size(); ++i) {
        kernel.file("/sys/devices/system/cpu/cpu" + std::to_string(i) + "/topology/thread_siblings_list",
                    lists[i]);
    }
}

/// A kernel with as many idle cores as there are sibling lists.
void addTopology(FakeKernel& kernel, const std::vector<std::string>& lists) {
    kernel.file("/proc/stat",
                statOf(std::vector<std::uint64_t>(lists.size()), std::vector<std::uint64_t>(lists.size())));
    addSiblings(kernel, lists);
}

std::vector<double> usagesOf(const std::vector<CoreUsage>& cores) {
    std::vector<double> usages;
    usages.reserve(cores.size());
    for (const CoreUsage& core : cores)
        usages.push_back(core.usage);
    return usages;
}

std::vector<int> levelsOf(const std::vector<CoreUsage>& cores) {
    std::vector<int> levels;
    levels.reserve(cores.size());
    for (const CoreUsage& core : cores)
        levels.push_back(core.perfLevel);
    return levels;
}

CpuTimes times(std::uint64_t busy, std::uint64_t idle) {
    CpuTimes result;
    result.user = busy;
    result.idle = idle;
    return result;
}

std::string modelFrom(const FakeKernel& kernel) {
    return CPUService(kernel.root()).modelName();
}

class CPUServiceTest : public testing::Test {
protected:
    void SetUp() override { L10n::setLanguage("en"); }
    FakeKernel kernel;
};

}  // namespace

TEST(ParseCoreTimes, TakesTheEightCountersInTheirOrder) {
    const auto cores = timesIn("cpu  9 9 9 9 9 9 9 9 9 9\ncpu0 1 2 3 4 5 6 7 8 9 10\n");
    ASSERT_THAT(cores, SizeIs(1));
    const CpuTimes& core = cores[0];
    EXPECT_EQ(core.user, 1U);
    EXPECT_EQ(core.nice, 2U);
    EXPECT_EQ(core.system, 3U);
    EXPECT_EQ(core.idle, 4U);
    EXPECT_EQ(core.iowait, 5U);
    EXPECT_EQ(core.irq, 6U);
    EXPECT_EQ(core.softirq, 7U);
    EXPECT_EQ(core.steal, 8U);
}

TEST(ParseCoreTimes, MissingCountersAreZero) {
    const struct {
        const char* line;
        std::uint64_t user, nice, system, idle, steal;
    } cases[] = {
        {"cpu0 1 2 3 4", 1, 2, 3, 4, 0},
        {"cpu0 1", 1, 0, 0, 0, 0},
        {"cpu0", 0, 0, 0, 0, 0},
        {"cpu0 ", 0, 0, 0, 0, 0},
        {"cpu0\t1\t2 3   4 5 6 7 8", 1, 2, 3, 4, 8},
        {"cpu0 1 x 3 4 5 6 7 8", 1, 0, 0, 0, 0},
        {"cpu0 1 2.5 3", 1, 2, 0, 0, 0},
        {"cpu0 -1 2 3 4", 0, 0, 0, 0, 0},
        {"cpu0 18446744073709551615 2", UINT64_MAX, 2, 0, 0, 0},
        {"cpu0 18446744073709551616 2", 0, 0, 0, 0, 0},
    };
    for (const auto& c : cases) {
        const auto cores = timesIn(c.line);
        ASSERT_THAT(cores, SizeIs(1)) << c.line;
        EXPECT_EQ(cores[0].user, c.user) << c.line;
        EXPECT_EQ(cores[0].nice, c.nice) << c.line;
        EXPECT_EQ(cores[0].system, c.system) << c.line;
        EXPECT_EQ(cores[0].idle, c.idle) << c.line;
        EXPECT_EQ(cores[0].steal, c.steal) << c.line;
    }
}

TEST(ParseCoreTimes, KnowsTheLinesOfCores) {
    const struct {
        const char* line;
        std::size_t cores;
    } cases[] = {
        {"cpu  1 2 3 4", 0}, {"cpu0 1 2 3 4", 1}, {"cpu127 1 2 3 4", 1},
        {"cpux 1", 1},       {"cpu\t1", 1},       {"cpu", 0},
        {"cpu ", 0},         {"cp", 0},           {"", 0},
        {" cpu0 1 2", 0},    {"CPU0 1 2", 0},     {"intr 1 2 3", 0},
        {"xcpu0 1 2", 0},
    };
    for (const auto& c : cases)
        EXPECT_THAT(timesIn(c.line), SizeIs(c.cores)) << c.line;
}

TEST(ParseCoreTimes, PlacesCoresAsTheyCome) {
    const auto cores = timesIn("cpu  1\ncpu7 70\nintr 1\ncpu2 20\nctxt 5\n");
    ASSERT_THAT(cores, SizeIs(2));
    EXPECT_EQ(cores[0].user, 70U);
    EXPECT_EQ(cores[1].user, 20U);
}

TEST(ParseCoreTimes, KeepsTheNumberInTheLabel) {
    const auto cores = timesIn("cpu7 70\ncpux 1\ncpu2 20\ncpu99999999999 1\n");
    ASSERT_THAT(cores, SizeIs(4));
    EXPECT_EQ(cores[0].number, 7);
    EXPECT_EQ(cores[1].number, 1);  // its place
    EXPECT_EQ(cores[2].number, 2);
    EXPECT_EQ(cores[3].number, 3);
}

TEST(ParseCoreTimes, ForgetsTheLastRead) {
    std::vector<CpuTimes> cores(5);
    parseCoreTimes("cpu0 1\n", cores);
    EXPECT_THAT(cores, SizeIs(1));
}

TEST(ParseModelName, IsWhatFollowsTheColonAndItsBlank) {
    const struct {
        const char* text;
        const char* model;
    } cases[] = {
        {"processor\t: 0\nmodel\t\t: 7\nmodel name\t: One CPU @ 2.00GHz\nmodel name\t: Two\n",
         "One CPU @ 2.00GHz"},
        {"model name\t:  two blanks ", " two blanks "},
        {"model name\t:Xtra", "tra"},  // whatever stands in the blank's place goes
        {"model name\t: a: b", "a: b"},
        {"model name x: y", "y"},
        {"model name\t:", ""},
        {"model name\t: ", ""},
        {"model name\t:\nmodel name\t: Late", ""},
        {"model name\nmodel name\t: Late", ""},
        {" model name\t: Indented", ""},
        {"Model name\t: Capital", ""},
        {"Processor\t: ARMv7", ""},
        {"", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(parseModelName(c.text), c.model) << c.text;
}

TEST(ParseFirstSibling, IsTheNumberBeforeACommaOrDash) {
    const struct {
        const char* line;
        std::optional<int> first;
    } cases[] = {
        {"0,4", 0},  {"3-4", 3},   {"12", 12},          {"0-1,4-5", 0},   {"2,6-7", 2},
        {" 5,6", 5}, {"5 x,6", 5}, {"7abc", 7},         {",4", {}},       {"-4", {}},
        {"abc", {}}, {" ", {}},    {"99999999999", {}}, {"\xff\xfe", {}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(parseFirstSibling(c.line), c.first) << c.line;
}

TEST(BusyPercent, IsTheBusyShareOfTheTimeThatPassed) {
    EXPECT_DOUBLE_EQ(busyPercent(times(0, 0), times(100, 0)), 100);
    EXPECT_DOUBLE_EQ(busyPercent(times(10, 10), times(11, 13)), 25);
    EXPECT_DOUBLE_EQ(busyPercent(times(10, 10), times(10, 99)), 0);
    EXPECT_DOUBLE_EQ(busyPercent(times(10, 10), times(10, 10)), 0);  // no time passed

    CpuTimes all;
    all.user = all.nice = all.system = all.irq = all.softirq = all.steal = 1;
    all.idle = all.iowait = 3;
    EXPECT_DOUBLE_EQ(busyPercent({}, all), 50);
}

TEST(BusyPercent, CountersThatRanBackwardsAreNoUsage) {
    EXPECT_EQ(busyPercent(times(500, 500), times(10, 10)), 0);      // another core took the place
    EXPECT_EQ(busyPercent(times(500, 500), times(499, 600)), 0);    // busy alone
    EXPECT_EQ(busyPercent(times(500, 500), times(600, 300)), 0);    // total
    EXPECT_EQ(busyPercent(times(500, 500), times(600, 450)), 100);  // idle by less than busy gained
    EXPECT_EQ(busyPercent(times(1, 1), times(UINT64_MAX, UINT64_MAX)), 0);
}

TEST(BusyPercent, SurvivesSumsThatWrap) {
    CpuTimes from, to;
    from.user = from.nice = UINT64_MAX;
    to = from;
    to.user = 9;  // ten ticks on, past the largest number
    to.idle = 10;
    EXPECT_DOUBLE_EQ(busyPercent(from, to), 50);
}

TEST(SmoothUsage, RisesQuicklyAndFallsSlower) {
    double usage = smoothUsage(0, 100);
    EXPECT_DOUBLE_EQ(usage, 95);
    usage = smoothUsage(usage, 0);
    EXPECT_DOUBLE_EQ(usage, 14.25);
    usage = smoothUsage(usage, 0);
    EXPECT_DOUBLE_EQ(usage, 2.1375);
    EXPECT_DOUBLE_EQ(smoothUsage(50, 60), 0.95 * 60 + 0.05 * 50);
    EXPECT_DOUBLE_EQ(smoothUsage(50, 40), 0.85 * 40 + 0.15 * 50);
    EXPECT_DOUBLE_EQ(smoothUsage(50, 50), 50);
}

TEST_F(CPUServiceTest, CountsCoresAndReportsThemAsTheyCome) {
    kernel.file("/proc/stat", statOf({0, 0, 0}, {0, 0, 0}));
    CPUService service(kernel.root());
    EXPECT_EQ(service.totalCores(), 3);
    EXPECT_EQ(service.physicalCores(), 3);  // nothing known of threads
    const auto cores = service.getPerCoreUsage();
    ASSERT_THAT(cores, SizeIs(3));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(cores[static_cast<std::size_t>(i)].id, i);
}

TEST_F(CPUServiceTest, BarsGlideWhileTheAverageReactsAtOnce) {
    kernel.file("/proc/stat", statOf({0, 0}, {0, 0}));
    CPUService service(kernel.root());
    EXPECT_EQ(service.getAverageUsage(), 0);

    kernel.file("/proc/stat", statOf({100, 50}, {0, 50}));
    EXPECT_THAT(usagesOf(service.getPerCoreUsage()),
                ElementsAre(DoubleNear(95, 1e-9), DoubleNear(47.5, 1e-9)));
    EXPECT_DOUBLE_EQ(service.getAverageUsage(), 75);

    kernel.file("/proc/stat", statOf({100, 50}, {100, 150}));
    EXPECT_THAT(usagesOf(service.getPerCoreUsage()),
                ElementsAre(DoubleNear(14.25, 1e-9), DoubleNear(7.125, 1e-9)));
    EXPECT_DOUBLE_EQ(service.getAverageUsage(), 0);
}

TEST_F(CPUServiceTest, UnchangedCountersDecay) {
    kernel.file("/proc/stat", statOf({0}, {0}));
    CPUService service(kernel.root());
    kernel.file("/proc/stat", statOf({100}, {0}));
    service.getPerCoreUsage();
    EXPECT_THAT(usagesOf(service.getPerCoreUsage()), ElementsAre(DoubleNear(14.25, 1e-9)));
    EXPECT_THAT(usagesOf(service.getPerCoreUsage()), ElementsAre(DoubleNear(2.1375, 1e-9)));
    EXPECT_EQ(service.getAverageUsage(), 0);
}

TEST_F(CPUServiceTest, TheFirstReadMeasuresFromZeroUsage) {
    kernel.file("/proc/stat", statOf({1'000'000}, {0}));
    CPUService service(kernel.root());
    EXPECT_EQ(service.getAverageUsage(), 0);
    EXPECT_THAT(usagesOf(service.getPerCoreUsage()), ElementsAre(0));
}

TEST_F(CPUServiceTest, AFailedReadKeepsTheAverageAndStartsAgain) {
    kernel.file("/proc/stat", statOf({0}, {0}));
    CPUService service(kernel.root());
    kernel.file("/proc/stat", statOf({100}, {0}));
    service.getPerCoreUsage();

    kernel.remove("/proc/stat");
    EXPECT_THAT(service.getPerCoreUsage(), IsEmpty());
    EXPECT_DOUBLE_EQ(service.getAverageUsage(), 100);
    kernel.file("/proc/stat", "cpu  1 2 3 4\nintr 1\n");
    EXPECT_THAT(service.getPerCoreUsage(), IsEmpty());
    EXPECT_DOUBLE_EQ(service.getAverageUsage(), 100);

    kernel.file("/proc/stat", statOf({900}, {0}));
    EXPECT_THAT(usagesOf(service.getPerCoreUsage()), ElementsAre(DoubleNear(14.25, 1e-9)));
    EXPECT_DOUBLE_EQ(service.getAverageUsage(), 0);
}

TEST_F(CPUServiceTest, CoresThatComeAndGoNeverShowAWildFigure) {
    addTopology(kernel, {"0-1", "0-1"});
    CPUService service(kernel.root());
    kernel.file("/proc/stat", statOf({500, 10, 900}, {500, 990, 100}));
    EXPECT_THAT(levelsOf(service.getPerCoreUsage()), ElementsAre(0, 1, 0));  // the third is new and unknown
    EXPECT_EQ(service.totalCores(), 2);

    kernel.file("/proc/stat", "cpu  0\ncpu0 600 0 0 600\ncpu2 950 0 0 110\n");  // the second went
    const auto shrunk = usagesOf(service.getPerCoreUsage());
    EXPECT_THAT(shrunk, SizeIs(2));
    EXPECT_THAT(shrunk, Each(testing::AllOf(testing::Ge(0), testing::Le(100))));

    kernel.file("/proc/stat", statOf({700, 20, 960}, {700, 1080, 150}));
    const auto grown = service.getPerCoreUsage();
    EXPECT_THAT(usagesOf(grown), Each(testing::AllOf(testing::Ge(0), testing::Le(100))));
    EXPECT_GE(service.getAverageUsage(), 0);
    EXPECT_LE(service.getAverageUsage(), 100);
}

TEST_F(CPUServiceTest, ACoreThatMovesUpIsStillMeasuredAgainstItself) {
    addTopology(kernel, {"0-1", "0-1", "2-3", "2-3"});
    const auto stat = [&](const std::string& cores) { kernel.file("/proc/stat", "cpu  0\n" + cores); };
    stat("cpu0 100 0 0 900\ncpu1 100 0 0 900\ncpu2 800 0 0 200\ncpu3 50 0 0 950\n");
    CPUService service(kernel.root());

    stat("cpu0 110 0 0 990\ncpu2 890 0 0 210\ncpu3 100 0 0 1000\n");  // the second is switched off
    const auto three = service.getPerCoreUsage();
    EXPECT_THAT(usagesOf(three),
                ElementsAre(DoubleNear(9.5, 1e-9), DoubleNear(85.5, 1e-9), DoubleNear(47.5, 1e-9)));
    EXPECT_THAT(levelsOf(three), ElementsAre(0, 0, 1));
    for (int place = 0; place < 3; ++place)
        EXPECT_EQ(three[static_cast<std::size_t>(place)].id, place);
    EXPECT_DOUBLE_EQ(service.getAverageUsage(), 50);

    stat("cpu1 200 0 0 900\ncpu2 980 0 0 220\ncpu3 150 0 0 1050\n");  // it is back, and the first is off
    const auto others = service.getPerCoreUsage();
    EXPECT_THAT(levelsOf(others), ElementsAre(1, 0, 1));
    EXPECT_EQ(others[0].usage, 0);
    EXPECT_NEAR(others[1].usage, 0.95 * 90 + 0.05 * 85.5, 1e-9);
    EXPECT_DOUBLE_EQ(service.getAverageUsage(), (0 + 90 + 50) / 3.0);
}

TEST_F(CPUServiceTest, SiblingListsTellThreadsFromCores) {
    const struct {
        const char* story;
        std::vector<std::string> lists;
        std::vector<int> levels;
        int physical;
    } cases[] = {
        {"listed", {"0,4", "1,5", "2,6", "3,7", "0,4", "1,5", "2,6", "3,7"}, {0, 0, 0, 0, 1, 1, 1, 1}, 4},
        {"ranges", {"0-1\n", "0-1\n", "2-3\n", "2-3\n"}, {0, 1, 0, 1}, 2},
        {"no threads", {"0\n", "1\n"}, {0, 0}, 2},
        {"mixed", {"0-1\n", "0-1\n", "2\n", "3\n"}, {0, 1, 0, 0}, 3},
        {"empty", {"", "\n"}, {0, 0}, 2},
        {"garbage tells nothing", {"0\n", "\xff\xfe", ",", "3\n"}, {0, 0, 0, 0}, 2},
        {"nothing but garbage", {"x", longLine('9')}, {0, 0}, 2},
        {"nothing but second threads", {"9\n", "9\n"}, {1, 1}, 2},
        {"only the first line counts", {"0\n5\n", "\n0\n"}, {0, 0}, 2},
        {"longer than any machine's", {"0," + longLine('1'), "0-1"}, {0, 1}, 1},
    };
    for (const auto& c : cases) {
        FakeKernel machine;
        addTopology(machine, c.lists);
        CPUService service(machine.root());
        EXPECT_EQ(levelsOf(service.getPerCoreUsage()), c.levels) << c.story;
        EXPECT_EQ(service.physicalCores(), c.physical) << c.story;
    }
}

TEST_F(CPUServiceTest, AMissingSiblingListLeavesThatCoreUncounted) {
    addTopology(kernel, {"0-1", "0-1", "2-3", "2-3"});
    kernel.remove("/sys/devices/system/cpu/cpu2");
    CPUService service(kernel.root());
    EXPECT_THAT(levelsOf(service.getPerCoreUsage()), ElementsAre(0, 1, 0, 1));
    EXPECT_EQ(service.physicalCores(), 1);
}

TEST_F(CPUServiceTest, AnUnreadableModelIsTheTranslatedUnknown) {
    EXPECT_EQ(modelFrom(kernel), "Unknown CPU");
    for (const std::string& content :
         {""s, "processor\t: 0\n"s, "model name\t:"s, "model na"s, "\0\xff"s, longLine('m')}) {
        kernel.file("/proc/cpuinfo", content);
        EXPECT_EQ(modelFrom(kernel), "Unknown CPU");
        EXPECT_EQ(modelFrom(kernel), L10n::tr("cpu.unknown"));
    }
    kernel.file("/proc/cpuinfo", "processor\t: 0\nmodel name\t: Some CPU\n");
    EXPECT_EQ(modelFrom(kernel), "Some CPU");
}

TEST_F(CPUServiceTest, AFileWithoutCoresReadsAsNone) {
    for (const std::string& content :
         {""s, "\n\n"s, "cp"s, "cpu"s, "cpu  1 2"s, "\0\xff\xfe"s, longLine('c'), "cpu " + longLine('9')}) {
        kernel.file("/proc/stat", content);
        CPUService service(kernel.root());
        EXPECT_EQ(service.totalCores(), 0);
        EXPECT_EQ(service.physicalCores(), 0);
        EXPECT_THAT(service.getPerCoreUsage(), IsEmpty());
        EXPECT_EQ(service.getAverageUsage(), 0);
    }
}

TEST_F(CPUServiceTest, ADamagedFileShowsASaneFigure) {
    kernel.file("/proc/stat", statOf({100, 100}, {100, 100}));
    CPUService service(kernel.root());
    const struct {
        std::string content;
        std::size_t cores;
    } cases[] = {
        {"cpu  1\ncpu0 110 0 0 150 0 0 0 0\ncpu1 1", 2},  // cut in the middle of a number
        {"cpu  1\ncpu0", 1},
        {"cpu0 " + longLine('9'), 1},
        {"cpu0 7" + longLine(' ') + "7\n", 1},
        {"cpu" + longLine('x'), 1},
        {"cpu0 \0 1 2\ncpu1 \xff 2\n"s, 2},
    };
    for (const auto& c : cases) {
        kernel.file("/proc/stat", c.content);
        const auto usages = usagesOf(service.getPerCoreUsage());
        EXPECT_THAT(usages, SizeIs(c.cores)) << c.content.substr(0, 40);
        EXPECT_THAT(usages, Each(testing::AllOf(testing::Ge(0), testing::Le(100))));
        EXPECT_GE(service.getAverageUsage(), 0);
        EXPECT_LE(service.getAverageUsage(), 100);
    }
}

TEST_F(CPUServiceTest, ReadsTheRealKernel) {
    CPUService service;
    EXPECT_GE(service.totalCores(), 1);
    EXPECT_GE(service.physicalCores(), 1);
    EXPECT_LE(service.physicalCores(), service.totalCores());
    EXPECT_FALSE(service.modelName().empty());
    const auto cores = service.getPerCoreUsage();
    EXPECT_THAT(cores, SizeIs(static_cast<std::size_t>(service.totalCores())));
    EXPECT_THAT(usagesOf(cores), Each(testing::AllOf(testing::Ge(0), testing::Le(100))));
}
