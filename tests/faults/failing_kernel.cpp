/// Preloaded into the program, makes its reading of chosen kernel files fail while it runs.
///
/// The variable FAILING_KERNEL names a file of faults, one a line. Whoever wants others replaces that file.
///
///     open ERRNO PATTERN           such a file can't be opened
///     read COUNT ERRNO PATTERN     of an opened one, so many reads are good and all others fail
///     chunk BYTES PATTERN          no read yields more
///     cut BYTES PATTERN            the file ends there
///     instead FILE PATTERN         another file is opened in its place
///     list ERRNO PATTERN           such a directory can't be listed
///     entry COUNT ERRNO PATTERN    its listing fails after so many entries
///
/// ERRNO is a number and FILE a path without blanks; PATTERN, up to the line's end, is matched with fnmatch()
/// against the absolute path. All faults that fit a path count. Only those calls are replaced with which the
/// program reads kernel files.

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t kEndless = std::numeric_limits<std::size_t>::max();

struct Fault {
    std::string kind;
    std::size_t count = 0;  ///< good reads or entries, or bytes
    int error = 0;
    std::string file;
    std::string pattern;
};

std::istream& operator>>(std::istream& line, Fault& fault) {
    fault = {};
    line >> fault.kind;
    const auto is = [&](const std::string& one, const std::string& other) {
        return fault.kind == one || fault.kind == other;
    };
    if (is("read", "entry") || is("chunk", "cut")) line >> fault.count;
    if (is("read", "entry") || is("open", "list")) line >> fault.error;
    if (fault.kind == "instead") line >> fault.file;
    return std::getline(line >> std::ws, fault.pattern);
}

/// What is still to happen to something that has been opened.
struct Fate {
    std::size_t good = kEndless;  ///< reads or entries before the error
    int error = 0;
    std::size_t chunk = kEndless;  ///< bytes
    std::size_t left = kEndless;   ///< bytes
    std::string instead{};         ///< empty: the file itself is opened
};

/// The faults in force, and the fates that they led to, by file descriptor or DIR.
class Faults {
public:
    static Faults& instance() {
        static auto* const faults = new Faults;  // in use until the very end of the process
        return *faults;
    }

    std::vector<Fault> of(const std::string& path) {
        const std::lock_guard lock(mutex_);
        readAgain();
        std::vector<Fault> found;
        for (const Fault& fault : faults_) {
            if (fnmatch(fault.pattern.c_str(), path.c_str(), 0) == 0) found.push_back(fault);
        }
        return found;
    }

    void setFate(std::uintptr_t opened, const Fate& fate) {
        const std::lock_guard lock(mutex_);
        fates_[opened] = fate;
        any_ = true;
    }

    void forget(std::uintptr_t opened) {
        if (!any_) return;
        const std::lock_guard lock(mutex_);
        fates_.erase(opened);
    }

    /// Counts one more read or entry; the fate as it was before.
    std::optional<Fate> meet(std::uintptr_t opened) {
        if (!any_) return std::nullopt;
        const std::lock_guard lock(mutex_);
        const auto found = fates_.find(opened);
        if (found == fates_.end()) return std::nullopt;
        const Fate fate = found->second;
        if (fate.good != kEndless && fate.good > 0) --found->second.good;
        return fate;
    }

    void hasRead(std::uintptr_t opened, std::size_t bytes) {
        const std::lock_guard lock(mutex_);
        const auto found = fates_.find(opened);
        if (found != fates_.end() && found->second.left != kEndless) found->second.left -= bytes;
    }

private:
    void readAgain() {
        const char* const path = std::getenv("FAILING_KERNEL");
        struct stat now {};
        if (path == nullptr || stat(path, &now) != 0) return;
        const bool unchanged = now.st_ino == read_.st_ino && now.st_mtim.tv_sec == read_.st_mtim.tv_sec &&
                               now.st_mtim.tv_nsec == read_.st_mtim.tv_nsec;
        if (unchanged) return;
        read_ = now;
        faults_.clear();
        std::ifstream lines(path);
        for (Fault fault; lines >> fault;)
            faults_.push_back(fault);
    }

