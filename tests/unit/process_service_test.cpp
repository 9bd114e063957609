#include "process_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "access_log.h"
#include "allocated_bytes.h"
#include "fake_processes.h"

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::Field;
using testing::SizeIs;

namespace {

std::map<int, double> usageOf(const std::vector<ProcessUsage>& rows) {
    std::map<int, double> usage;
    for (const auto& row : rows)
        usage[row.pid] = row.cpu_usage;
    return usage;
}

std::vector<int> range(int from, int to, int step = 1) {
    std::vector<int> numbers;
    for (int i = from; i <= to; i += step)
        numbers.push_back(i);
    return numbers;
}

}  // namespace

// --- CPU usage ---

TEST_F(ProcessServiceTest, TheFirstCallShowsNoUsage) {
    put(1, {.utime = ticks(1000), .stime = ticks(50)});
    put(2, {.uid = kOther, .utime = ticks(3)});
    const auto lists = make().getProcesses(at(2));
    EXPECT_THAT(lists.top, SizeIs(2));
    EXPECT_THAT(lists.top, Each(Field(&ProcessUsage::cpu_usage, 0)));
    EXPECT_THAT(lists.user, Each(Field(&ProcessUsage::cpu_usage, 0)));
}

TEST_F(ProcessServiceTest, UsageIsPercentOfOneCoreSinceTheLastCall) {
    auto service = make();
    for (const int pid : {1, 2, 3, 4})
        put(pid, {.utime = ticks(100), .stime = ticks(10)});
    service.getProcesses(at(10));
    put(1, {.utime = ticks(100.5), .stime = ticks(10)});
    put(2, {.utime = ticks(100), .stime = ticks(10.5)});
    put(3, {.utime = ticks(101), .stime = ticks(10.5)});
    const auto lists = service.getProcesses(at(12));
    EXPECT_EQ(usageOf(lists.top), (std::map<int, double>{{1, 25}, {2, 25}, {3, 75}, {4, 0}}));
    EXPECT_EQ(usageOf(lists.user), usageOf(lists.top));

    put(4, {.utime = ticks(101), .stime = ticks(10)});
    EXPECT_EQ(usageOf(service.getProcesses(at(16)).top),
              (std::map<int, double>{{1, 0}, {2, 0}, {3, 0}, {4, 25}}));
}

TEST_F(ProcessServiceTest, BusyThreadsExceedOneHundredPercent) {
    auto service = make();
    put(1, {});
    service.getProcesses(at(0));
    put(1, {.utime = ticks(7), .stime = ticks(1)});
    EXPECT_DOUBLE_EQ(service.getProcesses(at(2)).top.at(0).cpu_usage, 400);
}

TEST_F(ProcessServiceTest, AProcessNotSeenAtTheLastCallShowsNoUsage) {
    auto service = make();
    put(1, {.utime = ticks(5)});
    service.getProcesses(at(0));
    put(2, {.utime = ticks(50)});
    EXPECT_EQ(usageOf(service.getProcesses(at(1)).top), (std::map<int, double>{{1, 0}, {2, 0}}));
    put(2, {.utime = ticks(51)});
    EXPECT_EQ(usageOf(service.getProcesses(at(2)).top), (std::map<int, double>{{1, 0}, {2, 100}}));
}

TEST_F(ProcessServiceTest, AVanishedProcessIsForgotten) {
    auto service = make();
    put(1, {.utime = ticks(5)});
    put(2, {.utime = ticks(5)});
    service.getProcesses(at(0));
    kernel_.remove("/proc/2");
    EXPECT_THAT(pidsOf(service.getProcesses(at(1)).top), ElementsAre(1));
    put(2, {.utime = ticks(500)});
    EXPECT_EQ(usageOf(service.getProcesses(at(2)).top), (std::map<int, double>{{1, 0}, {2, 0}}));

    kernel_.remove("/proc/2");
    for (const int second : {3, 4, 5})
        EXPECT_THAT(pidsOf(service.getProcesses(at(second)).top), ElementsAre(1));
    put(2, {.utime = ticks(900)});
    EXPECT_EQ(usageOf(service.getProcesses(at(6)).top), (std::map<int, double>{{1, 0}, {2, 0}}));
}

