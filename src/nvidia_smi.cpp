#include "nvidia_smi.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <utility>

#include "gpu_devices.h"
#include "kernel_text.h"

namespace {

const PatientCommand::Arguments kNames{"nvidia-smi", "--query-gpu=name", "--format=csv,noheader,nounits"};
const PatientCommand::Arguments kUtilization{
    "nvidia-smi", "--query-gpu=utilization.gpu,utilization.memory,utilization.encoder",
    "--format=csv,noheader,nounits"};
const PatientCommand::Arguments kProcesses{"nvidia-smi", "--query-compute-apps=pid,name,used_gpu_memory",
                                           "--format=csv,noheader,nounits"};

/// Longest lines taken (bytes), and the longest name of a process in one.
constexpr std::size_t kMaxNameLine = 1023;
constexpr std::size_t kMaxUtilizationLine = 255;
constexpr std::size_t kMaxProcessLine = 511;
constexpr std::size_t kMaxProcessName = 255;

/// No machine has more; a program that prints something else entirely must not fill the window with it.
constexpr std::size_t kMaxBoards = 64;

/// A line as C would see it: cut at `longest` bytes and before the first zero byte.
std::string_view bounded(std::string_view line, std::size_t longest) {
    line = line.substr(0, longest);
    return line.substr(0, line.find('\0'));
}

/// Takes the fields of one line of comma-separated values from its front.
class CsvScanner {
public:
    explicit CsvScanner(std::string_view line) : rest_(line) {}

    /// A decimal number that fits, after any blanks; otherwise false, with `value` as it was.
    template <typename Number>
    bool number(Number& value) {
        skipBlanks();
        const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
        if (error != std::errc{}) return false;
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
        return true;
    }

    /// A comma, with the blanks behind it.
    bool comma() {
        if (!rest_.starts_with(',')) return false;
        rest_.remove_prefix(1);
        skipBlanks();
        return true;
    }

    /// At least one byte and at most `longest`, none of them a comma.
    bool text(std::string_view& value, std::size_t longest) {
        value = rest_.substr(0, std::min(rest_.find(','), longest));
        rest_.remove_prefix(value.size());
        return !value.empty();
    }

private:
    void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\n\v\f\r"), rest_.size())); }

    std::string_view rest_;
};

}  // namespace

std::vector<std::string> parseNvidiaNames(std::string_view output) {
    std::vector<std::string> names;
    LineScanner lines(output);
    for (std::string_view line; names.size() < kMaxBoards && lines.next(line);) {
        const std::string_view name = bounded(line, kMaxNameLine);
        if (!name.empty()) names.emplace_back(name);
    }
    return names;
}

NvidiaSample parseNvidiaUtilization(std::string_view output) {
    NvidiaSample sample;
    std::string_view line;
    LineScanner(output).next(line);
    CsvScanner fields(bounded(line, kMaxUtilizationLine));
    static_cast<void>(fields.number(sample.utilization) && fields.comma() &&
                      fields.number(sample.memory_utilization) && fields.comma() &&
                      fields.number(sample.video_utilization));
    return sample;
}

std::vector<GPUProcessUsage> parseNvidiaProcesses(std::string_view output) {
    std::vector<GPUProcessUsage> processes;
    LineScanner lines(output);
    for (std::string_view line; lines.next(line);) {
        CsvScanner fields(bounded(line, kMaxProcessLine));
        int pid = 0;
        std::string_view name;
        std::uint64_t memory_mib = 0;
        if (fields.number(pid) && fields.comma() && fields.text(name, kMaxProcessName) && fields.comma() &&
            fields.number(memory_mib)) {
            processes.push_back({pid, std::string(name), memory_mib});
        }
    }
    return processes;
}

void NvidiaSmi::detect(Clock::time_point deadline) {
    names_.clear();
    devices_.clear();
    names_missing_ = programOnPath(kNames.front());
    if (!names_missing_) return;
    for (std::string& directory : findNvidiaDevices(root_)) {
        std::string power_state = powerStateFile(directory);
        devices_.push_back({std::move(directory), std::move(power_state)});
    }
    const auto ours = std::count_if(devices_.begin(), devices_.end(),
                                    [](const Device& device) { return !hasForeignDriver(device.directory); });
    names_.assign(static_cast<std::size_t>(std::max<std::ptrdiff_t>(ours, 1)), "");
    updateNames(deadline);
}

bool NvidiaSmi::updateNames(Clock::time_point deadline) {
    if (!names_missing_) return false;
    const auto answer = aBoardSleeps() ? command_.collect(kNames) : command_.ask(kNames, deadline);
    if (!answer) return false;
    names_missing_ = false;
    // Without its driver the program prints its complaint where the names would be, and fails.
    names_ = answer->exit_status == 0 ? parseNvidiaNames(answer->output) : std::vector<std::string>{};
    return true;
}

NvidiaSample NvidiaSmi::sample(bool with_processes, Clock::time_point deadline) {
    if (names_missing_) return {};
    if (aBoardSleeps()) {
        command_.collect(kUtilization);  // a figure from before is none, but the program may have ended
        late_figures_ = {};
        return {};
    }
    const auto figures = command_.ask(kUtilization, deadline);
    if (!figures) return Clock::now() - late_since_ <= late_figures_stand_ ? late_figures_ : NvidiaSample{};
    NvidiaSample sample = parseNvidiaUtilization(figures->output);
    late_figures_ = {};
    if (!command_.prompt()) {
        // A list of processes that comes at a later call would find nobody who wants it.
        command_.prepare(kUtilization);
        late_figures_ = sample;
        late_since_ = Clock::now();
    } else if (with_processes) {
        if (const auto list = command_.ask(kProcesses, deadline))
            sample.processes = parseNvidiaProcesses(list->output);
    }
    return sample;
}

bool NvidiaSmi::aBoardSleeps() const {
    return std::any_of(devices_.begin(), devices_.end(), [](const Device& device) {
        return isAsleep(device.power_state) && !hasForeignDriver(device.directory);
    });
}
