#include "own_program.h"

#include <filesystem>
#include <string_view>
#include <system_error>

std::string ownProgramPath() {
    // The kernel's mark behind the path of a file that has lost its name.
    constexpr std::string_view kDeleted = " (deleted)";

    std::error_code unreadable;
    std::string path = std::filesystem::read_symlink(kOwnProgram, unreadable);
    std::error_code unknown;
    if (path.ends_with(kDeleted) && !std::filesystem::exists(path, unknown))
        path.resize(path.size() - kDeleted.size());
    return path;
}
