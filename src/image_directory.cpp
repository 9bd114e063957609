#include "image_directory.h"

#include <glib.h>

#include <cstdlib>

namespace {

std::string environmentOr(const char* name, const std::string& fallback) {
    const char* value = std::getenv(name);
    return value && *value ? value : fallback;
}

}  // namespace

std::string imageDirectory() {
    if (!std::getenv("FLATPAK_ID")) return environmentOr("XDG_RUNTIME_DIR", "/tmp");
    const std::string base = environmentOr("XDG_CACHE_HOME", environmentOr("HOME", "/tmp") + "/.cache");
    std::string dir = base + "/Korvalune";
    g_mkdir_with_parents(dir.c_str(), 0700);
    return dir;
}
