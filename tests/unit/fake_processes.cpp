#include "fake_processes.h"

#include <unistd.h>

#include <cmath>

std::uint64_t ticks(double seconds) {
    return static_cast<std::uint64_t>(std::llround(seconds * static_cast<double>(sysconf(_SC_CLK_TCK))));
}

ProcessService::Clock::time_point at(double seconds) {
    return ProcessService::Clock::time_point(std::chrono::hours(100)) +
           std::chrono::round<ProcessService::Clock::duration>(std::chrono::duration<double>(seconds));
}

std::string statText(int pid, const FakeProcess& p) {
    return std::to_string(pid) + " (" + p.name + ") S 1 2 3 0 -1 4194560 11 12 13 14 " +
           std::to_string(p.utime) + " " + std::to_string(p.stime) + " 91 92 20 0 4 0 " +
           std::to_string(p.start) + " 412618752 " + std::to_string(p.rss) +
           " 18446744073709551615 1 1 0 0 0 0 0 0 0 0 0 0 17 3 0 0 0 0 0 0 0 0 0 0 0 0 0\n";
}

std::string statusText(uid_t uid) {
    const std::string number = std::to_string(uid);
    return "Name:\tworker\nUmask:\t0022\nState:\tS (sleeping)\nTgid:\t1\nUid:\t" + number +
           "\t77\t78\t79\nGid:\t" + number + "\t5\t5\t5\n";
}

std::vector<int> pidsOf(const std::vector<ProcessUsage>& rows) {
    std::vector<int> pids;
    pids.reserve(rows.size());
    for (const auto& row : rows)
        pids.push_back(row.pid);
    return pids;
}

ProcessServiceTest::ProcessServiceTest() {
    kernel_.file("/etc/passwd", "root:x:0:0::/:/bin/sh\nmara:x:1000:1000::/:/bin/sh\n");
}

void ProcessServiceTest::put(int pid, const FakeProcess& process) {
    const std::string directory = "/proc/" + std::to_string(pid);
    kernel_.file(directory + "/stat", statText(pid, process));
    kernel_.file(directory + "/status", statusText(process.uid));
}
