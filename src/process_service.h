#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "process_record.h"

class KernelDirectory;

/// One row of a process list.
struct ProcessUsage {
    int pid = 0;
    std::string name;      ///< from /proc/<pid>/stat: any bytes, newlines and invalid UTF-8 included
    std::string user;      ///< the owner's login name, or the uid in decimal when /etc/passwd lacks it
    double cpu_usage = 0;  ///< percent of one core since the last call: four busy threads make 400
    double memory_mb = 0;  ///< resident memory, MiB
    uid_t uid = 0;         ///< real user id; 0 when it can't be read
    std::uint64_t start_time = 0;  ///< clock ticks from boot to its start; 0 = unknown
};

/// The busiest processes, highest cpu_usage first, at most 20 in each list.
struct ProcessLists {
    std::vector<ProcessUsage> top;   ///< of the whole machine
    std::vector<ProcessUsage> user;  ///< of the user who runs the program
};

/// Which processes use the most CPU, from /proc/<pid>/stat and /proc/<pid>/status, with their owners' names
/// from /etc/passwd. The kernel composes the second file at a cost greater than all else here, and it is only
/// needed for its uid: so it is read for no more processes than it takes to fill both lists.
class ProcessService {
public:
    using Clock = std::chrono::steady_clock;

    explicit ProcessService(std::string root = "/", Clock::time_point now = Clock::now(),
                            uid_t current_uid = getuid());

    /// Takes one sample. CPU usage is the mean since the last call, 0 for a process not seen then, and so for
    /// all at the first call. Processes that can't be read are left out; both lists are empty when /proc
    /// can't be listed.
    ProcessLists getProcesses(Clock::time_point now = Clock::now());

private:
    /// What is kept of a process from one call to the next.
    struct KnownProc {
        int pid = 0;
        bool own = false;              ///< whether it was the user's when its uid was last read
        std::optional<ProcTime> time;  ///< none when its stat file was cut off before them
        std::uint64_t start = 0;       ///< clock ticks from boot to its start: another one is another process
    };

    /// A piece of names_.
    struct Slice {
        std::size_t begin = 0, length = 0;
    };

    /// A process during one call.
    struct LightProc {
        int pid = 0;
        bool was_own = false;
        double cpu = 0;         ///< percent of one core
        double mem = 0;         ///< MiB
        std::size_t known = 0;  ///< its place in times_
        Slice entry;            ///< its directory below /proc
        Slice name;
    };

    double cpuPercent(const ProcTime& before, const ProcTime& after, double elapsed) const;

    void collect(KernelDirectory& proc, double elapsed);
    void add(int pid, std::string_view entry, const StatRecord& stat, double elapsed);
    ProcessLists fillLists(const KernelDirectory& proc);
    void rememberTimes();

    const KnownProc* findKnown(int pid) const;
    std::optional<uid_t> readUid(const KernelDirectory& proc, const LightProc& process);
    std::optional<std::string_view> readFileOf(const KernelDirectory& proc, std::string_view entry,
                                               std::string_view file);
    ProcessUsage row(const LightProc& process, uid_t uid);
    const std::string& getUserName(uid_t uid);

    Slice keep(std::string_view text);
    std::string_view kept(Slice slice) const {
        return std::string_view(names_).substr(slice.begin, slice.length);
    }

    std::string root_;
    std::vector<KnownProc> prev_times_;  ///< at the last call, by pid
    Clock::time_point prev_timestamp_;
    uid_t current_uid_;
    std::unordered_map<unsigned, std::string> user_cache_;  ///< login names by uid, never forgotten
    long clock_ticks_;                                      ///< per second
    long page_size_;                                        ///< bytes

    // Used within a call; kept for their memory, so that a refresh allocates nothing for the processes that
    // are not shown.
    std::vector<LightProc> procs_;
    std::vector<KnownProc> times_;  ///< the next prev_times_
    std::string names_;             ///< all directory and command names, one behind the other
    std::string path_;
    std::string buffer_;
};
