#pragma once

#include <string>

/// The per-user lock file that lets only one instance run: it holds the process id of the running instance in
/// decimal and nothing else. It lies in a directory that everybody may write to, so links planted in its
/// place are not followed.
class InstanceLock {
public:
    /// For the calling user, in `dir`.
    explicit InstanceLock(const std::string& dir = "/tmp");

    /// Whether the file names a live process that this user may signal. A file that is missing, unreadable,
    /// no regular file of this user, or holds anything else counts as left behind.
    bool heldByAnother() const;

    /// Writes our own process id. Without permission the program simply runs without a lock.
    void take() const;

    void release() const;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

/// Handler of SIGTERM and SIGINT: removes the lock file and ends the process with status 0 at once. Only
/// async-signal-safe work is allowed here, so nothing is saved and no destructor runs.
extern "C" void cleanup(int sig);
