#include "autostart.h"

#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "child_process.h"
#include "user_file.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kProgram = "Korvalune";

/// Where this program was started from; its bare name where that can not be told.
std::string ownPath() {
    std::array<char, 1023> path{};
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    return length > 0 ? std::string(path.data(), static_cast<std::size_t>(length)) : kProgram;
}

}  // namespace

std::string autostartCommand() {
    return programOnPath(kProgram) ? kProgram : ownPath();
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
