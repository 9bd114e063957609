#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "fake_kernel.h"

/// What the fuzz targets share. All of them are one program, so that there is one link to wait for; its
/// argument --target=NAME says which of them is fed.

/// Defines a target that takes one `input`: FUZZ_TARGET(meminfo) { parseMeminfo(input); }
#define FUZZ_TARGET(name)                                  \
    static void name##Target(std::string_view input);      \
    static const FuzzTarget k_##name{#name, name##Target}; \
    static void name##Target([[maybe_unused]] std::string_view input)

class FuzzTarget {
public:
    using Run = void (*)(std::string_view input);

    /// Makes the target known; for FUZZ_TARGET only.
    FuzzTarget(std::string_view name, Run run);

    /// Null when there is no such target.
    static Run find(std::string_view name);
    static std::vector<std::string_view> names();
};

/// Ends the program, which is a finding, unless the promise holds.
void require(bool holds, const char* promise);

bool isUtf8(std::string_view text);

/// Neither infinite nor no number, and within the range, borders included.
bool isWithin(double figure, double least, double most);

/// Divides an input that stands for several texts, such as one file as it is read again and again. What lies
/// between them is this line.
inline constexpr std::string_view kNextText = "\n====\n";
std::vector<std::string_view> textsOf(std::string_view input);

/// One of them; empty beyond the last.
std::string_view textAt(const std::vector<std::string_view>& texts, std::size_t index);

/// The tree of kernel files that the inputs are written to. What a target leaves there its next run finds.
FakeKernel& fakeKernel();
