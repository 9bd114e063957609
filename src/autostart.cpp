#include "autostart.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "child_process.h"
#include "own_program.h"
#include "user_file.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kProgram = "Korvalune";

/// Whether a desktop entry can hold it: a line break would begin another line of the entry.
bool fitsOnALine(const std::string& path) {
    return std::ranges::none_of(path, [](unsigned char c) { return c < 0x20 || c == 0x7f; });
}

}  // namespace

std::string autostartCommand() {
    const std::string path = ownProgramPath();
    const bool nameable = !path.empty() && fitsOnALine(path);
    return programOnPath(kProgram) || !nameable ? kProgram : path;
}

void setAutostartEntry(bool enable) {
    const char* const home = std::getenv("HOME");
    if (home == nullptr) return;
    // XDG_CONFIG_HOME is left aside on purpose, unlike for the settings file.
    const std::string directory = std::string(home) + "/.config/autostart";
    const std::string path = directory + "/Korvalune.desktop";
    if (!enable) {
        fs::remove(path);
        return;
    }
    fs::create_directories(directory);
    replaceUserFile(path,
                    "[Desktop Entry]\n"
                    "Type=Application\n"
                    "Name=Korvalune\n"
                    "Exec=" +
                        autostartCommand() +
                        "\n"
                        "Hidden=false\n"
                        "NoDisplay=true\n"
                        "X-GNOME-Autostart-enabled=true\n");
}
