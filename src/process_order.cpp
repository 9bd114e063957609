#include "process_order.h"

#include <algorithm>
#include <cmath>

namespace {

/// A plain ">" would make a NaN equal to every figure, and sorting by that is undefined.
bool isGreater(double a, double b) {
    return std::isnan(b) ? !std::isnan(a) : a > b;
}

bool isGreater(const ProcessUsage& a, const ProcessUsage& b, SortColumn column) {
    switch (column) {
        case SortColumn::Name:
            return a.name > b.name;
        case SortColumn::User:
            return a.user > b.user;
        case SortColumn::Mem:
            return isGreater(a.memory_mb, b.memory_mb);
        case SortColumn::Cpu:
            break;
    }
    return isGreater(a.cpu_usage, b.cpu_usage);
}

}  // namespace

void sortProcesses(std::vector<ProcessUsage>& rows, SortColumn column, bool ascending) {
    std::ranges::stable_sort(rows, [=](const ProcessUsage& a, const ProcessUsage& b) {
        return ascending ? isGreater(b, a, column) : isGreater(a, b, column);
    });
}
