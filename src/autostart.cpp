#include "autostart.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "user_file.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kProgram = "Korvalune";

bool isProgram(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0;
}

/// The answer of "which", without starting a shell for it. An empty directory in PATH is the current one.
bool isInSearchPath(std::string_view program) {
    const char* const variable = std::getenv("PATH");
    if (variable == nullptr || *variable == '\0') return false;
    for (std::string_view rest = variable;;) {
        const std::size_t colon = rest.find(':');
        const std::string_view directory = rest.substr(0, colon);
        if (isProgram(std::string(directory.empty() ? "." : directory).append("/").append(program)))
            return true;
        if (colon == std::string_view::npos) return false;
        rest.remove_prefix(colon + 1);
    }
}

/// Where this program was started from; its bare name where that can not be told.
std::string ownPath() {
    std::array<char, 1023> path{};
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    return length > 0 ? std::string(path.data(), static_cast<std::size_t>(length)) : kProgram;
}

}  // namespace

std::string autostartCommand() {
    return isInSearchPath(kProgram) ? kProgram : ownPath();
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