TEST_F(ProcessServiceTest, CountersThatWentBackwardsShowNoUsage) {
    auto service = make();
    put(1, {.utime = ticks(500), .stime = ticks(500)});
    service.getProcesses(at(0));
    put(1, {.utime = ticks(1), .stime = ticks(1)});
    EXPECT_EQ(usageOf(service.getProcesses(at(1)).top), (std::map<int, double>{{1, 0}}));
    put(1, {.utime = ticks(1.5), .stime = ticks(1)});
    EXPECT_EQ(usageOf(service.getProcesses(at(2)).top), (std::map<int, double>{{1, 50}}));
}

TEST_F(ProcessServiceTest, NoTimeBetweenCallsShowsNoUsage) {
    auto service = make();
    put(1, {});
    service.getProcesses(at(5));
    put(1, {.utime = ticks(1)});
    EXPECT_EQ(usageOf(service.getProcesses(at(5)).top), (std::map<int, double>{{1, 0}}));
    put(1, {.utime = ticks(2)});
    EXPECT_EQ(usageOf(service.getProcesses(at(4)).top), (std::map<int, double>{{1, 0}}));
    put(1, {.utime = ticks(3)});
    EXPECT_EQ(usageOf(service.getProcesses(at(5)).top), (std::map<int, double>{{1, 100}}));
}

TEST_F(ProcessServiceTest, ACutOffFileIsNoEarlierSample) {
    auto service = make();
    put(1, {.utime = ticks(1000)});
    const std::string whole = statText(1, {.utime = ticks(1000)});
    kernel_.file("/proc/1/stat", std::string_view(whole).substr(0, whole.find(" 91 92") - 2));
    service.getProcesses(at(0));
    kernel_.file("/proc/1/stat", whole);
    EXPECT_EQ(usageOf(service.getProcesses(at(1)).top), (std::map<int, double>{{1, 0}}));
}

// --- The two lists ---

TEST_F(ProcessServiceTest, BothListsBeginWithTheBusiest) {
    auto service = make();
    for (int pid = 1; pid <= 6; pid++)
        put(pid, {.uid = pid % 2 == 0 ? kOwn : kOther});
    service.getProcesses(at(0));
    const std::map<int, double> seconds{{1, 0.3}, {2, 0.1}, {3, 0}, {4, 0.9}, {5, 0.5}, {6, 0.2}};
    for (const auto& [pid, used] : seconds)
        put(pid, {.uid = pid % 2 == 0 ? kOwn : kOther, .utime = ticks(used)});
    const auto lists = service.getProcesses(at(1));
    EXPECT_THAT(pidsOf(lists.top), ElementsAre(4, 5, 1, 6, 2, 3));
    EXPECT_THAT(pidsOf(lists.user), ElementsAre(4, 6, 2));
}

TEST_F(ProcessServiceTest, EachListHoldsTwenty) {
    auto service = make();
    const auto putAll = [&](double share) {
        for (int pid = 1; pid <= 100; pid++)
            put(pid, {.uid = pid % 2 == 0 ? kOwn : kOther, .utime = ticks(share * pid)});
    };
    putAll(0);
    service.getProcesses(at(0));
    putAll(0.01);
    const auto lists = service.getProcesses(at(1));
    auto top = range(81, 100);
    auto user = range(62, 100, 2);
    std::reverse(top.begin(), top.end());
    std::reverse(user.begin(), user.end());
    EXPECT_THAT(pidsOf(lists.top), ElementsAreArray(top));
    EXPECT_THAT(pidsOf(lists.user), ElementsAreArray(user));
}

TEST_F(ProcessServiceTest, FewProcessesMakeShortLists) {
    for (int pid = 1; pid <= 30; pid++)
        put(pid, {.uid = pid <= 3 ? kOwn : kOther});
    const auto many = make().getProcesses();
    EXPECT_THAT(many.top, SizeIs(20));
    EXPECT_THAT(many.user, SizeIs(3));
    for (int pid = 5; pid <= 30; pid++)
        kernel_.remove("/proc/" + std::to_string(pid));
    const auto few = make().getProcesses();
    EXPECT_THAT(few.top, SizeIs(4));
    EXPECT_THAT(few.user, SizeIs(3));
}

