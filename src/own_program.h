#pragma once

#include <string>

/// The file that this process runs. It can be opened and run even when its name is gone.
constexpr const char* kOwnProgram = "/proc/self/exe";

/// Where that file is, or was before it was replaced or removed; empty where that can't be told.
std::string ownProgramPath();
