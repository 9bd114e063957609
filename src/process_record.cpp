#include "process_record.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstring>

#include "kernel_text.h"

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// The name may hold parentheses too; it ends at the last one, as only numbers follow it.
std::optional<StatRecord> parseRecord(std::string_view text) {
    const auto* open = static_cast<const char*>(std::memchr(text.data(), '(', text.size()));
    const auto* close = static_cast<const char*>(memrchr(text.data(), ')', text.size()));
    if (!open || !close || close < open) return std::nullopt;

    StatRecord record;
    record.name = std::string_view(open + 1, close);
    std::string_view rest(close, text.data() + text.size());
    rest.remove_prefix(std::min<std::size_t>(rest.size(), 2));
    FieldScanner fields(rest);
    fields.skip(11);  // state ppid pgrp session tty_nr tpgid flags minflt cminflt majflt cmajflt
    ProcTime time;
    if (fields.number(time.utime) && fields.number(time.stime)) record.time = time;
    fields.skip(6);  // cutime cstime priority nice num_threads itrealvalue
    fields.number(record.start);
    fields.skip(1);  // vsize
    long rss = 0;
    if (fields.number(rss)) record.rss = rss;
    return record;
}

/// The login name in a passwd line (name:password:uid:...) if that line is about `uid`.
std::optional<std::string_view> parseLogin(std::string_view line, std::string_view uid) {
    const std::size_t name_end = line.find(':');
    if (name_end == std::string_view::npos) return std::nullopt;
    const std::size_t password_end = line.find(':', name_end + 1);
    if (password_end == std::string_view::npos) return std::nullopt;
    const std::size_t uid_end = line.find(':', password_end + 1);
    if (uid_end == std::string_view::npos) return std::nullopt;
    if (line.substr(password_end + 1, uid_end - password_end - 1) != uid) return std::nullopt;
    return line.substr(0, name_end);
}

}  // namespace

std::optional<int> parsePid(std::string_view entry) {
    if (entry.empty() || !isDigit(entry.front())) return std::nullopt;
    int pid = 0;
    const auto result = std::from_chars(entry.data(), entry.data() + entry.size(), pid);
    return result.ec == std::errc{} ? std::optional(pid) : std::nullopt;
}

/// One line makes a record, unless the process has a newline in its name: the kernel passes that on as it is,
/// and nobody shall hide a process from its list that way. A name is too short to complete the line in which
/// it begins.
std::optional<StatRecord> parseStat(std::string_view text) {
    const std::string_view first_line = text.substr(0, text.find('\n'));
    const auto record = parseRecord(first_line);
    if (record && record->time && record->rss) return record;
    if (first_line.find('(') == std::string_view::npos) return std::nullopt;
    return parseRecord(text);
}

std::optional<uid_t> parseUid(std::string_view status) {
    constexpr std::string_view key = "Uid:";
    LineScanner lines(status);
    for (std::string_view line; lines.next(line);) {
        if (!line.starts_with(key)) continue;
        uid_t uid = 0;
        return FieldScanner(line.substr(key.size())).number(uid) ? std::optional(uid) : std::nullopt;
    }
    return std::nullopt;
}

std::optional<std::string_view> findLogin(std::string_view passwd, std::string_view uid) {
    LineScanner lines(passwd);
    for (std::string_view line; lines.next(line);) {
        if (const auto login = parseLogin(line, uid)) return login;
    }
    return std::nullopt;
}