TEST_F(ProcessServiceTest, TheUsersListSeesAChangedOwner) {
    auto service = make();
    put(1, {.uid = kOwn});
    put(2, {.uid = kOther});
    EXPECT_THAT(pidsOf(service.getProcesses(at(1)).user), ElementsAre(1));
    put(1, {.uid = kOther});
    put(2, {.uid = kOwn});
    EXPECT_THAT(pidsOf(service.getProcesses(at(2)).user), ElementsAre(2));
}

TEST_F(ProcessServiceTest, IdleRowsKeepTheirPlaces) {
    auto service = make();
    for (int pid = 1; pid <= 90; pid++)
        put(pid, {.uid = pid <= 45 ? kOther : kOwn});
    service.getProcesses(at(0));
    const auto before = service.getProcesses(at(1));
    put(91, {});
    put(20, {.uid = kOther});
    const auto after = service.getProcesses(at(2));
    EXPECT_EQ(pidsOf(after.top), pidsOf(before.top));
    EXPECT_EQ(pidsOf(after.user), pidsOf(before.user));
    EXPECT_EQ(pidsOf(after.user), range(46, 65));
}

// --- What is read ---

TEST_F(ProcessServiceTest, ReadsNoMoreOwnersThanTheListsNeed) {
    for (int pid = 1; pid <= 300; pid++)
        put(pid, {.uid = pid <= 150 ? kOther : kOwn});
    auto service = make();
    service.getProcesses(at(0));

    AccessLog log;
    for (int pid = 1; pid <= 300; pid++)
        log.watch(kernel_.at("/proc/" + std::to_string(pid)));
    EXPECT_THAT(service.getProcesses(at(1)).user, SizeIs(20));
    auto opened = log.take();
    EXPECT_EQ(opened["stat"], 300);
    EXPECT_EQ(opened["status"], 20);

    // Four busy processes of others come first, and each takes one more look.
    for (const int pid : {3, 50, 99, 140})
        put(pid, {.uid = kOther, .utime = ticks(0.5)});
    log.take();
    EXPECT_THAT(service.getProcesses(at(2)).user, SizeIs(20));
    opened = log.take();
    EXPECT_EQ(opened["stat"], 300);
    EXPECT_EQ(opened["status"], 24);
}

TEST_F(ProcessServiceTest, RefreshesNeedNoMoreMemoryThanTheFirst) {
    for (int pid = 1; pid <= 50; pid++)
        put(pid, {.name = std::string(1000, 'n')});
    auto service = make();
    const auto refresh = [&](int times) {
        for (int i = 0; i < times; i++)
            service.getProcesses(at(i));
    };
    refresh(5);
    const std::size_t before = allocatedBytes();
    refresh(50);
    EXPECT_LE(allocatedBytes(), before + 10'000);
}

TEST_F(ProcessServiceTest, LooksForTheUsersProcessesAmongAll) {
    for (int pid = 1; pid <= 300; pid++)
        put(pid, {.uid = pid == 299 ? kOwn : kOther});
    auto service = make();
    for (int second = 0; second < 3; second++)
        EXPECT_THAT(pidsOf(service.getProcesses(at(second)).user), ElementsAre(299));
}

TEST_F(ProcessServiceTest, FindsAReplacementWhenAKnownProcessEnds) {
    for (int pid = 1; pid <= 100; pid++)
        put(pid, {.uid = pid <= 50 ? kOther : kOwn});
    auto service = make();
    EXPECT_EQ(pidsOf(service.getProcesses(at(0)).user), range(51, 70));
    kernel_.remove("/proc/60");
    auto expected = range(51, 71);
    std::erase(expected, 60);
    EXPECT_EQ(pidsOf(service.getProcesses(at(1)).user), expected);
}

TEST_F(ProcessServiceTest, APidThatPassedToAnotherProcessStartsFromZero) {
    put(9, {.utime = ticks(1), .start = 1000});
    ProcessService service = make();
    service.getProcesses(at(1));
    put(9, {.utime = ticks(6), .start = 999'999});
    EXPECT_EQ(service.getProcesses(at(2)).top.at(0).cpu_usage, 0);
    put(9, {.utime = ticks(6.5), .start = 999'999});
    EXPECT_NEAR(service.getProcesses(at(3)).top.at(0).cpu_usage, 50, 1e-9);
}
