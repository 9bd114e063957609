#include "process_service.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "kernel_file.h"

namespace {

constexpr std::size_t kMaxRows = 20;
constexpr double kMibPerByte = 1.0 / (1024 * 1024);

}  // namespace

ProcessService::ProcessService(std::string root, Clock::time_point now, uid_t current_uid)
    : root_(std::move(root)),
      prev_timestamp_(now),
      current_uid_(current_uid),
      clock_ticks_(sysconf(_SC_CLK_TCK)),
      page_size_(sysconf(_SC_PAGESIZE)) {}

ProcessLists ProcessService::getProcesses(Clock::time_point now) {
    const double elapsed = std::chrono::duration<double>(now - prev_timestamp_).count();
    prev_timestamp_ = now;

    KernelDirectory proc(kernelPath(root_, "/proc"));
    collect(proc, elapsed);
    ProcessLists lists = fillLists(proc);
    rememberTimes();
    return lists;
}

/// Counters that went backwards belong to two processes that had the pid one after the other: nothing is
/// known then of the interval.
double ProcessService::cpuPercent(const ProcTime& before, const ProcTime& after, double elapsed) const {
    const std::uint64_t earlier = before.utime + before.stime;
    const std::uint64_t later = after.utime + after.stime;
    if (later < earlier || !(elapsed > 0)) return 0;
    return static_cast<double>(later - earlier) / static_cast<double>(clock_ticks_) / elapsed * 100;
}

/// What is no directory has no stat file below it.
void ProcessService::collect(KernelDirectory& proc, double elapsed) {
    procs_.clear();
    times_.clear();
    names_.clear();
    while (const char* entry = proc.next()) {
        const auto pid = parsePid(entry);
        if (!pid) continue;
        const auto text = readFileOf(proc, entry, "/stat");
        if (!text) continue;
        if (const auto stat = parseStat(*text)) add(*pid, entry, *stat, elapsed);
    }
}

void ProcessService::add(int pid, std::string_view entry, const StatRecord& stat, double elapsed) {
    LightProc process{.pid = pid, .known = times_.size(), .entry = keep(entry), .name = keep(stat.name)};
    process.mem = static_cast<double>(std::max(stat.rss.value_or(0), 0L)) * static_cast<double>(page_size_) *
                  kMibPerByte;
    if (const KnownProc* before = findKnown(pid)) {
        process.was_own = before->own;
        if (before->time && stat.time && before->start == stat.start)
            process.cpu = cpuPercent(*before->time, *stat.time, elapsed);
    }
    procs_.push_back(process);
    times_.push_back({.pid = pid, .own = process.was_own, .time = stat.time, .start = stat.start});
}

/// Among equally busy processes those come first that were the user's, as both lists are then full soonest.
/// That is a guess only: each uid is read afresh. Every process looked at joins `top` while that has room, so
/// that it is full no later than `user`.
ProcessLists ProcessService::fillLists(const KernelDirectory& proc) {
    std::sort(procs_.begin(), procs_.end(), [](const LightProc& a, const LightProc& b) {
        return std::tie(b.cpu, b.was_own, a.pid) < std::tie(a.cpu, a.was_own, b.pid);
    });
    ProcessLists lists;
    for (const LightProc& process : procs_) {
        if (lists.user.size() == kMaxRows) break;
        const auto uid = readUid(proc, process);
        if (!uid) continue;
        if (lists.top.size() < kMaxRows) lists.top.push_back(row(process, *uid));
        if (*uid == current_uid_) lists.user.push_back(row(process, *uid));
    }
    return lists;
}

/// The kernel lists pids in rising order, so that there is nothing to sort as a rule.
void ProcessService::rememberTimes() {
    const auto by_pid = [](const KnownProc& a, const KnownProc& b) { return a.pid < b.pid; };
    if (!std::is_sorted(times_.begin(), times_.end(), by_pid))
        std::stable_sort(times_.begin(), times_.end(), by_pid);
    prev_times_.swap(times_);
}

const ProcessService::KnownProc* ProcessService::findKnown(int pid) const {
    const auto behind =
        std::upper_bound(prev_times_.begin(), prev_times_.end(), pid,
                         [](int wanted, const KnownProc& known) { return wanted < known.pid; });
    if (behind == prev_times_.begin() || std::prev(behind)->pid != pid) return nullptr;
    return &*std::prev(behind);
}

/// None when the process has ended since its stat file was read: it leaves the lists then, rather than
/// standing there as root's.
std::optional<uid_t> ProcessService::readUid(const KernelDirectory& proc, const LightProc& process) {
    const auto status = readFileOf(proc, kept(process.entry), "/status");
    if (!status && !readFileOf(proc, kept(process.entry), "/stat")) return std::nullopt;
    const uid_t uid = status ? parseUid(*status).value_or(0) : 0;
    times_[process.known].own = uid == current_uid_;
    return uid;
}

std::optional<std::string_view> ProcessService::readFileOf(const KernelDirectory& proc,
                                                           std::string_view entry, std::string_view file) {
    return proc.read(path_.assign(entry).append(file), buffer_);
}

ProcessUsage ProcessService::row(const LightProc& process, uid_t uid) {
    return {.pid = process.pid,
            .name = std::string(kept(process.name)),
            .user = getUserName(uid),
            .cpu_usage = process.cpu,
            .memory_mb = process.mem,
            .uid = uid,
            .start_time = times_[process.known].start};
}

const std::string& ProcessService::getUserName(uid_t uid) {
    const auto [entry, is_new] = user_cache_.try_emplace(uid);
    if (!is_new) return entry->second;
    entry->second = std::to_string(uid);
    if (const auto passwd = readKernelFile(kernelPath(root_, "/etc/passwd"))) {
        if (const auto login = findLogin(*passwd, entry->second)) entry->second = std::string(*login);
    }
    return entry->second;
}

ProcessService::Slice ProcessService::keep(std::string_view text) {
    const Slice slice{.begin = names_.size(), .length = text.size()};
    names_.append(text);
    return slice;
}
