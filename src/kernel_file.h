#pragma once

#include <dirent.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// Where a kernel file lies below `root`: kernelPath("/", "/proc/stat") is "/proc/stat", and with a fixture
/// tree as root it is that tree's proc/stat. `absolute` begins with a slash.
std::string kernelPath(std::string_view root, std::string_view absolute);

/// One pseudo-file of /proc or /sys that is read again and again into one buffer kept between reads.
///
/// The kernel writes most of these files in one go, so that a read shorter than the buffer is the end; a file
/// made of many records (net/dev, cpuinfo) may hand out a short read at a record's border and go on.
class KernelFile {
public:
    enum class Kind {
        SingleShow,  ///< a short read is the end: one read call an access
        Records,     ///< read until nothing more comes
    };

    /// No file is ever read further than this (bytes): a text of this length is no kernel's.
    static constexpr std::size_t kMaxBytes = std::size_t{16} << 20;

    explicit KernelFile(std::string path, Kind kind = Kind::SingleShow);

    /// The file's bytes as they are now, valid until the next call; none when it can't be opened or a read
    /// fails, be it the last one: half a text may end with half a number.
    std::optional<std::string_view> read();

    const std::string& path() const { return path_; }

private:
    std::string path_;
    Kind kind_;
    std::string buffer_;
};

/// One walk through a directory of /proc or /sys, held open so that the files below it can be read relative
/// to it: for two small files per process the kernel then follows fewer names.
class KernelDirectory {
public:
    /// A directory that can't be listed has no entries.
    explicit KernelDirectory(const std::string& path);

    /// The name of the next entry in the kernel's order ("." and ".." are entries too), valid until the next
    /// call; null at the end.
    const char* next();

    /// The bytes of the file at `path`, relative to this directory, as KernelFile::read() yields them. They
    /// lie in `buffer`, which grows as needed and is best kept between calls.
    std::optional<std::string_view> read(const std::string& path, std::string& buffer,
                                         KernelFile::Kind kind = KernelFile::Kind::SingleShow) const;

private:
    struct Close {
        void operator()(DIR* directory) const { closedir(directory); }
    };

    std::unique_ptr<DIR, Close> directory_;
};

/// The whole of a file that is read once or rarely; none when it can't be opened or read.
std::optional<std::string> readKernelFile(const std::string& path,
                                          KernelFile::Kind kind = KernelFile::Kind::Records);

/// The first word (delimited by white space) of a small one-value file; empty when there is none.
std::string readKernelWord(const std::string& path);

/// The decimal integer at the start of a small one-value file, in that file's own unit; none when the file
/// can't be read, holds no number, or one that does not fit.
std::optional<std::int64_t> readKernelInteger(const std::string& path);
