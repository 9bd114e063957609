#include "process_handle.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "kernel_file.h"
#include "kernel_text.h"

namespace {

/// The C libraries we build with don't all have these two calls.
int openProcess(int pid) {
#ifdef SYS_pidfd_open
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));  // close-on-exec by itself
#else
    static_cast<void>(pid);
    errno = ENOSYS;
    return -1;
#endif
}

int sendSignal(int fd, int number) {
#ifdef SYS_pidfd_send_signal
    return static_cast<int>(syscall(SYS_pidfd_send_signal, fd, number, nullptr, 0));
#else
    static_cast<void>(fd);
    static_cast<void>(number);
    return -1;
#endif
}

/// When a process began, in clock ticks from boot: field 22 of /proc/<pid>/stat. The second field, its name,
/// may hold blanks and parentheses; it ends at the last one.
std::optional<std::uint64_t> readStartTime(const std::string& stat_path) {
    const auto text = readKernelFile(stat_path, KernelFile::Kind::SingleShow);
    if (!text) return std::nullopt;
    const std::size_t name_end = text->rfind(')');
    if (name_end == std::string::npos) return std::nullopt;
    FieldScanner fields(std::string_view(*text).substr(name_end + 1));
    fields.skip(19);
    std::uint64_t start_time = 0;
    return fields.number(start_time) ? std::optional(start_time) : std::nullopt;
}

}  // namespace

ProcessHandle::ProcessHandle(int pid, std::string_view root, std::uint64_t start_time)
    : pid_(pid), stat_path_(kernelPath(root, "/proc/" + std::to_string(pid) + "/stat")) {
    if (pid_ < 1) return;
    fd_ = openProcess(pid_);
    const bool is_gone = fd_ < 0 && errno == ESRCH;
    if (fd_ < 0 && !is_gone) start_time_ = readStartTime(stat_path_);
    // Read once the process is held: what had the pid before that matters no more.
    if (start_time != 0 && readStartTime(stat_path_) != start_time) letGo();
}

ProcessHandle::~ProcessHandle() {
    letGo();
}

void ProcessHandle::letGo() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
    start_time_.reset();
}

bool ProcessHandle::signal(int number) const {
    if (fd_ >= 0) return sendSignal(fd_, number) == 0;
    return isSameProcess() && kill(pid_, number) == 0;
}

bool ProcessHandle::isSameProcess() const {
    return start_time_.has_value() && readStartTime(stat_path_) == start_time_;
}
