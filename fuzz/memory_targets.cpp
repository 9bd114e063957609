#include "fuzz_target.h"
#include "memory_service.h"

namespace {

/// "0M" to "17179869184G", which is all that 64 bits can count.
void checkFigure(const std::string& text) {
    require(text.size() >= 2 && text.size() <= 12, "an amount is short");
    require(text.ends_with('M') || text.ends_with('G'), "an amount has its unit");
    require(text.find_first_not_of("0123456789.MG") == std::string::npos, "an amount is a number");
}

}  // namespace

FUZZ_TARGET(meminfo) {
    const MemoryInfo info = memoryInfo(parseMeminfo(input));
    checkFigure(MemoryInfo::formatShort(info.free_bytes));
    checkFigure(MemoryInfo::formatShort(info.total_bytes));
    checkFigure(info.swapShort());
    require(info.swapFormatted().size() >= 5, "swap is aligned");
    const std::string both = info.memFormatted();
    require(both.size() >= 9 && both.size() <= 25, "used and total memory are short");
    require(both.find('/') == both.rfind('/'), "used and total memory are two figures");
    require(info.free_bytes < info.total_bytes || both.starts_with("  0M/"), "not less than nothing is used");

    const MemoryCounters later = parseMeminfo(std::string(input) + "\nMemTotal:  5 kB\nSwapFree:\t7 kB\n");
    require(later.total == 5 && later.swap_free == 7, "a second line replaces the first");
}
