#include "restart.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <functional>
#include <vector>

#include "forked_child.h"
#include "scoped_environment.h"
#include "started_anew.h"

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

constexpr const char* kRestartVariable = "KORVALUNE_TEST_RESTART";

std::string ownPath() {
    return fs::read_symlink("/proc/self/exe");
}

/// Runs `part` in a process that then ends with the status it returns.
pid_t inChild(const std::function<int()>& part) {
    const pid_t child = fork();
    if (child == 0) _exit(part());
    return child;
}

int statusOf(pid_t child) {
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// While it lives, processes whose parent has ended become children of this one.
class OrphansAdopted {
public:
    OrphansAdopted() { EXPECT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0); }
    ~OrphansAdopted() { prctl(PR_SET_CHILD_SUBREAPER, 0); }
    OrphansAdopted(const OrphansAdopted&) = delete;
    OrphansAdopted& operator=(const OrphansAdopted&) = delete;

    /// waitpid()'s statuses of all children that are left, once the last of them has ended.
    static std::vector<int> awaitAll() {
        std::vector<int> statuses;
        int status = 0;
        while (waitpid(-1, &status, 0) > 0)
            statuses.push_back(status);
        EXPECT_EQ(errno, ECHILD);
        return statuses;
    }
};

/// A copy of the test program that is deleted while it runs, and then asks for its restart.
const bool kRestartedWhenDeleted = [] {
    const char* const report = std::getenv(kRestartVariable);
    if (report == nullptr) return false;
    fs::remove(ownPath());
    setenv(kReportVariable, report, 1);
    _exit(restartAfterEnd() ? 0 : 1);
}();

class Restart : public testing::Test {
protected:
    TemporaryDirectory directory_;
    fs::path report_ = directory_ / "report";
    ScopedEnvironment environment_{{{"SNAP", std::nullopt}}};

    /// What a process does that restarts.
    int restart(const std::function<void()>& before_the_end) const {
        setenv(kReportVariable, report_.c_str(), 1);
        if (!restartAfterEnd()) return 1;
        before_the_end();
        return 0;
    }
};

TEST_F(Restart, ComesWithNothingButItsPath) {
    ASSERT_EQ(statusOf(inChild([this] {
                  signal(SIGPIPE, SIG_IGN);
                  return restart([] {});
              })),
              0);
    const auto report = awaitReport(report_);
    ASSERT_TRUE(report);
    EXPECT_EQ(report->arguments, ownPath() + '\0');
    EXPECT_FALSE(report->pipe_signal_ignored);
}

TEST_F(Restart, ComesNoSoonerThanAThirdOfASecond) {
    const long start = steadyMs();
    ASSERT_EQ(statusOf(inChild([this] { return restart([] {}); })), 0);
    const auto report = awaitReport(report_);
    ASSERT_TRUE(report);
    EXPECT_GE(report->time_ms - start, 300);
}

TEST_F(Restart, WaitsForAProcessThatIsSlowToEnd) {
    const long start = steadyMs();
    const pid_t old = inChild([this] { return restart([] { sleep(2); }); });
    ASSERT_EQ(statusOf(old), 0);
    const auto report = awaitReport(report_);
    ASSERT_TRUE(report);
    EXPECT_GE(report->time_ms - start, 2000);
}

TEST_F(Restart, WaitsForAProcessThatIsKilled) {
    const long start = steadyMs();
    const pid_t old = inChild([this] { return restart([] { pause(); }); });
    sleep(1);
    kill(old, SIGKILL);
    ASSERT_EQ(statusOf(old), -1);
    const auto report = awaitReport(report_);
    ASSERT_TRUE(report);
    EXPECT_GE(report->time_ms - start, 1000);
}

TEST_F(Restart, KeepsNoConnectionOfTheOldProcessOpen) {
    std::array<int, 2> connection{};
    std::array<int, 2> go{};
    ASSERT_EQ(pipe(connection.data()), 0);
    ASSERT_EQ(pipe(go.data()), 0);
    const pid_t old = inChild([&] {
        return restart([&] {
            close(connection[1]);
            char byte = 0;
            EXPECT_EQ(read(go[0], &byte, 1), 1);
        });
    });
    close(connection[1]);
    pollfd end{connection[0], 0, 0};
    EXPECT_EQ(poll(&end, 1, 5000), 1) << "the waiting successor holds it";
    EXPECT_EQ(write(go[1], "g", 1), 1);
    EXPECT_EQ(statusOf(old), 0);
    EXPECT_TRUE(awaitReport(report_));
    for (const int fd : {connection[0], go[0], go[1]})
        close(fd);
}

TEST_F(Restart, AskedForTwiceComesOnce) {
    const OrphansAdopted orphans;
    const pid_t old = inChild([this] {
        return restart([] {
            if (!restartAfterEnd()) _exit(2);
        });
    });
    ASSERT_EQ(statusOf(old), 0);
    EXPECT_THAT(orphans.awaitAll(), ElementsAre(0));
    EXPECT_TRUE(fs::exists(report_));
}

TEST_F(Restart, EndedByASignalBeforeItComesDoesNotActForTheOldProcess) {
    for (const int number : {SIGTERM, SIGINT}) {
        const OrphansAdopted orphans;
        std::array<int, 2> connection{};
        ASSERT_EQ(pipe(connection.data()), 0);
        const pid_t old = inChild([&] {
            setpgid(0, 0);
            signal(number, [](int) { _exit(3); });
            return restart([&] {
                close(connection[1]);
                pause();
            });
        });
        close(connection[1]);
        pollfd end{connection[0], 0, 0};
        EXPECT_EQ(poll(&end, 1, 10'000), 1);
        EXPECT_EQ(kill(-old, number), 0);
        EXPECT_EQ(statusOf(old), 3) << "the handler's status";
        EXPECT_THAT(orphans.awaitAll(), ElementsAre(number)) << "as without a handler";
        close(connection[0]);
    }
    EXPECT_FALSE(fs::exists(report_));
}

TEST_F(Restart, ComesFromTheFileThatRanWhenItsNameIsGone) {
    const fs::path copy = directory_ / "copy";
    fs::copy_file(ownPath(), copy);
    const pid_t child = fork();
    if (child == 0) {
        setenv(kRestartVariable, report_.c_str(), 1);
        execl(copy.c_str(), copy.c_str(), nullptr);
        _exit(9);
    }
    ASSERT_EQ(statusOf(child), 0);
    EXPECT_FALSE(fs::exists(copy));
    const auto report = awaitReport(report_);
    ASSERT_TRUE(report);
    EXPECT_EQ(report->arguments, copy.string() + '\0');
}

TEST_F(Restart, WithoutAnotherProcessLeavesThisOneRunning) {
    EXPECT_TRUE(passesInChild([] {
        dropPrivileges();
        const rlimit none{0, 0};
        ASSERT_EQ(setrlimit(RLIMIT_NPROC, &none), 0);
        EXPECT_FALSE(restartAfterEnd());
    }));
}

TEST_F(Restart, EndsTheConfinedPackagesProcessAtOnce) {
    const OrphansAdopted orphans;
    for (const char* value : {"/snap/korvalune/1", ""}) {
        const ScopedEnvironment confined(ScopedEnvironment::Variables{{"SNAP", value}});
        EXPECT_EQ(statusOf(inChild([this] {
                      restart([] {});
                      return 7;
                  })),
                  1);
    }
    EXPECT_THAT(orphans.awaitAll(), IsEmpty());
    EXPECT_FALSE(fs::exists(report_));
}

}  // namespace
