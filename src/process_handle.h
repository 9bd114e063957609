#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// One process, held on to so that a signal reaches that very process or none: until the user has made up
/// their mind, it may have ended and its pid may belong to another program.
class ProcessHandle {
public:
    /// Takes hold of the process that has this pid now. A pid below 1 stands for groups of processes, none of
    /// which is ever held. `root` is where /proc lies. `start_time`, in clock ticks from boot, is when the
    /// wanted process began, 0 if that is unknown: one that began at another time is not held.
    explicit ProcessHandle(int pid, std::string_view root = "/", std::uint64_t start_time = 0);
    ~ProcessHandle();
    ProcessHandle(const ProcessHandle&) = delete;
    ProcessHandle& operator=(const ProcessHandle&) = delete;

    /// Sends the signal. False when nothing was sent: the process has ended, can't be told from its
    /// successor, or may not be signalled by this user.
    bool signal(int number) const;

private:
    void letGo();
    bool isSameProcess() const;

    int pid_;
    int fd_ = -1;            ///< refers to the process itself; -1 where the kernel doesn't offer this
    std::string stat_path_;  ///< of /proc/<pid>/stat
    std::optional<std::uint64_t> start_time_;  ///< clock ticks from boot, only known without fd_
};
