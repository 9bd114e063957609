#include "child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <string_view>

namespace {

using std::chrono::milliseconds;

/// How much of an endless output one look takes in before it minds the time again (bytes).
constexpr std::size_t kBytesPerLook = std::size_t{1} << 20;
/// How often to look for the end of a program that the kernel can't announce.
constexpr milliseconds kLookInterval{10};
/// How long a killed program may take to leave the process table before it is left to the init process.
constexpr milliseconds kLastWait{100};

/// What posix_spawn needs to know, freed with the object.
class SpawnSettings {
public:
    explicit SpawnSettings(int output_end) {
        posix_spawn_file_actions_init(&actions_);
        // Output first: the pipe's end may itself be descriptor 0 or 2 when ours were closed at start.
        posix_spawn_file_actions_adddup2(&actions_, output_end, STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0);

        sigset_t none;
        sigset_t usual;
        sigemptyset(&none);
        sigemptyset(&usual);
        sigaddset(&usual, SIGPIPE);  // ignored by many libraries, which a child would inherit
        sigaddset(&usual, SIGCHLD);
        sigaddset(&usual, SIGXFSZ);  // by the program itself
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &usual);
        posix_spawnattr_setpgroup(&attributes_, 0);
        posix_spawnattr_setflags(&attributes_,
                                 POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    }
    ~SpawnSettings() {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&actions_);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    /// The error of posix_spawnp; 0 and the child's id when it was started.
    int spawn(const ChildProcess::Arguments& arguments, pid_t& pid) const {
        std::vector<char*> words;
        words.reserve(arguments.size() + 1);
        for (const std::string& argument : arguments)
            words.push_back(const_cast<char*>(argument.c_str()));
        words.push_back(nullptr);
        return posix_spawnp(&pid, words[0], &actions_, &attributes_, words.data(), environ);
    }

private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

void closeOne(int& fd) {
    if (fd >= 0) close(fd);
    fd = -1;
}

int openEndDescriptor(pid_t pid) {
#ifdef SYS_pidfd_open
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));  // close-on-exec by itself
#else
    static_cast<void>(pid);
    return -1;
#endif
}

bool isProgram(const std::string& path) {
    struct stat what {};
    return stat(path.c_str(), &what) == 0 && S_ISREG(what.st_mode) && access(path.c_str(), X_OK) == 0;
}

}  // namespace

bool programOnPath(const std::string& name) {
    const char* const set = std::getenv("PATH");
    std::string_view rest = set ? set : "/bin:/usr/bin";
    if (rest.empty()) return false;
    while (true) {
        const std::size_t end = std::min(rest.find(':'), rest.size());
        std::string path(end ? rest.substr(0, end) : ".");
        if (isProgram(path.append("/").append(name))) return true;
        if (end == rest.size()) return false;
        rest.remove_prefix(end + 1);
    }
}

ChildProcess::ChildProcess(const Arguments& arguments) {
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return;
    pipe_ = ends[0];
    fcntl(pipe_, F_SETFL, O_NONBLOCK);
    start(arguments, ends[1]);
    close(ends[1]);
    if (!pid_) closeAll();
}

ChildProcess::~ChildProcess() {
    if (pid_) {
        kill();
        finishBy(Clock::now() + kLastWait);
    }
    closeAll();
}

void ChildProcess::start(const Arguments& arguments, int output_end) {
    const SpawnSettings settings(output_end);
    int error = settings.spawn(arguments, pid_);
    if (error == ENOEXEC) {
        // A script without "#!": the shell runs it, with the words as its arguments and not as its text.
        Arguments by_shell{"sh", "-c", R"(exec "$0" "$@")"};
        by_shell.insert(by_shell.end(), arguments.begin(), arguments.end());
        error = settings.spawn(by_shell, pid_);
    }
    if (error) pid_ = 0;  // not promised to be untouched
    if (pid_) end_fd_ = openEndDescriptor(pid_);
}

bool ChildProcess::finishBy(Clock::time_point deadline) {
    while (!reap()) {
        takeOutput();
        const auto remaining = deadline - Clock::now();
        if (remaining <= Clock::duration::zero()) return false;
        awaitNews(remaining);
    }
    return true;
}

void ChildProcess::kill() const {
    if (pid_) ::kill(-pid_, SIGKILL);
}

/// True when the program has ended; its last output has then been taken in.
bool ChildProcess::reap() {
    if (!pid_) return true;
    int status = 0;
    pid_t ended = 0;
    do {
        ended = waitpid(pid_, &status, WNOHANG);
    } while (ended < 0 && errno == EINTR);
    if (ended == 0) return false;

    exit_status_ = 0;
    if (ended > 0) exit_status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    pid_ = 0;
    takeOutput();
    closeAll();
    return true;
}

void ChildProcess::takeOutput() {
    std::array<char, 4096> bytes;
    for (std::size_t taken = 0; pipe_ >= 0 && taken < kBytesPerLook;) {
        const ssize_t got = read(pipe_, bytes.data(), bytes.size());
        if (got < 0 && errno == EINTR) continue;
        if (got < 0 && errno == EAGAIN) return;
        if (got <= 0) return closeOne(pipe_);
        keep(bytes.data(), static_cast<std::size_t>(got));
        taken += static_cast<std::size_t>(got);
    }
}

void ChildProcess::keep(const char* bytes, std::size_t size) {
    if (overflowed_) return;
    const std::size_t room = kMaxOutputBytes - output_.size();
    output_.append(bytes, std::min(size, room));
    if (size <= room) return;
    overflowed_ = true;
    output_.resize(output_.rfind('\n') + 1);  // no newline at all: npos + 1 is 0
}

void ChildProcess::awaitNews(Clock::duration at_most) const {
    auto wait = std::chrono::ceil<milliseconds>(at_most);
    if (end_fd_ < 0) wait = std::min(wait, kLookInterval);
    std::array<pollfd, 2> sources{pollfd{pipe_, POLLIN, 0}, pollfd{end_fd_, POLLIN, 0}};
    poll(sources.data(), sources.size(), static_cast<int>(std::min<milliseconds::rep>(wait.count(), 60'000)));
}

void ChildProcess::closeAll() {
    closeOne(pipe_);
    closeOne(end_fd_);
}
