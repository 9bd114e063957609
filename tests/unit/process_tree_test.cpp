// The process lists of whole machines: two moments of a desktop, a hostile tree, and the running kernel.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "fake_kernel.h"
#include "process_service.h"

namespace fs = std::filesystem;
using testing::SizeIs;

namespace {

constexpr uid_t kMara = 1000;

struct Row {
    int pid;
    std::string name;
    std::string user;
    double memory_pages;
    long cpu_ticks = 0;

    bool operator==(const Row&) const = default;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.pid << " " << testing::PrintToString(row.name) << " of " << row.user << ", "
         << row.memory_pages << " pages, " << row.cpu_ticks << " ticks";
}

/// The rows with their figures turned back into the kernel's units, which do not depend on this machine.
std::vector<Row> rowsOf(const std::vector<ProcessUsage>& list, double elapsed) {
    std::vector<Row> rows;
    for (const auto& usage : list) {
        const double pages = usage.memory_mb * 1048576 / static_cast<double>(sysconf(_SC_PAGESIZE));
        const double used = usage.cpu_usage / 100 * elapsed * static_cast<double>(sysconf(_SC_CLK_TCK));
        rows.push_back({usage.pid, usage.name, usage.user, pages, std::lround(used)});
    }
    return rows;
}

/// A child that waits to be told how long to keep a core busy, and stops when it has.
class BusyChild {
public:
    explicit BusyChild(const char* name) : pid_(fork()) {
        if (pid_ == 0) run(name);
        waitUntilStopped();
    }

    ~BusyChild() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }

    BusyChild(const BusyChild&) = delete;
    BusyChild& operator=(const BusyChild&) = delete;

    void burn() const {
        kill(pid_, SIGCONT);
        waitUntilStopped();
    }

    int pid() const { return pid_; }

    static constexpr double kSeconds = 0.3;

private:
    [[noreturn]] static void run(const char* name) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        prctl(PR_SET_NAME, name);
        const auto used = [] {
            timespec time{};
            clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
            return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
        };
        while (true) {
            raise(SIGSTOP);
            const double end = used() + kSeconds;
            while (used() < end) {
            }
        }
    }

    void waitUntilStopped() const {
        int status = 0;
        if (pid_ < 0 || waitpid(pid_, &status, WUNTRACED) != pid_ || !WIFSTOPPED(status))
            throw std::runtime_error("the child did not stop");
    }

    pid_t pid_;
};

std::optional<ProcessUsage> find(const std::vector<ProcessUsage>& rows, int pid) {
    const auto row = std::find_if(rows.begin(), rows.end(), [pid](const auto& r) { return r.pid == pid; });
    return row == rows.end() ? std::nullopt : std::optional(*row);
}

}  // namespace

TEST(ProcessTree, ShowsADesktopFiveSecondsLater) {
    const FakeKernel machine;
    const fs::path root = machine.at("/root");
    fs::create_directory_symlink(fixtureRoot("process-tree-desktop"), root);
    const auto start = ProcessService::Clock::now();
    ProcessService service(root.string(), start, kMara);

    const auto before = service.getProcesses(start);
    EXPECT_THAT(before.top, SizeIs(14));
    EXPECT_THAT(before.user, SizeIs(7));

    fs::remove(root);
    fs::create_directory_symlink(fixtureRoot("process-tree-desktop-later"), root);
    const auto lists = service.getProcesses(start + std::chrono::seconds(5));
    const std::vector<Row> user{
        {2040, "Web Browser", "mara", 128000, 1000},
        {2101, "Isolated Web Co", "mara", 64256, 250},
        {1311, "panel-desktop", "mara", 22875, 3},
        {1204, "systemd", "mara", 2710},
        {1350, "(sd-pam)", "mara", 1190},
        {4012345, "late-pid", "mara", 2048},
        {2900, "cc1plus", "mara", 38400},
    };
    const std::vector<Row> top{
        {2040, "Web Browser", "mara", 128000, 1000},
        {2101, "Isolated Web Co", "mara", 64256, 250},
        {958, "Xorg", "root", 31200, 40},
        {1311, "panel-desktop", "mara", 22875, 3},
        {17, "ksoftirqd/0", "root", 0, 2},
        {1, "systemd", "root", 3172, 1},
        {611, "dbus-daemon", "messagebus", 1320, 1},
        {1204, "systemd", "mara", 2710},
        {1350, "(sd-pam)", "mara", 1190},
        {4012345, "late-pid", "mara", 2048},
        {2, "kthreadd", "root", 0},
        {702, "NetworkManager", "root", 5240},
        {2610, "container-app", "165536", 4096},
        {2900, "cc1plus", "mara", 38400},
    };
    EXPECT_EQ(rowsOf(lists.user, 5), user);
    EXPECT_EQ(rowsOf(lists.top, 5), top);
    EXPECT_DOUBLE_EQ(lists.top.at(0).cpu_usage, 1000.0 / static_cast<double>(sysconf(_SC_CLK_TCK)) / 5 * 100);
}

