// What the process service takes from the files of one process, of the users and of awkward trees.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>

#include "access_log.h"
#include "fake_processes.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAreArray;

namespace {

class ProcessReadingTest : public ProcessServiceTest {
protected:
    /// The row of a process with these files, if it is listed.
    std::optional<ProcessUsage> rowOf(std::string_view stat, std::string_view status) {
        kernel_.file("/proc/5/stat", stat).file("/proc/5/status", status);
        const auto lists = make().getProcesses();
        if (lists.top.empty()) return std::nullopt;
        return lists.top.front();
    }
};

}  // namespace

// --- Names, owners, memory ---

TEST_F(ProcessReadingTest, ReadsTheStatLine) {
    struct Case {
        std::string stat;
        std::optional<std::string> name;
    };
    const std::string rest = " S 1 2 3 0 -1 0 0 0 0 0 7 8 0 0 20 0 1 0 100 4096 256 0\n";
    const std::vector<Case> cases{
        {"5 (bash)" + rest, "bash"},
        {"1234 (a) b)" + rest, "a) b"},
        {"5 (((x)))" + rest, "((x))"},
        {"5 (two words)" + rest, "two words"},
        {"5 ()" + rest, ""},
        {"5 (" + std::string(64, 'n') + ")" + rest, std::string(64, 'n')},
        {"5 (<b>\xff\xfe</b>)" + rest, "<b>\xff\xfe</b>"},
        {"5 (tab\there\\n)" + rest, "tab\there\\n"},
        {"5 (no newline)" + rest.substr(0, rest.size() - 1), "no newline"},
        {"5 (x)" + rest + "6 (second line)" + rest, "x"},
        {"5 (two\nlines)" + rest, "two\nlines"},
        {"5 (x) S 1 2\n)" + rest, "x) S 1 2\n"},
        {"5 (a)\n(b)" + rest, "a)\n(b"},
        {"", std::nullopt},
        {"\n5 (x)" + rest, std::nullopt},
        {"5 x" + rest, std::nullopt},
        {"5 (x" + rest, std::nullopt},
        {"5 x)" + rest, std::nullopt},
        {"5 )x(" + rest, std::nullopt},
        {"5 (x)", "x"},
        {"5 (x) ", "x"},
        {"5 (x)S", "x"},
    };
    for (const auto& [stat, name] : cases) {
        const auto row = rowOf(stat, statusText(kOwn));
        EXPECT_EQ(row ? std::optional(row->name) : std::nullopt, name) << stat;
    }
}

