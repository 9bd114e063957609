#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

/// Whether "which" would find a program of this name on PATH, whose empty parts are the current directory.
/// Runs nothing.
bool programOnPath(const std::string& name);

/// One run of an external program, without a shell: its standard output is collected, its standard error
/// discarded, its standard input empty. It runs in a process group of its own. No call waits past its
/// deadline, whatever the program does.
class ChildProcess {
public:
    using Clock = std::chrono::steady_clock;
    using Arguments = std::vector<std::string>;

    /// Output beyond this is read and thrown away, down to the last whole line (bytes).
    static constexpr std::size_t kMaxOutputBytes = std::size_t{256} << 10;
    /// The exit status of a program that can't be started, as in a shell.
    static constexpr int kNotStarted = 127;

    /// Starts arguments[0], looked for on PATH. One that can't be started counts as ended at once.
    explicit ChildProcess(const Arguments& arguments);
    /// Kills the program and what it started if it is still running.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Takes in what the program writes and waits until `deadline` at most for its end; true when it has
    /// ended and nothing of it is left in the process table. A deadline in the past only looks. What the
    /// program started and left behind is not waited for.
    bool finishBy(Clock::time_point deadline);

    /// Asks the kernel to end the program and what it started; finishBy() tells when that has happened.
    void kill() const;

    /// What the program wrote so far.
    const std::string& output() const { return output_; }

    /// How an ended program ended: its exit status, 128 + the signal's number if a signal ended it. 0 when
    /// the kernel was told to forget our children.
    int exitStatus() const { return exit_status_; }

private:
    void start(const Arguments& arguments, int output_end);
    bool reap();
    void takeOutput();
    void keep(const char* bytes, std::size_t size);
    void awaitNews(Clock::duration at_most) const;
    void closeAll();

    pid_t pid_ = 0;    ///< 0 when it was never started or is reaped
    int pipe_ = -1;    ///< where its output comes from, -1 at the end of the output
    int end_fd_ = -1;  ///< readable once it has ended; -1 on kernels that don't offer this
    int exit_status_ = kNotStarted;
    bool overflowed_ = false;
    std::string output_;
};
