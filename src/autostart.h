#pragma once

#include <string>

/// The desktop entry in the user's autostart directory that starts the program at login.

/// Writes or removes $HOME/.config/autostart/Korvalune.desktop, nothing where HOME is unset. Throws
/// std::filesystem::filesystem_error when its directory can't be made or the entry can't be removed; a failed
/// write goes unnoticed.
void setAutostartEntry(bool enable);

/// What the entry starts: "Korvalune" where the search path has such a program, or this program's own path
/// can not be told or holds control characters; else that path.
std::string autostartCommand();
