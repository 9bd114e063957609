#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <sstream>

#include "fuzz_target.h"
#include "process_service.h"

namespace {

constexpr ProcessService::Clock::time_point kStart{std::chrono::hours(1)};
constexpr uid_t kOwn = 1000;
constexpr std::size_t kMaxRows = 20;

/// The bytes of the input at one place as a number, zeros beyond its end.
std::uint64_t numberAt(std::string_view input, std::size_t place) {
    std::uint64_t number = 0;
    const std::string_view bytes = input.substr(std::min(place * sizeof number, input.size()), sizeof number);
    std::memcpy(&number, bytes.data(), bytes.size());
    return number;
}

bool isPieceOf(std::string_view text, std::string_view whole) {
    return text.data() >= whole.data() && text.data() + text.size() <= whole.data() + whole.size();
}

/// What a process can call itself: 15 bytes, any but zero.
std::string ownName(std::string_view input) {
    input = input.substr(0, 15);
    return std::string(input.substr(0, input.find('\0')));
}

/// As the kernel writes it, where the name stands as it is.
void checkStatOf(const std::string& name, std::string_view figures) {
    const std::uint64_t utime = numberAt(figures, 0);
    const std::uint64_t stime = numberAt(figures, 1);
    const std::uint64_t start = numberAt(figures, 2);
    const long rss = static_cast<long>(numberAt(figures, 3) >> 1);
    std::ostringstream text;
    text << "4711 (" << name << ") S 1 2 3 0 -1 4194560 5 6 7 8 " << utime << " " << stime << " 0 0 20 0 1 0 "
         << start << " 3670016 " << rss << " 18446744073709551615 1 1 0 0\n";
    const std::string line = text.str();
    const auto record = parseStat(line);
    require(record && record->name == name, "every name is found as it is");
    require(record->time && record->time->utime == utime && record->time->stime == stime,
            "no name hides the CPU time");
    require(record->start == start, "no name hides the start");
    require(record->rss == rss, "no name hides the memory");
}

/// The same by streams: the first field of the first line whose third of at least four fields is the uid.
std::optional<std::string> plainLogin(std::string_view passwd, const std::string& uid) {
    std::istringstream lines{std::string(passwd)};
    for (std::string line; std::getline(lines, line);) {
        if (std::ranges::count(line, ':') < 3) continue;
        std::istringstream fields(line);
        std::string login, password, number;
        std::getline(std::getline(std::getline(fields, login, ':'), password, ':'), number, ':');
        if (number == uid) return login;
    }
    return std::nullopt;
}

/// The CPU time in a stat file, in percent of a core if it was all spent in one second.
double cpuTimeOf(std::string_view stat) {
    const auto record = parseStat(stat);
    if (!record || !record->time) return 0;
    const std::uint64_t ticks = record->time->utime + record->time->stime;
    return static_cast<double>(ticks) / static_cast<double>(sysconf(_SC_CLK_TCK)) * 100;
}

void checkRow(const ProcessUsage& row, std::string_view stat) {
    require(row.pid == 1 || row.pid == 22, "only what is there is listed");
    require(isWithin(row.cpu_usage, 0, std::numeric_limits<double>::max()), "a CPU usage is not negative");
    require(row.pid != 1 || row.cpu_usage <= cpuTimeOf(stat), "no process uses more time than it has");
    require(isWithin(row.memory_mb, 0, std::numeric_limits<double>::max()), "memory is not negative");
}

void checkLists(const ProcessLists& lists, std::string_view stat) {
    for (const auto* list : {&lists.top, &lists.user}) {
        require(list->size() <= kMaxRows, "the lists are short");
        require(std::ranges::is_sorted(*list, std::greater{}, &ProcessUsage::cpu_usage),
                "the busiest come first");
        for (const ProcessUsage& row : *list)
            checkRow(row, stat);
    }
    require(std::ranges::all_of(lists.user, [](const ProcessUsage& row) { return row.uid == kOwn; }),
            "the user's list is the user's");
}

}  // namespace

/// /proc/<pid>/stat, then as the name and the figures of a process.
FUZZ_TARGET(pid_stat) {
    if (const auto record = parseStat(input)) require(isPieceOf(record->name, input), "the name is read");
    checkStatOf(ownName(input), input.substr(std::min<std::size_t>(16, input.size())));
}

FUZZ_TARGET(pid_status) {
    parseUid(input);
    const std::string text(input);
    require(parseUid("Uid:\t4711\t1\t2\t3\n" + text) == 4711U, "the first line counts");
    // The kernel writes a newline in a name as two characters here.
    require(parseUid("Name:\t" + text.substr(0, text.find('\n')) + "\nUid:\t4711\n") == 4711U,
            "no name hides the owner");
}

/// A uid, then the file in which to look for it.
FUZZ_TARGET(passwd) {
    const std::string uid(input.substr(0, input.find('\n')));
    const std::string_view file = input.substr(std::min(uid.size() + 1, input.size()));
    const auto login = findLogin(file, uid);
    require(login.has_value() == plainLogin(file, uid).has_value(), "who has a login name gets one");
    require(!login || *login == plainLogin(file, uid), "everyone gets their own");
    parsePid(input);
}

/// /etc/passwd, then the stat and status file of a process in turn as they are read later.
FUZZ_TARGET(process_list) {
    constexpr std::array kSeconds{0, 1, 1, 2};
    FakeKernel& kernel = fakeKernel();
    const auto texts = textsOf(input);
    kernel.file("/proc/22/stat", "22 (other) S 1 2 3 0 -1 0 0 0 0 0 7 8 0 0 20 0 1 0 100 4096 256 0\n")
        .file("/proc/22/status", "Name:\tother\nUid:\t1000\t1000\t1000\t1000\n")
        .file("/etc/passwd", texts.front());
    ProcessService processes(kernel.root(), kStart, kOwn);
    for (std::size_t i = 0; i < kSeconds.size(); ++i) {
        const std::string_view stat = textAt(texts, 2 * i + 1);
        kernel.file("/proc/1/stat", stat).file("/proc/1/status", textAt(texts, 2 * i + 2));
        checkLists(processes.getProcesses(kStart + std::chrono::seconds(kSeconds[i])), stat);
    }
}
