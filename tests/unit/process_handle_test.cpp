#include "process_handle.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include "fake_kernel.h"
#include "forked_child.h"
#include "sleeper.h"

namespace {

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// The descriptor that will be opened next.
int nextDescriptor() {
    const int fd = dup(STDIN_FILENO);
    close(fd);
    // cppcheck-suppress deallocret ; only the number
    return fd;
}

/// For use in a child: from now on the kernel answers pidfd_open with this error.
void refusePidDescriptors(unsigned error) {
    std::array<sock_filter, 4> filter{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pidfd_open, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog program{filter.size(), filter.data()};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
    ASSERT_EQ(syscall(SYS_pidfd_open, getpid(), 0), -1);
}

/// A stat file whose field 22 is `start`.
std::string statStarting(const std::string& name, const std::string& start) {
    return "5 (" + name + ") S 1 2 3 0 -1 0 0 0 0 0 7 8 0 0 20 0 1 0 " + start + " 4096 256 0\n";
}

std::string statPath(int pid) {
    return "/proc/" + std::to_string(pid) + "/stat";
}

/// For use in the first process of a pid namespace: makes processes until one has this pid.
void reusePid(int pid) {
    std::ofstream("/proc/sys/kernel/ns_last_pid") << pid - 1;
}

/// Runs `part` as the first process of a pid namespace, where it decides who gets which pid. None when this
/// machine allows no such namespace.
std::optional<bool> passesInPidNamespace(const std::function<void()>& part) {
    return passesInChildAfter([] { return unshare(CLONE_NEWUSER | CLONE_NEWPID) == 0; },
                              [&] { EXPECT_TRUE(passesInChild(part)); });
}

}  // namespace

TEST(ProcessHandle, TerminatesOrKillsItsProcess) {
    for (const int number : {SIGTERM, SIGKILL}) {
        Sleeper target;
        EXPECT_TRUE(ProcessHandle(target.pid()).signal(number));
        EXPECT_EQ(target.awaitEnd(), number);
    }
}

TEST(ProcessHandle, AnEndedProcessIsNotSignalled) {
    Sleeper target;
    const int pid = target.pid();
    const ProcessHandle taken_before(pid);
    target.end();
    EXPECT_FALSE(taken_before.signal(SIGTERM));
    EXPECT_FALSE(ProcessHandle(pid).signal(SIGTERM));
}

TEST(ProcessHandle, TheNextOwnerOfThePidIsNotSignalled) {
    const auto passes = passesInPidNamespace([] {
        Sleeper selected;
        const int pid = selected.pid();
        const ProcessHandle handle(pid);
        selected.end();
        reusePid(pid);
        Sleeper bystander;
        ASSERT_EQ(bystander.pid(), pid);
        EXPECT_FALSE(handle.signal(SIGKILL));
        EXPECT_TRUE(bystander.isAlive());
        EXPECT_TRUE(ProcessHandle(pid).signal(SIGKILL));
        EXPECT_EQ(bystander.awaitEnd(), SIGKILL);
    });
    if (!passes) GTEST_SKIP() << "no pid namespaces here";
    EXPECT_TRUE(*passes);
}

TEST(ProcessHandle, OnlyAProcessThatBeganWhenExpectedIsHeld) {
    const auto check = [] {
        Sleeper target;
        FakeKernel kernel;
        const auto handle = [&](std::uint64_t start_time) {
            return ProcessHandle(target.pid(), kernel.root(), start_time);
        };
        for (const std::string& stat : {statStarting("a) S 1 (b", "1834"), std::string("5 (x) S 1 2")}) {
            kernel.file(statPath(target.pid()), stat);
            EXPECT_FALSE(handle(1835).signal(SIGKILL)) << stat;
        }
        kernel.remove(statPath(target.pid()));
        EXPECT_FALSE(handle(1834).signal(SIGKILL));
        EXPECT_TRUE(target.isAlive());
        kernel.file(statPath(target.pid()), statStarting("a) S 1 (b", "1834"));
        EXPECT_TRUE(handle(0).signal(0));
        EXPECT_TRUE(handle(1834).signal(SIGTERM));
        EXPECT_EQ(target.awaitEnd(), SIGTERM);
    };
    check();
    EXPECT_TRUE(passesInChild([&] {
        refusePidDescriptors(ENOSYS);
        check();
    }));
}

TEST(ProcessHandle, AProcessThatIsNotTheExpectedOneKeepsNoDescriptor) {
    const Sleeper target;
    const auto before = openDescriptors();
    const ProcessHandle handle(target.pid(), "/", 1);
    EXPECT_EQ(openDescriptors(), before);
}

// Signal 0 reaches nobody, but kill() takes it for all these pids.
TEST(ProcessHandle, PidsThatStandForGroupsAreNotSignalled) {
    for (const int pid : {0, -1, -getpgrp(), INT_MIN})
        EXPECT_FALSE(ProcessHandle(pid).signal(0)) << pid;
}

TEST(ProcessHandle, AProcessOfAnotherUserIsLeftAlone) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can have a process of another user";
    Sleeper target;
    EXPECT_TRUE(passesInChild([&] {
        dropPrivileges();
        EXPECT_FALSE(ProcessHandle(target.pid()).signal(SIGKILL));
    }));
    EXPECT_TRUE(target.isAlive());
}

