#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fake_kernel.h"
#include "scoped_environment.h"

/// A directory that is all of PATH while the object lives: programs not put there do not exist for the code
/// under test. What it runs is real.
class FakePrograms {
public:
    /// A shell script of this name. Each run is noted, with its arguments, before `body` runs; `body` finds
    /// the usual tools, and itself in the directory of the scripts.
    FakePrograms& script(std::string_view name, std::string_view body);
    /// A file with exactly these bytes.
    FakePrograms& file(std::string_view name, std::string_view content, bool executable = true);
    FakePrograms& remove(std::string_view name);

    /// The runs so far, oldest first: name and arguments with blanks between.
    std::vector<std::string> runs() const;
    void forgetRuns();

    bool exists(std::string_view name) const;
    std::string path() const { return directory_.root(); }

private:
    FakeKernel directory_;
    ScopedEnvironment environment_{{{"PATH", path()}}};
};

/// Whether this process has any child, running or not yet reaped.
bool hasChildren();
/// The descriptors this process has open.
std::set<int> openDescriptors();
