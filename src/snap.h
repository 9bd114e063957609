#pragma once

#include <cstdlib>
#include <string>

/// The confined package in which the program may run, as its launcher describes it in the environment.

/// The value of an environment variable; empty when it is not set.
inline std::string environmentText(const char* name) {
    const char* const value = std::getenv(name);
    return value ? value : "";
}

inline bool insideSnap() {
    return !environmentText("SNAP").empty();
}
