#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

/// A process of our own that does nothing until a signal ends it.
class Sleeper {
public:
    Sleeper() : pid_(fork()) {
        if (pid_ != 0) return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (;;)
            pause();
    }
    ~Sleeper() { end(); }
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;

    int pid() const { return pid_; }

    bool isAlive() const {
        siginfo_t info{};
        waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT);
        return pid_ > 0 && info.si_pid == 0;
    }

    /// Waits for its end; the number of the signal that brought it.
    int awaitEnd() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WTERMSIG(status);
    }

    /// Ends it and takes it out of the process table.
    void end() {
        if (pid_ < 1) return;
        kill(pid_, SIGKILL);
        awaitEnd();
    }

private:
    pid_t pid_;
};