TEST(ProcessHandle, ItsDescriptorIsClosedAndNotInherited) {
    const Sleeper target;
    const auto before = openDescriptors();
    for (int i = 0; i < 1000; ++i) {
        const int fd = nextDescriptor();
        const ProcessHandle handle(target.pid());
        if (fcntl(fd, F_GETFD) == -1) GTEST_SKIP() << "no process descriptors here";
        ASSERT_TRUE((fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0);
        ASSERT_TRUE(handle.signal(0));
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST(ProcessHandle, WithoutDescriptorsLeftNothingIsSent) {
    const Sleeper target;
    EXPECT_TRUE(passesInChild([&] {
        limitDescriptors(nextDescriptor());
        EXPECT_FALSE(ProcessHandle(target.pid()).signal(SIGKILL));
    }));
    EXPECT_TRUE(target.isAlive());
}

// --- Kernels and sandboxes that don't hand out descriptors of processes ---

TEST(ProcessHandle, WithoutProcessDescriptorsTheStartTimeTellsProcessesApart) {
    for (const unsigned error : {ENOSYS, EPERM}) {
        EXPECT_TRUE(passesInChild([=] {
            refusePidDescriptors(error);
            Sleeper target;
            const int pid = target.pid();
            const ProcessHandle handle(pid);
            EXPECT_TRUE(handle.signal(SIGTERM));
            EXPECT_EQ(target.awaitEnd(), SIGTERM);
            EXPECT_FALSE(handle.signal(SIGTERM));
            EXPECT_FALSE(ProcessHandle(pid).signal(SIGTERM));
            EXPECT_FALSE(ProcessHandle(0).signal(0));
            EXPECT_FALSE(ProcessHandle(-1).signal(0));
        }));
    }
}

TEST(ProcessHandle, AnotherStartTimeIsAnotherProcess) {
    struct Case {
        std::string before, after;
        bool same;
    };
    const std::string plain = statStarting("x", "1834");
    const std::array<Case, 9> cases{{
        {plain, plain, true},
        {plain, statStarting("y", "1834"), true},  // it ran another program meanwhile
        {statStarting("a) S 1 (b", "1834"), statStarting("two\nlines", "1834"), true},
        {statStarting("x", "18446744073709551615"), statStarting("x", "18446744073709551615"), true},
        {plain, statStarting("x", "1835"), false},
        {plain, "", false},
        {"", "", false},
        {"5 (x) S 1 2", "5 (x) S 1 2", false},
        {statStarting("x", "18446744073709551616"), statStarting("x", "18446744073709551616"), false},
    }};
    for (const Case& one : cases) {
        const Sleeper target;
        FakeKernel kernel;
        EXPECT_TRUE(passesInChild([&] {
            refusePidDescriptors(ENOSYS);
            kernel.file(statPath(target.pid()), one.before);
            const ProcessHandle handle(target.pid(), kernel.root());
            kernel.file(statPath(target.pid()), one.after);
            EXPECT_EQ(handle.signal(0), one.same);
            EXPECT_TRUE(one.same || !handle.signal(SIGKILL));
        })) << one.before
            << one.after;
        EXPECT_TRUE(target.isAlive());
    }
}