TEST_F(ProcessReadingTest, MemoryIsResidentPagesInMib) {
    const double mib_per_page = static_cast<double>(sysconf(_SC_PAGESIZE)) / 1048576;
    const auto memoryAt = [&](long pages) {
        return rowOf(statText(5, {.rss = pages}), statusText(kOwn))->memory_mb;
    };
    EXPECT_DOUBLE_EQ(memoryAt(0), 0);
    EXPECT_DOUBLE_EQ(memoryAt(1), mib_per_page);
    EXPECT_DOUBLE_EQ(memoryAt(25'601), 25'601 * mib_per_page);
    EXPECT_DOUBLE_EQ(memoryAt(-1), 0);
    EXPECT_DOUBLE_EQ(memoryAt(std::numeric_limits<long>::max()), 0x1p63 * mib_per_page);
}

TEST_F(ProcessReadingTest, StartTimesAreClockTicksFromBoot) {
    constexpr auto latest = std::numeric_limits<std::uint64_t>::max();
    put(1, {.start = 17});
    put(2, {.start = latest});
    const auto lists = make().getProcesses();
    EXPECT_THAT(pidsOf(lists.top), ElementsAre(1, 2));
    EXPECT_EQ(lists.top.at(0).start_time, 17U);
    EXPECT_EQ(lists.top.at(1).start_time, latest);
    EXPECT_EQ(lists.user.at(0).start_time, 17U);
    kernel_.remove("/proc/1").remove("/proc/2");
    EXPECT_EQ(rowOf("5 (x) S 1 2", statusText(kOwn))->start_time, 0U);
}

TEST_F(ProcessReadingTest, TheOwnerIsTheRealUid) {
    const std::string stat = statText(5, {});
    EXPECT_EQ(rowOf(stat, "Name:\tx\nUid:\t7\t8\t9\t10\n")->uid, 7U);
    EXPECT_EQ(rowOf(stat, "Name:\tx\nUid: 7\n")->uid, 7U);
    EXPECT_EQ(rowOf(stat, "Name:\tx\nUid:\t4294967294")->uid, 4294967294U);
    EXPECT_EQ(rowOf(stat, "Name:\tx\nUid:\t4294967296\n")->uid, 0U);
    EXPECT_EQ(rowOf(stat, "Name:\tx\nUid:\t-7\n")->uid, 0U);
    EXPECT_EQ(rowOf(stat, "Name:\tx\nUid:\n")->uid, 0U);
    EXPECT_EQ(rowOf(stat, "Name:\tx\nGid:\t7\n")->uid, 0U);
    EXPECT_EQ(rowOf(stat, "")->uid, 0U);
}

TEST_F(ProcessReadingTest, AProcessCannotNameItselfIntoAnotherOwner) {
    EXPECT_EQ(rowOf(statText(5, {}), "Name:\tUid:\t0\nUid:\t1000\t1000\t1000\t1000\n")->uid, 1000U);
}

TEST_F(ProcessReadingTest, AProcessWithoutStatusCountsAsRoots) {
    put(1, {});
    put(2, {});
    kernel_.remove("/proc/2/status");
    const auto lists = make().getProcesses();
    EXPECT_THAT(pidsOf(lists.user), ElementsAre(1));
    EXPECT_THAT(lists.top, SizeIs(2));
    EXPECT_EQ(lists.top.at(1).uid, 0U);
    EXPECT_EQ(lists.top.at(1).user, "root");
}

TEST_F(ProcessReadingTest, AProcessThatEndsDuringTheCallIsLeftOut) {
    put(1, {});
    put(2, {});
    kernel_.remove("/proc/2");
    kernel_.directory("/proc/2");
    // A pipe gives its text once: the file that was there at the first look is gone at the second.
    const std::string pipe = kernel_.at("/proc/2/stat").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::fstream writer(pipe);
    const std::string stat = statText(2, {});
    ASSERT_TRUE(writer << stat << std::flush);
    EXPECT_THAT(pidsOf(make().getProcesses().top), ElementsAre(1));
    kernel_.file("/proc/2/status", statusText(kOwn));
    ASSERT_TRUE(writer << stat << std::flush);
    EXPECT_THAT(pidsOf(make().getProcesses().top), ElementsAre(1, 2));
}

TEST_F(ProcessReadingTest, UsersAreNamedByThePasswdFile) {
    kernel_.file("/etc/passwd",
                 "\n:\nshort:x\nshort:x:1000\n+::::\nlike:x: 1000:1:\nlike:x:01000:1:\nlike:x:10000:1:\n"
                 "mara:x:1000:1000:Mara:/home/mara:/bin/sh\nagain:x:1000:1000:::\n");
    put(1, {.uid = 1000});
    put(2, {.uid = 1001});
    put(3, {.uid = 10000});
    const auto lists = make().getProcesses();
    EXPECT_EQ(lists.top.at(0).user, "mara");
    EXPECT_EQ(lists.top.at(1).user, "1001");
    EXPECT_EQ(lists.top.at(2).user, "like");
}

TEST_F(ProcessReadingTest, AMissingPasswdFileLeavesNumbers) {
    kernel_.remove("/etc/passwd");
    put(1, {.uid = 1000});
    EXPECT_EQ(make().getProcesses().top.at(0).user, "1000");
}

TEST_F(ProcessReadingTest, ThePasswdFileIsReadOncePerUser) {
    auto service = make();
    put(1, {.uid = 1000});
    put(2, {.uid = 1001});
    service.getProcesses();
    kernel_.file("/etc/passwd", "renamed:x:1000:::\nlate:x:1001:::\nnew:x:1002:::\n");
    AccessLog log;
    log.watch(kernel_.at("/etc"));
    auto lists = service.getProcesses();
    EXPECT_EQ(lists.top.at(0).user, "mara");
    EXPECT_EQ(lists.top.at(1).user, "1001");
    EXPECT_EQ(log.take()["passwd"], 0);

    for (const int pid : {3, 4, 5})
        put(pid, {.uid = 1002});
    lists = service.getProcesses();
    EXPECT_EQ(lists.top.at(2).user, "new");
    EXPECT_EQ(lists.top.at(4).user, "new");
    EXPECT_EQ(log.take()["passwd"], 1);
}

// --- Awkward trees ---

TEST_F(ProcessReadingTest, OnlyDirectoriesThatBeginWithADigitAreProcesses) {
    const std::string stat = statText(9, {});
    for (const auto* name :
         {"12", "12abc", "007", "2147483647", "2147483648", "99999999999999999999", "self", "-5", "+5", " 5"})
        kernel_.file("/proc/" + std::string(name) + "/stat", stat);
    kernel_.file("/proc/77", stat)
        .directory("/proc/78")
        .directory("/proc/79/stat")
        .file("/elsewhere/stat", stat);
    fs::create_directory_symlink(kernel_.at("/elsewhere"), kernel_.at("/proc/80"));
    fs::create_symlink(kernel_.at("/proc/77"), kernel_.at("/proc/81"));
    EXPECT_THAT(pidsOf(make().getProcesses().top), UnorderedElementsAreArray({12, 12, 7, 2147483647, 80}));
}

TEST_F(ProcessReadingTest, AnUnlistableProcYieldsNothing) {
    auto service = make();
    EXPECT_THAT(service.getProcesses().top, IsEmpty());
    kernel_.file("/proc", "a file");
    EXPECT_THAT(service.getProcesses().top, IsEmpty());
    kernel_.remove("/proc");
    put(1, {});
    EXPECT_THAT(service.getProcesses().user, SizeIs(1));
    kernel_.remove("/proc");
    const auto lists = service.getProcesses();
    EXPECT_THAT(lists.top, IsEmpty());
    EXPECT_THAT(lists.user, IsEmpty());
}

TEST_F(ProcessReadingTest, PipesInPlaceOfFilesDoNotBlock) {
    put(1, {});
    put(2, {});
    for (const auto* path : {"/proc/1/stat", "/proc/2/status"}) {
        kernel_.remove(path);
        ASSERT_EQ(mkfifo(kernel_.at(path).c_str(), 0600), 0);
    }
    const auto lists = make().getProcesses();
    EXPECT_THAT(pidsOf(lists.top), ElementsAre(2));
    EXPECT_THAT(lists.user, IsEmpty());
}

TEST_F(ProcessReadingTest, HugeFilesAreRead) {
    std::string long_name;
    long_name.resize(10'000'000, 'n');
    put(1, {.name = long_name});
    kernel_.file("/proc/1/status", "Name:\t" + long_name + "\nUid:\t1000\t1000\n");
    put(2, {.name = "ordinary"});
    kernel_.file("/proc/3/stat", long_name).file("/etc/passwd", long_name + "\nmara:x:1000:::\n");
    const auto lists = make().getProcesses();
    EXPECT_THAT(pidsOf(lists.user), ElementsAre(1, 2));
    EXPECT_EQ(lists.user.at(0).name, long_name);
    EXPECT_EQ(lists.user.at(1).name, "ordinary");
    EXPECT_EQ(lists.user.at(1).user, "mara");
}
