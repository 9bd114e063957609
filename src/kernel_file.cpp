#include "kernel_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "kernel_text.h"

namespace {

constexpr std::size_t kFirstBufferBytes = 4096;

/// Nothing below /proc or /sys blocks on open; O_NONBLOCK keeps a pipe put in a file's place from doing so.
int openForReading(const char* path, int directory = AT_FDCWD) {
    return openat(directory, path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
}

/// One read that an arriving signal does not cut short. Broken sensor drivers may answer "try again" for
/// ever, so that any other error counts as final.
ssize_t readOnce(int fd, char* to, std::size_t size) {
    ssize_t got = 0;
    do {
        got = ::read(fd, to, size);
    } while (got < 0 && errno == EINTR);
    return got;
}

/// The bytes of an opened file, which is closed; none when it could not be opened or a read fails.
std::optional<std::string_view> readAndClose(int fd, KernelFile::Kind kind, std::string& buffer) {
    if (fd < 0) return std::nullopt;
    if (buffer.empty()) buffer.resize(kFirstBufferBytes);

    // The size that stat() names is 0 or a page for these files, so the buffer grows with what comes and
    // stays grown: the next read of the same file then needs a single call.
    std::size_t length = 0;
    bool readable = true;
    while (length < KernelFile::kMaxBytes) {
        if (length == buffer.size()) buffer.resize(buffer.size() * 2);
        const std::size_t room = buffer.size() - length;
        const ssize_t got = readOnce(fd, buffer.data() + length, room);
        if (got < 0) readable = false;
        if (got <= 0) break;
        length += static_cast<std::size_t>(got);
        if (kind == KernelFile::Kind::SingleShow && static_cast<std::size_t>(got) < room) break;
    }
    close(fd);
    if (!readable) return std::nullopt;
    return std::string_view(buffer.data(), length);
}

/// The start of a one-value file, at most `size` bytes; empty when it can't be read.
std::string_view readSmall(const std::string& path, char* to, std::size_t size) {
    const int fd = openForReading(path.c_str());
    if (fd < 0) return {};
    const ssize_t got = readOnce(fd, to, size);
    close(fd);
    return {to, got > 0 ? static_cast<std::size_t>(got) : 0};
}

}  // namespace

std::string kernelPath(std::string_view root, std::string_view absolute) {
    while (!root.empty() && root.back() == '/')
        root.remove_suffix(1);
    std::string path;
    path.reserve(root.size() + absolute.size());
    return path.append(root).append(absolute);
}

KernelFile::KernelFile(std::string path, Kind kind) : path_(std::move(path)), kind_(kind) {}

std::optional<std::string_view> KernelFile::read() {
    return readAndClose(openForReading(path_.c_str()), kind_, buffer_);
}

KernelDirectory::KernelDirectory(const std::string& path) : directory_(opendir(path.c_str())) {}

const char* KernelDirectory::next() {
    // A stream of its own, which no other thread reads.
    // cppcheck-suppress readdirCalled
    const dirent* entry = directory_ ? readdir(directory_.get()) : nullptr;
    return entry ? entry->d_name : nullptr;
}

std::optional<std::string_view> KernelDirectory::read(const std::string& path, std::string& buffer,
                                                      KernelFile::Kind kind) const {
    if (!directory_) return std::nullopt;
    return readAndClose(openForReading(path.c_str(), dirfd(directory_.get())), kind, buffer);
}

std::optional<std::string> readKernelFile(const std::string& path, KernelFile::Kind kind) {
    KernelFile file(path, kind);
    const auto text = file.read();
    if (!text) return std::nullopt;
    return std::string(*text);
}

std::string readKernelWord(const std::string& path) {
    std::array<char, 256> bytes{};
    FieldScanner fields(readSmall(path, bytes.data(), bytes.size()));
    return std::string(fields.word());
}

std::optional<std::int64_t> readKernelInteger(const std::string& path) {
    std::array<char, 64> bytes{};
    FieldScanner fields(readSmall(path, bytes.data(), bytes.size()));
    std::int64_t value = 0;
    if (!fields.number(value)) return std::nullopt;
    return value;
}
