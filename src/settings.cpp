#include "settings.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "autostart.h"
#include "kernel_text.h"
#include "user_file.h"

namespace {

constexpr std::size_t kMostColorBytes = 1024;
constexpr const char* kFallbackDirectory = "/tmp/Korvalune";

const char* boolText(bool value) {
    return value ? "true" : "false";
}

bool isTheme(std::string_view value) {
    return value == "auto" || value == "light" || value == "dark";
}

void appendLine(std::string& text, std::string_view key, std::string_view value) {
    text.append(key).append("=").append(value).append("\n");
}

/// An empty choice has no line.
void appendChoice(std::string& text, std::string_view key, std::string_view value) {
    if (!value.empty()) appendLine(text, key, value);
}

}  // namespace

Settings::Settings() : config_path_(configDir() + "/settings.conf") {
    load();
    ensureAllTypes();
}

std::string Settings::configDir() {
    const char* const xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg != nullptr && *xdg != '\0') return std::string(xdg) + "/Korvalune";
    const char* const home = std::getenv("HOME");
    if (home != nullptr) return std::string(home) + "/.config/Korvalune";
    return kFallbackDirectory;
}

const std::unordered_map<MenuBarItemType, std::string>& Settings::defaultColors() {
    static const std::unordered_map<MenuBarItemType, std::string> colors{
        {MenuBarItemType::CpuPercent, "#FF6EB4"}, {MenuBarItemType::Temperature, "#D08020"},
        {MenuBarItemType::GpuPercent, "#FF6EB4"}, {MenuBarItemType::NetworkSpeed, "#4090FF"},
        {MenuBarItemType::MemoryFree, "#40E0E0"}, {MenuBarItemType::SwapUsed, "#FF6070"},
    };
    return colors;
}

std::string Settings::directory() const {
    return std::filesystem::path(config_path_).parent_path();
}

bool Settings::directoryIsSafe() const {
    return directory() != kFallbackDirectory || isPrivateDirectory(kFallbackDirectory);
}

void Settings::load() {
    items_.clear();
    const auto text = directoryIsSafe() ? readUserFile(config_path_) : std::nullopt;
    if (!text) {
        std::error_code unknown;
        unread_ = directoryIsSafe() && std::filesystem::exists(config_path_, unknown);
        ensureAllTypes();
        return;
    }
    std::string section;
    LineScanner lines(*text);
    for (std::string_view line; lines.next(line);)
        loadLine(line, section);
}

void Settings::loadLine(std::string_view line, std::string& section) {
    if (line.empty() || line.front() == '#') return;
    if (line.front() == '[') {
        section = line.substr(1, line.find(']') - 1);
        return;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return;
    const std::string_view key = line.substr(0, equals);
    const std::string_view value = line.substr(equals + 1);
    if (section == "general") {
        loadGeneral(key, value);
    } else if (section == "items") {
        items_.push_back({stringToItemType(key), value == "true"});
    } else if (section == "colors") {
        custom_colors_[std::string(key)] = value;
    }
}

void Settings::loadGeneral(std::string_view key, std::string_view value) {
    if (key == "useIcons") {
        use_icons_ = value == "true";
    } else if (key == "autostart") {
        autostart_ = value == "true";
    } else if (key == "language") {
        language_ = value;
    } else if (key == "theme") {
        theme_ = isTheme(value) ? value : "auto";
    } else if (key == "selectedGPU") {
        selected_gpu_ = value;
    } else if (key == "selectedNetwork") {
        selected_net_ = value;
    }
}

std::string Settings::fileText() const {
    std::string text = "[general]\n";
    appendLine(text, "useIcons", boolText(use_icons_));
    appendLine(text, "autostart", boolText(autostart_));
    appendChoice(text, "language", language_);
    appendLine(text, "theme", theme_);
    appendChoice(text, "selectedGPU", selected_gpu_);
    appendChoice(text, "selectedNetwork", selected_net_);
    text += "\n[items]\n";
    for (const MenuBarItem& item : items_)
        appendLine(text, itemTypeToString(item.type), boolText(item.enabled));
    text += "\n[colors]\n";
    for (const auto& [key, color] : custom_colors_)
        appendLine(text, key, color);
    return text;
}

bool Settings::save() {
    if (directory() == kFallbackDirectory) mkdir(kFallbackDirectory, 0700);
    std::filesystem::create_directories(directory());
    const bool written = directoryIsSafe() && writeFile();
    if (on_change) on_change();
    return written;
}

bool Settings::writeFile() {
    if (unread_ && keepUnreadFile(config_path_)) unread_ = false;
    return !unread_ && replaceUserFile(config_path_, fileText());
}

void Settings::ensureAllTypes() {
    for (int value = 0; value < kMenuBarItemTypeCount; ++value) {
        const auto type = static_cast<MenuBarItemType>(value);
        if (std::ranges::find(items_, type, &MenuBarItem::type) == items_.end())
            items_.push_back({type, true});
    }
}

std::vector<MenuBarItemType> Settings::enabledItems() const {
    std::vector<MenuBarItemType> types;
    for (const MenuBarItem& item : items_) {
        if (item.enabled) types.push_back(item.type);
    }
    return types;
}

bool Settings::isIndex(int index) const {
    return index >= 0 && static_cast<std::size_t>(index) < items_.size();
}

void Settings::setEnabled(int index, bool enabled) {
    if (!isIndex(index)) return;
    items_[static_cast<std::size_t>(index)].enabled = enabled;
    save();
}

void Settings::moveItem(int from, int to) {
    if (!isIndex(from) || !isIndex(to) || from == to) return;
    const MenuBarItem item = items_[static_cast<std::size_t>(from)];
    items_.erase(items_.begin() + from);
    items_.insert(items_.begin() + to, item);
    save();
}

void Settings::setColor(MenuBarItemType type, const std::string& hex) {
    custom_colors_[itemTypeToString(type)] = hex;
    save();
}

std::string Settings::hexColor(MenuBarItemType type) const {
    const auto custom = custom_colors_.find(itemTypeToString(type));
    // The panel asks for each of its items, time and again; a settings file may hold a colour of megabytes.
    if (custom != custom_colors_.end()) return custom->second.substr(0, kMostColorBytes);
    const auto standard = defaultColors().find(type);
    return standard != defaultColors().end() ? standard->second : "#FFFFFF";
}

void Settings::setAutostart(bool enable) {
    autostart_ = enable;
    save();
    setAutostartEntry(enable);
}
