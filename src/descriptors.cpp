#include "descriptors.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>

bool descriptorsLeft(int wanted) {
    std::array<int, 16> opened{};
    const auto most = static_cast<std::size_t>(std::clamp(wanted, 0, static_cast<int>(opened.size())));
    std::size_t count = 0;
    while (count < most && (opened[count] = eventfd(0, EFD_CLOEXEC)) >= 0)
        ++count;
    for (std::size_t i = 0; i < count; ++i)
        close(opened[i]);
    return count == most;
}
