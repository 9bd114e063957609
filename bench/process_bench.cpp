// What one refresh of the process lists costs, as a ratio to the least that plain code can do: to open, read
// and close the stat and the status file of every process by their full paths. Both are timed in turns within
// the same run and compared by their medians, so that a busy machine slows both alike.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "process_service.h"
#include "ratio.h"

namespace fs = std::filesystem;

namespace {

constexpr double kDesktopLimit = 0.6;
constexpr double kWorstLimit = 1.2;

constexpr uid_t kOwnUid = 1000;
constexpr uid_t kNobodysUid = 4'000'000'000;

using Seconds = std::chrono::duration<double>;

/// The real /proc has no disk behind it, and so the generated one where that can be had.
fs::path temporaryDirectory() {
    const fs::path memory = "/dev/shm";
    return access(memory.c_str(), W_OK) == 0 ? memory : fs::temp_directory_path();
}

/// A proc tree of idle processes in a temporary directory: the first half belongs to root, as kernel threads
/// and services do, the others to the user.
class GeneratedTree {
public:
    explicit GeneratedTree(int processes) {
        std::string name = (temporaryDirectory() / "korvalune-bench-XXXXXX").string();
        if (!mkdtemp(name.data())) throw std::runtime_error("no temporary directory");
        dir_ = name;
        for (int i = 0; i < processes; i++)
            write(2 * i + 1, i < processes / 2 ? 0 : kOwnUid);
    }

    ~GeneratedTree() {
        std::error_code ignored;
        fs::remove_all(dir_, ignored);
    }

    GeneratedTree(const GeneratedTree&) = delete;
    GeneratedTree& operator=(const GeneratedTree&) = delete;

    std::string root() const { return dir_.string(); }

private:
    void write(int pid, uid_t uid) const {
        const std::string number = std::to_string(pid);
        const fs::path process = dir_ / "proc" / number;
        fs::create_directories(process);
        std::ofstream(process / "stat")
            << number << " (worker-" << number << ") S 1 " << number << ' ' << number
            << " 0 -1 4194560 5311 20418 64 117 1207 344 29 17 20 0 4 0 1834 412618752 6210 "
               "18446744073709551615"
               " 94312874123264 94312874989821 140728171283376 0 0 0 0 4096 17642 1 0 0 17 3 0 0 0 0 0"
               " 94312875391728 94312875438884 94312901255168 140728171290342 140728171290380"
               " 140728171290380 140728171294694 0\n";
        std::ofstream status(process / "status");
        status << "Name:\tworker-" << number << "\nUmask:\t0022\nState:\tS (sleeping)\nTgid:\t" << number
               << "\nNgid:\t0\nPid:\t" << number << "\nPPid:\t1\nTracerPid:\t0\nUid:\t" << uid << '\t' << uid
               << '\t' << uid << '\t' << uid << "\nGid:\t0\t0\t0\t0\nFDSize:\t256\nGroups:\t \n";
        for (const char* key : {"VmPeak", "VmSize", "VmLck", "VmPin", "VmHWM", "VmRSS", "RssAnon", "RssFile",
                                "RssShmem", "VmData", "VmStk", "VmExe", "VmLib", "VmPTE", "VmSwap"})
            status << key << ":\t   40296 kB\n";
        for (const char* key : {"SigPnd", "ShdPnd", "SigBlk", "SigIgn", "SigCgt", "CapInh", "CapPrm",
                                "CapEff", "CapBnd", "CapAmb"})
            status << key << ":\t0000000180014002\n";
        status << "Cpus_allowed_list:\t0-15\nMems_allowed_list:\t0\nvoluntary_ctxt_switches:\t1041\n";
    }

    fs::path dir_;
};

/// Sleeping children beside what else runs on this machine, every other one the user's when we may give them
/// away.
class Sleepers {
public:
    explicit Sleepers(int count) {
        for (int i = 0; i < count; i++) {
            const pid_t child = fork();
            if (child < 0) throw std::runtime_error("can't fork");
            if (child == 0) sleepAs(i % 2 == 0 ? kOwnUid : geteuid());
            children_.push_back(child);
        }
    }

    ~Sleepers() {
        for (const pid_t child : children_)
            kill(child, SIGKILL);
        for (const pid_t child : children_)
            waitpid(child, nullptr, 0);
    }

    Sleepers(const Sleepers&) = delete;
    Sleepers& operator=(const Sleepers&) = delete;

    static uid_t owner() { return geteuid() == 0 ? kOwnUid : getuid(); }

private:
    [[noreturn]] static void sleepAs(uid_t uid) {
        if (geteuid() == 0 && setuid(uid) != 0) _exit(1);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        while (true)
            pause();
    }

    std::vector<pid_t> children_;
};

std::vector<std::string> processDirectories(const std::string& root) {
    std::vector<std::string> paths;
    for (const auto& entry : fs::directory_iterator(fs::path(root) / "proc")) {
        if (std::isdigit(static_cast<unsigned char>(entry.path().filename().native().front())))
            paths.push_back(entry.path().string());
    }
    return paths;
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
}

void measure(benchmark::State& state, const std::string& root, uid_t uid, double limit) {
    ProcessService service(root, ProcessService::Clock::now(), uid);
    benchmark::DoNotOptimize(service.getProcesses());
    const auto directories = processDirectories(root);
    std::vector<std::string> files;
    for (const auto& directory : directories)
        files.insert(files.end(), {directory + "/stat", directory + "/status"});

    std::array<char, 4096> buffer{};
    std::vector<double> refresh;
    std::vector<double> bare;
    for ([[maybe_unused]] auto _ : state) {
        refresh.push_back(secondsOf([&] { benchmark::DoNotOptimize(service.getProcesses()); }));
        bare.push_back(secondsOf([&] {
            benchmark::DoNotOptimize(processDirectories(root));
            readBare(files, buffer);
        }));
        state.SetIterationTime(refresh.back());
    }
    const double processes = static_cast<double>(directories.size());
    state.counters["processes"] = processes;
    state.counters["us_each"] = median(refresh) * 1e6 / processes;
    state.counters["bare_us_each"] = median(bare) * 1e6 / processes;
    reportRatio(state, median(refresh) / median(bare), limit);
}

/// Half of the processes are the user's, all are idle.
void processesGeneratedDesktop(benchmark::State& state) {
    const GeneratedTree tree(static_cast<int>(state.range()));
    measure(state, tree.root(), kOwnUid, kDesktopLimit);
}

/// No process is the user's, so that every uid must be read.
void processesGeneratedWorst(benchmark::State& state) {
    const GeneratedTree tree(static_cast<int>(state.range()));
    measure(state, tree.root(), kNobodysUid, kWorstLimit);
}

/// The same two with the kernel's own files, which cost more to compose than to open.
void processesKernelDesktop(benchmark::State& state) {
    const Sleepers sleepers(500);
    measure(state, "/", Sleepers::owner(), kDesktopLimit);
}

void processesKernelWorst(benchmark::State& state) {
    const Sleepers sleepers(500);
    measure(state, "/", kNobodysUid, kWorstLimit);
}

}  // namespace

BENCHMARK(processesGeneratedDesktop)->Arg(1000)->Arg(5000)->UseManualTime()->Iterations(40);
BENCHMARK(processesGeneratedWorst)->Arg(1000)->Arg(5000)->UseManualTime()->Iterations(40);
BENCHMARK(processesKernelDesktop)->UseManualTime()->Iterations(40);
BENCHMARK(processesKernelWorst)->UseManualTime()->Iterations(40);
