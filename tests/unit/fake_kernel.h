#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "temporary_directory.h"

/// A small tree of kernel files in a temporary directory that goes away with the object. Paths are those of
/// the real system ("/proc/stat").
class FakeKernel {
public:
    /// Writes a file, with every directory above it; an existing one is replaced.
    FakeKernel& file(std::string_view path, std::string_view content);
    FakeKernel& directory(std::string_view path);
    FakeKernel& remove(std::string_view path);

    /// What a service takes as its root.
    std::string root() const { return dir_.path().string(); }
    std::filesystem::path at(std::string_view path) const;

private:
    TemporaryDirectory dir_;
};

/// The root of a whole captured or composed machine below tests/fixtures.
std::string fixtureRoot(std::string_view machine);
