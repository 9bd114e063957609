#include "user_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMaxBytes = std::size_t{64} << 20;
constexpr int kMaxLinks = 40;  // as many as the kernel follows

/// Fixed, so that what a killed program left behind is found and replaced by the next save.
constexpr const char* kTemporaryName = ".Korvalune.part";

class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return fd_; }
    bool open() const { return fd_ >= 0; }

    /// Network file systems report a full disk only here.
    bool close() { return fd_ < 0 || ::close(std::exchange(fd_, -1)) == 0; }

private:
    int fd_;
};

/// The file a chain of symbolic links ends at; none when it never ends, or one of them is neither this user's
/// nor root's: it may have been planted to have another file overwritten.
std::optional<fs::path> finalTarget(fs::path path) {
    for (int links = 0; links <= kMaxLinks; ++links) {
        struct stat status = {};
        const bool link = lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
        if (link && status.st_uid != geteuid() && status.st_uid != 0) return std::nullopt;
        std::error_code no_link;
        const fs::path target = fs::read_symlink(path, no_link);
        if (no_link) return path;
        path = path.parent_path() / target;
    }
    return std::nullopt;
}

/// What stands in the file's place: nothing, a file that may be replaced, or anything else.
struct Existing {
    bool replaceable = false;
    std::optional<struct stat> file;  // none: a new file is made
};

Existing inspect(const fs::path& path) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) return {errno == ENOENT, std::nullopt};
    const bool writable = faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
    return {S_ISREG(status.st_mode) && writable, status};
}

/// Gives the file the owner and the mode of the one it will replace, as far as the system permits.
void takeOver(int fd, const struct stat& old) {
    const bool group_kept =
        fchown(fd, old.st_uid, old.st_gid) == 0 || fchown(fd, static_cast<uid_t>(-1), old.st_gid) == 0;
    // Rights meant for one group must not go to another.
    fchmod(fd, old.st_mode & (group_kept ? 0777U : 0707U));
}

bool writeAll(int fd, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = write(fd, content.data(), content.size());
        if (written < 0 && errno != EINTR) return false;
        if (written > 0) content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

/// Gives a new file its content, safe on the disk.
bool complete(Descriptor& file, const std::optional<struct stat>& old, std::string_view content) {
    if (old) takeOver(file.get(), *old);
    return writeAll(file.get(), content) && fsync(file.get()) == 0 && file.close();
}

/// Whether a directory refused a new file because of what it is, not because the disk is full.
bool refusesNewFiles(int error) {
    return error == EACCES || error == EPERM || error == EROFS;
}

/// From the file's start to its new end.
bool overwrite(int fd, std::string_view content) {
    return lseek(fd, 0, SEEK_SET) == 0 && writeAll(fd, content) &&
           ftruncate(fd, static_cast<off_t>(content.size())) == 0 && fsync(fd) == 0;
}

/// For a file that nothing can be renamed to. Only this user's own one, with no other name: where somebody
/// else owns the directory, it may be another file of the user's. When the new content does not fit on the
/// disk the old one, whose place it still has, is put back.
bool writeInPlace(const fs::path& path, std::string_view content) {
    const auto old = readRegularFile(path);
    if (!old) return false;
    const Descriptor file(open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!file.open() || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_uid != geteuid() || status.st_nlink != 1) {
        return false;
    }
    if (overwrite(file.get(), content)) return true;
    overwrite(file.get(), *old);
    return false;
}

}  // namespace

std::optional<std::string> readRegularFile(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status = {};
    if (!file.open() || fstat(file.get(), &status) != 0) return std::nullopt;
    if (!S_ISREG(status.st_mode)) return std::nullopt;

    std::string content;
    std::array<char, 16384> chunk{};
    while (content.size() <= kMaxBytes) {
        const ssize_t got = read(file.get(), chunk.data(), chunk.size());
        if (got == 0) return content;
        if (got < 0 && errno != EINTR) return std::nullopt;
        if (got > 0) content.append(chunk.data(), static_cast<std::size_t>(got));
    }
    return std::nullopt;
}

std::optional<std::string> readUserFile(const std::string& path) {
    const auto target = finalTarget(path);
    return target ? readRegularFile(*target) : std::nullopt;
}

bool isPrivateDirectory(const std::string& path) {
    constexpr mode_t kWritableForOthers = S_IWGRP | S_IWOTH;
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid() &&
           (status.st_mode & kWritableForOthers) == 0;
}

bool keepUnreadFile(const std::string& path) {
    const auto target = finalTarget(path);
    if (!target) return false;
    const Existing existing = inspect(*target);
    if (!existing.replaceable) return false;
    return !existing.file || rename(target->c_str(), (target->native() + ".unread").c_str()) == 0;
}

bool replaceUserFile(const std::string& path, std::string_view content) {
    const auto target = finalTarget(path);
    if (!target) return false;
    const Existing existing = inspect(*target);
    if (!existing.replaceable) return false;

    const fs::path temporary = target->parent_path() / kTemporaryName;
    unlink(temporary.c_str());
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    Descriptor file(open(temporary.c_str(), kFlags, existing.file ? 0600 : 0666));
    if (!file.open()) return refusesNewFiles(errno) && writeInPlace(*target, content);
    const bool whole = complete(file, existing.file, content);
    if (whole && rename(temporary.c_str(), target->c_str()) == 0) return true;
    const bool mounted = whole && errno == EBUSY;  // a file of its own in another directory's tree
    unlink(temporary.c_str());
    return mounted && writeInPlace(*target, content);
}
