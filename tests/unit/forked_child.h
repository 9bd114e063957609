#pragma once

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <optional>

#include <gtest/gtest.h>

/// Runs a part of a test in a process of its own once `prepare` has made that ready, as by a namespace; none
/// when this machine did not allow it. The part's failures are printed there; true: it had none.
inline std::optional<bool> passesInChildAfter(const std::function<bool()>& prepare,
                                              const std::function<void()>& part) {
    constexpr int kNotAllowed = 77;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (!prepare()) _exit(kNotAllowed);
        part();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == kNotAllowed) return std::nullopt;
    return status == 0;
}

/// The same with nothing to prepare, for what can't be undone in this process (limits, the user id).
inline bool passesInChild(const std::function<void()>& part) {
    return *passesInChildAfter([] { return true; }, part);
}

/// For use in a child: no new descriptor from this number on. The hard limit stays: tools that run programs
/// refuse to change it.
inline void limitDescriptors(int limit) {
    rlimit limits{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limits), 0);
    limits.rlim_cur = static_cast<rlim_t>(limit);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limits), 0);
}

constexpr uid_t kNobody = 65534;

/// For use in a child: nobody's rights instead of root's, which would open every file.
inline void dropPrivileges() {
    if (geteuid() != 0) return;
    ASSERT_EQ(setgid(kNobody), 0);
    ASSERT_EQ(setuid(kNobody), 0);
}