    std::recursive_mutex mutex_;  ///< reading the file of faults comes by here too
    struct stat read_ {};         ///< the file of faults when it was read
    std::vector<Fault> faults_;
    std::map<std::uintptr_t, Fate> fates_;
    std::atomic<bool> any_ = false;  ///< whether there ever was a fate
};

std::uintptr_t keyOf(int fd) {
    return static_cast<std::uintptr_t>(fd);
}

std::uintptr_t keyOf(const DIR* directory) {
    return reinterpret_cast<std::uintptr_t>(directory);
}

/// The C library's function of this name, before which ours comes.
template <typename Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::string absolutePath(int directory, const char* path) {
    if (path[0] == '/' || directory == AT_FDCWD) return path;
    char target[PATH_MAX];
    const std::string link = "/proc/self/fd/" + std::to_string(directory);
    const ssize_t length = readlink(link.c_str(), target, sizeof target);
    return std::string(target, length > 0 ? static_cast<std::size_t>(length) : 0) + "/" + path;
}

/// The error with which opening fails; 0, with what is to come, when it does not.
int errorAtOpening(const std::string& path, std::string_view opening, std::optional<Fate>& fate) {
    const std::string_view reading = opening == "open" ? "read" : "entry";
    Fate coming;
    for (const Fault& fault : Faults::instance().of(path)) {
        if (fault.kind == opening) return fault.error;
        if (fault.kind == reading) {
            coming.good = fault.count;
            coming.error = fault.error;
        }
        if (fault.kind == "chunk") coming.chunk = fault.count;
        if (fault.kind == "cut") coming.left = fault.count;
        if (fault.kind == "instead") coming.instead = fault.file;
        fate = coming;
    }
    return 0;
}

}  // namespace

extern "C" {

int openat(int directory, const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & (O_CREAT | O_TMPFILE)) != 0) {
        std::va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    static auto* const open_original = original<int(int, const char*, int, ...)>("openat");
    std::optional<Fate> fate;
    const int error = errorAtOpening(absolutePath(directory, path), "open", fate);
    if (error != 0) {
        errno = error;
        return -1;
    }
    const bool is_other = fate && !fate->instead.empty();
    const int fd = open_original(directory, is_other ? fate->instead.c_str() : path, flags, mode);
    if (fd >= 0 && fate) Faults::instance().setFate(keyOf(fd), *fate);
    return fd;
}

ssize_t read(int fd, void* to, std::size_t size) {
    static auto* const read_original = original<ssize_t(int, void*, std::size_t)>("read");
    const std::optional<Fate> fate = Faults::instance().meet(keyOf(fd));
    if (!fate) return read_original(fd, to, size);
    if (fate->good == 0) {
        errno = fate->error;
        return -1;
    }
    const ssize_t got = read_original(fd, to, std::min({size, fate->chunk, fate->left}));
    if (got > 0) Faults::instance().hasRead(keyOf(fd), static_cast<std::size_t>(got));
    return got;
}

int close(int fd) {
    static auto* const close_original = original<int(int)>("close");
    Faults::instance().forget(keyOf(fd));
    return close_original(fd);
}

DIR* opendir(const char* path) {
    static auto* const open_original = original<DIR*(const char*)>("opendir");
    std::optional<Fate> fate;
    const int error = errorAtOpening(path, "list", fate);
    if (error != 0) {
        errno = error;
        return nullptr;
    }
    DIR* const directory = open_original(path);
    if (directory != nullptr && fate) Faults::instance().setFate(keyOf(directory), *fate);
    return directory;
}

dirent* readdir(DIR* directory) {
    static auto* const read_original = original<dirent*(DIR*)>("readdir");
    const std::optional<Fate> fate = Faults::instance().meet(keyOf(directory));
    if (fate && fate->good == 0) {
        errno = fate->error;
        return nullptr;
    }
    return read_original(directory);
}

int closedir(DIR* directory) {
    static auto* const close_original = original<int(DIR*)>("closedir");
    Faults::instance().forget(keyOf(directory));
    return close_original(directory);
}
}
