#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>

#include <gtest/gtest.h>

/// Runs a part of a test in a process of its own, for what can't be undone in this one (limits, the user id).
/// Its failures are printed there; true: it had none.
inline bool passesInChild(const std::function<void()>& part) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        part();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// For use in a child: nobody's rights instead of root's, which would open every file.
inline void dropPrivileges() {
    constexpr uid_t kNobody = 65534;
    if (geteuid() != 0) return;
    ASSERT_EQ(setgid(kNobody), 0);
    ASSERT_EQ(setuid(kNobody), 0);
}
