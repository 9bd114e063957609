#include "instance_lock.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <string_view>

#include "kernel_text.h"

namespace {

constexpr const char* kPathFormat = "%s/Korvalune-%d.lock";
constexpr std::size_t kPathBytes = 256;

/// A descriptor of the regular file at `path`, or -1. O_NONBLOCK keeps a pipe put in its place from holding
/// the start up; a file of another user may name any process to keep us from starting, and one with a second
/// name may be somebody's document, linked here to be overwritten.
int openRegular(const char* path, int flags) {
    const int fd = open(path, flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644);
    if (fd < 0) return -1;
    struct stat status {};
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
        status.st_uid == geteuid()) {
        return fd;
    }
    close(fd);
    return -1;
}

std::optional<pid_t> readPid(const char* path) {
    const int fd = openRegular(path, O_RDONLY);
    if (fd < 0) return std::nullopt;
    std::array<char, 64> text{};
    const ssize_t got = read(fd, text.data(), text.size());
    close(fd);
    FieldScanner fields(std::string_view(text.data(), got > 0 ? static_cast<std::size_t>(got) : 0));
    pid_t pid = 0;
    if (!fields.number(pid)) return std::nullopt;
    return pid;
}

}  // namespace

InstanceLock::InstanceLock(const std::string& dir) {
    std::array<char, kPathBytes> path{};
    std::snprintf(path.data(), path.size(), kPathFormat, dir.c_str(), static_cast<int>(getuid()));
    path_ = path.data();
}

bool InstanceLock::heldByAnother() const {
    const auto pid = readPid(path_.c_str());
    // 0 and below address whole process groups, for which kill() succeeds; our own id was left by a
    // predecessor: in a sandbox with its own process ids every start may get the same one.
    return pid && *pid > 0 && *pid != getpid() && kill(*pid, 0) == 0;
}

void InstanceLock::take() const {
    const int fd = openRegular(path_.c_str(), O_WRONLY | O_CREAT);
    if (fd < 0) return;
    std::array<char, 16> text{};
    const int length = std::snprintf(text.data(), text.size(), "%d", static_cast<int>(getpid()));
    if (ftruncate(fd, 0) == 0 && write(fd, text.data(), static_cast<std::size_t>(length)) != length) {
        unlink(path_.c_str());
    }
    close(fd);
}

void InstanceLock::release() const {
    unlink(path_.c_str());
}

extern "C" void cleanup(int /*sig*/) {
    char path[kPathBytes];
    std::snprintf(path, sizeof path, kPathFormat, "/tmp", static_cast<int>(getuid()));
    unlink(path);
    _exit(0);
}
