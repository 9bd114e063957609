#pragma once

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "temporary_directory.h"

/// A tree of kernel files written by tests/fixtures/make_machine.py.
class GeneratedMachine {
public:
    explicit GeneratedMachine(const std::string& options) { run(options); }

    /// Runs the script on the same tree once more, to let time pass.
    void run(const std::string& options) const {
        const std::string command = FIXTURES_DIR "/make_machine.py '" + root() + "' " + options;
        if (std::system(command.c_str()) != 0) throw std::runtime_error(command);
    }

    std::string root() const { return directory_.path().string(); }

private:
    TemporaryDirectory directory_;
};
