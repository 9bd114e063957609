#pragma once

#include <filesystem>

/// Runs an action that saves, from where no exception may pass: GTK's callbacks are C. False when a directory
/// could not be made, which nobody is told.
template <typename Action>
bool quietly(Action&& action) {
    try {
        action();
        return true;
    } catch (const std::filesystem::filesystem_error&) {
        return false;
    }
}
