#include <algorithm>
#include <limits>

#include "display_text.h"
#include "fuzz_target.h"
#include "gpu_clients.h"
#include "gpu_names.h"
#include "nvidia_smi.h"

using namespace std::string_view_literals;

namespace {

/// A name as a program printed it: a line, as C sees it, of limited length.
void checkName(std::string_view name, std::size_t longest) {
    require(name.size() <= longest, "a name is limited");
    require(name.find_first_of("\n\0"sv) == std::string_view::npos, "a name is one line");
    const std::string shown = shortenGPUName(std::string(name));
    require(!shown.starts_with(' ') && !shown.ends_with(' '), "a name has no blanks around it");
    require(isUtf8(displayText(shown)), "a name can be shown");
}

constexpr auto kMostKib = std::numeric_limits<std::uint64_t>::max();

void checkAmounts(const std::string& fdinfo) {
    parseDrmMemory(fdinfo);
    require(parseDrmMemory(fdinfo + "\ndrm-memory-vram:\t5 KiB\ndrm-memory-gtt: 7\n") == 12U,
            "the last amounts count");
    require(parseDrmMemory(fdinfo + "\ndrm-memory-vram: 18446744073709551615\ndrm-memory-gtt: 1") == kMostKib,
            "amounts do not wrap");
}

void checkNames(std::string_view output) {
    const auto names = parseNvidiaNames(output);
    require(names.size() <= 64, "no machine has more boards");
    for (const std::string& name : names) {
        require(!name.empty(), "empty lines name none");
        checkName(name, 1023);
    }
}

void checkUtilization(std::string_view output) {
    parseNvidiaUtilization(output);
    const NvidiaSample sample = parseNvidiaUtilization("45, 12, 3\n" + std::string(output));
    require(sample.utilization == 45 && sample.memory_utilization == 12 && sample.video_utilization == 3,
            "the first line counts");
}

void checkProcesses(std::string_view output) {
    const auto lines = static_cast<std::size_t>(std::ranges::count(output, '\n')) + 1;
    const auto processes = parseNvidiaProcesses(output);
    require(processes.size() <= lines, "a line is a process");
    for (const GPUProcessUsage& process : processes) {
        require(!process.name.empty() && process.name.size() <= 255, "a name is limited");
        require(process.name.find_first_of(",\n\0"sv) == std::string::npos, "a name is one field");
    }
    const auto more = parseNvidiaProcesses(std::string(output) + "\n7, last, 5\n");
    require(more.size() == processes.size() + 1 && more.back().pid == 7, "no line hides the next");
}

}  // namespace

/// Two descriptors of a process as /proc/<pid>/fdinfo/<fd> has them, then the process's name.
FUZZ_TARGET(drm_fdinfo) {
    checkAmounts(std::string(input));
    const auto texts = textsOf(input);
    FakeKernel& kernel = fakeKernel();
    kernel.file("/proc/7/fd/3", "").file("/proc/7/fdinfo/3", textAt(texts, 0));
    kernel.file("/proc/7/fd/4", "").file("/proc/7/fdinfo/4", textAt(texts, 1));
    kernel.file("/proc/7/comm", textAt(texts, 2));
    for (const GPUProcessUsage& client : findGpuClients(kernel.root())) {
        require(client.pid == 7, "only what is there is listed");
        require(!client.name.empty() && client.name.find('\n') == std::string::npos, "a name is one line");
        require(client.vram_mb <= kMostKib >> 10, "memory is in MiB");
    }
}

/// What nvidia-smi answers, to each of the questions.
FUZZ_TARGET(nvidia_smi) {
    checkNames(input);
    checkUtilization(input);
    checkProcesses(input);
}

FUZZ_TARGET(lspci) {
    checkName(nameFromLspci(input), 255);
    const bool slot = isPciSlot(input);
    require(!slot || input.find_first_of("-/ \n\0;$"sv) == std::string_view::npos, "a slot is no option");
}
