#pragma once

#include <string>

/// Where the panel images lie: the user's runtime directory, or /tmp when the session has none. In a Flatpak
/// sandbox, whose runtime directory the panel can't see, a directory below the user's cache, created here.
/// An empty variable counts as unset.
std::string imageDirectory();
