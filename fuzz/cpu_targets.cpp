#include "cpu_service.h"
#include "display_text.h"
#include "fuzz_target.h"

namespace {

/// The usages of all cores at one refresh.
void checkUsages(CPUService& cpu) {
    int place = 0;
    for (const CoreUsage& core : cpu.getPerCoreUsage()) {
        require(core.id == place++, "cores are numbered in their order");
        require(isWithin(core.usage, 0, 100), "a core's usage is a percentage");
        require(core.perfLevel == 0 || core.perfLevel == 1, "a core is a first thread or a sibling");
    }
    require(isWithin(cpu.getAverageUsage(), 0, 100), "the average usage is a percentage");
}

}  // namespace

/// /proc/stat at up to three successive reads, then the siblings of the first core.
FUZZ_TARGET(proc_stat) {
    const auto texts = textsOf(input);
    FakeKernel& kernel = fakeKernel();
    kernel.file("/sys/devices/system/cpu/cpu0/topology/thread_siblings_list", textAt(texts, 3));
    kernel.file("/proc/stat", texts.front());
    CPUService cpu(kernel.root());
    const int least = cpu.totalCores() > 0 ? 1 : 0;
    require(cpu.physicalCores() >= least && cpu.physicalCores() <= cpu.totalCores(),
            "there are at most as many physical cores as logical ones");
    checkUsages(cpu);
    for (std::size_t i = 1; i < 3; ++i) {
        kernel.file("/proc/stat", textAt(texts, i));
        checkUsages(cpu);
    }
}

/// /proc/cpuinfo, and as it is short too, a list of sibling threads.
FUZZ_TARGET(cpuinfo) {
    const std::string model = parseModelName(input);
    require(model.find('\n') == std::string::npos, "the model is one line");
    require(input.find(model) != std::string_view::npos, "the model is part of the text");
    require(isUtf8(displayText(model)), "the model can be shown");
    parseFirstSibling(input);
}
