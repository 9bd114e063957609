#pragma once

#include <array>
#include <cstddef>

/// More of the stack with each call, until there is no more.
inline int exhaustStack(int depth = 0) {  // NOLINT(misc-no-recursion)
    std::array<volatile char, 4096> room{};
    room[static_cast<std::size_t>(depth) % room.size()] = static_cast<char>(depth);
    return depth < 0 ? 0 : exhaustStack(depth + 1) + room[0];
}
