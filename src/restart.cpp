#include "restart.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>

#include "own_program.h"

namespace {

constexpr long kShortestWaitMs = 300;
constexpr int kFirstAfterStdio = 3;

/// All that the child needs. It is made before the fork: other threads may hold any lock at that moment, so
/// that the child can use nothing but system calls.
struct Successor {
    std::string path = ownProgramPath();
    std::array<char*, 2> arguments{path.data(), nullptr};
    std::array<int, 2> pipe{-1, -1};  ///< its writing end stays open for as long as this process lives
    int last_descriptor = 0;

    bool prepare() {
        constexpr long kMost = 1L << 20;
        last_descriptor = static_cast<int>(std::clamp(sysconf(_SC_OPEN_MAX), 256L, kMost));
        return !path.empty() && pipe2(pipe.data(), O_CLOEXEC) == 0;
    }
};

long monotonicMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000L + now.tv_nsec / 1'000'000L;
}

/// Closes the descriptors from `first` up to `last`; INT_MAX stands for all that there are.
void closeDescriptors(int first, int last, int last_possible) {
    if (first > last) return;
#ifdef SYS_close_range
    if (syscall(SYS_close_range, first, last, 0) == 0) return;
#endif
    for (int fd = first; fd <= std::min(last, last_possible); ++fd)
        close(fd);
}

void waitForEndOf(int pipe) {
    const long earliest = monotonicMs() + kShortestWaitMs;
    for (long left = kShortestWaitMs; left > 0; left = earliest - monotonicMs())
        poll(nullptr, 0, static_cast<int>(left));
    pollfd end{pipe, 0, 0};  // nothing is ever written: it hangs up when the last writer is gone
    while (poll(&end, 1, -1) < 0 && errno == EINTR) {
    }
}

[[noreturn]] void becomeSuccessor(const Successor& successor) {
    // Their handler removes the lock file, which is still the old process's.
    signal(SIGTERM, SIG_DFL);
    signal(SIGINT, SIG_DFL);
    const auto [reading, writing] = successor.pipe;
    close(writing);
    // The connections to the display and the bus are to end with the old process.
    closeDescriptors(kFirstAfterStdio, reading - 1, successor.last_descriptor);
    closeDescriptors(std::max(reading + 1, kFirstAfterStdio), INT_MAX, successor.last_descriptor);
    waitForEndOf(reading);
    signal(SIGPIPE, SIG_DFL);  // ignored by GIO, which the new program would inherit
    execv(successor.path.data(), successor.arguments.data());
    // Removed or moved meanwhile: the file that runs is still there.
    execv(kOwnProgram, successor.arguments.data());
    _exit(1);
}

}  // namespace

bool restartAfterEnd() {
    if (std::getenv("SNAP") != nullptr) _exit(1);

    static bool waiting = false;
    if (waiting) return true;
    Successor successor;
    if (!successor.prepare()) return false;
    const pid_t child = fork();
    if (child == 0) becomeSuccessor(successor);
    close(successor.pipe[0]);
    if (child < 0) close(successor.pipe[1]);
    waiting = child > 0;
    return waiting;
}
