#pragma once

#include <string>

/// Ten million times `c`, with no newline: more than any kernel writes.
inline std::string longLine(char c) {
    std::string line;
    line.resize(10'000'000, c);
    return line;
}