TEST(ProcessTree, TakesWhatItCanFromAHostileOne) {
    constexpr double kMost = 9223372036854775807.0;
    const std::vector<Row> expected{
        {1, "a) b)", "mara", 256},          {2, "<b>markup</b> & \"quotes\"", "mara", 256},
        {3, "\xff\xfe\xc3(", "mara", 256},  {4, "", "mara", 256},
        {6, "cut in utime", "mara", 0},     {10, "no status", "0", 256},
        {12, "ends here", "mara", 0},       {13, "ends behind", "mara", 0},
        {16, "two\nlines", "mara", 256},    {17, "negative rss", "mara", 0},
        {18, "largest rss", "mara", kMost}, {19, "rss beyond", "mara", 0},
        {20, "negative times", "mara", 0},  {21, "Uid:\t0", "mara", 256},
        {22, "uid is text", "0", 256},      {23, "uid beyond", "0", 256},
        {24, "uid cut off", "0", 256},      {25, "binary status", "0", 256},
        {26, "suffixed", "mara", 256},
    };
    const auto start = ProcessService::Clock::now();
    ProcessService service(fixtureRoot("process-tree-hostile"), start, kMara);
    for (int second = 0; second < 3; second++) {
        auto lists = service.getProcesses(start + std::chrono::seconds(second));
        std::sort(lists.top.begin(), lists.top.end(),
                  [](const auto& a, const auto& b) { return a.pid < b.pid; });
        EXPECT_EQ(rowsOf(lists.top, 1), expected);
        EXPECT_THAT(lists.user, SizeIs(14));
    }
}

TEST(ProcessTree, SeesABusyProcessOfTheRunningKernel) {
    // The kernel passes the newline on in this name's stat file.
    const BusyChild child("a) b\n(c 1 ");
    const auto start = ProcessService::Clock::now();
    ProcessService service;
    service.getProcesses(start);
    child.burn();
    const auto end = ProcessService::Clock::now();
    const auto lists = service.getProcesses(end);

    for (const auto& list : {lists.top, lists.user}) {
        const auto row = find(list, child.pid());
        ASSERT_TRUE(row);
        EXPECT_EQ(row->name, "a) b\n(c 1 ");
        EXPECT_EQ(row->uid, getuid());
        EXPECT_GT(row->memory_mb, 0.1);
        const double seconds = row->cpu_usage / 100 * std::chrono::duration<double>(end - start).count();
        EXPECT_NEAR(seconds, BusyChild::kSeconds, 0.05);
    }
}

TEST(ProcessTree, SeesItselfInTheRunningKernel) {
    const BusyChild child("korvalune-child");
    ProcessService service("/", ProcessService::Clock::now(), getuid());
    const auto lists = service.getProcesses();
    EXPECT_FALSE(lists.top.empty());
    ASSERT_FALSE(lists.user.empty());
    for (const auto& row : lists.user) {
        EXPECT_EQ(row.uid, getuid());
        EXPECT_EQ(row.user, lists.user.front().user);
        EXPECT_GT(row.pid, 0);
    }
    EXPECT_LE(lists.top.size(), 20U);
    EXPECT_LE(lists.user.size(), 20U);
}
