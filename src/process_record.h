#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string_view>

/// What the kernel's texts about one process say, and the file that names its owner.

/// CPU time since the process began, in clock ticks.
struct ProcTime {
    std::uint64_t utime = 0, stime = 0;
};

/// The part of /proc/<pid>/stat that is used. A file cut off before a figure has none.
struct StatRecord {
    std::string_view name;         ///< any bytes, newlines included; a piece of the text
    std::optional<ProcTime> time;  ///< both or none
    std::uint64_t start = 0;       ///< clock ticks from boot to its start; 0 = unknown
    std::optional<long> rss;       ///< resident pages
};

/// The number that a directory name of /proc begins with; none for other names and beyond an int.
std::optional<int> parsePid(std::string_view entry);

/// The record in a text of /proc/<pid>/stat, whatever name the process has given itself; none in a text
/// without a name.
std::optional<StatRecord> parseStat(std::string_view text);

/// The real user id from /proc/<pid>/status. Only the line that begins with its key counts: a process may
/// call itself "Uid:", and its name comes first in that file.
std::optional<uid_t> parseUid(std::string_view status);

/// The login name that the text of a passwd file gives to `uid`, a decimal number as it stands there; a piece
/// of that text.
std::optional<std::string_view> findLogin(std::string_view passwd, std::string_view uid);
