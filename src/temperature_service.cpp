#include "temperature_service.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <utility>

#include "kernel_file.h"
#include "short_text.h"

namespace {

/// The path of the first entry, in the directory's own order, that `matches`; empty when there is none or the
/// directory can't be read.
template <typename Predicate>
std::string firstEntry(const std::string& directory, Predicate matches) {
    KernelDirectory entries(directory);
    while (const char* const entry = entries.next()) {
        if (*entry == '.') continue;
        std::string path = directory + "/" + entry;
        if (matches(path)) return path;
    }
    return {};
}

bool isCpuMonitor(std::string_view name) {
    constexpr std::array<std::string_view, 4> kNames{"coretemp", "k10temp", "zenpower", "it8728"};
    return std::find(kNames.begin(), kNames.end(), name) != kNames.end();
}

bool isCpuZone(std::string_view type) {
    const auto has = [&](std::string_view part) { return type.find(part) != std::string_view::npos; };
    return has("x86") || has("cpu") || has("CPU") || type == "acpitz";
}

bool isInput(const std::string& path) {
    const std::string_view name = std::string_view(path).substr(path.rfind('/') + 1);
    return name.starts_with("temp") && name.find("_input") != std::string_view::npos;
}

std::string findMonitorInput(const std::string& directory) {
    std::string input;
    firstEntry(directory, [&](const std::string& monitor) {
        if (isCpuMonitor(readKernelWord(monitor + "/name"))) input = firstEntry(monitor, isInput);
        return !input.empty();
    });
    return input;
}

std::string findZoneInput(const std::string& directory) {
    const std::string zone = firstEntry(
        directory, [](const std::string& path) { return isCpuZone(readKernelWord(path + "/type")); });
    return zone.empty() ? zone : zone + "/temp";
}

constexpr const char* kMonitors = "/sys/class/hwmon";
constexpr const char* kZones = "/sys/class/thermal";

}  // namespace

TemperatureService::TemperatureService(std::string root) : root_(std::move(root)) {
    findHwmonPath();
}

void TemperatureService::findHwmonPath() {
    hwmon_path_ = findMonitorInput(kernelPath(root_, kMonitors));
    if (hwmon_path_.empty()) hwmon_path_ = findZoneInput(kernelPath(root_, kZones));
    lost_ = false;
}

/// Among its own kind only: a zone that stood in while a monitor's driver is loaded anew would stay.
std::string TemperatureService::findLostInput() const {
    const std::string zones = kernelPath(root_, kZones);
    return hwmon_path_.starts_with(zones) ? findZoneInput(zones)
                                          : findMonitorInput(kernelPath(root_, kMonitors));
}

std::optional<double> TemperatureService::getCPUTemperature() {
    if (hwmon_path_.empty()) return std::nullopt;
    if (lost_) {
        std::string found = findLostInput();
        if (found.empty()) return std::nullopt;
        hwmon_path_ = std::move(found);
    }
    const auto millidegrees = readKernelInteger(hwmon_path_);
    lost_ = !millidegrees;
    if (!millidegrees) return std::nullopt;
    return static_cast<double>(*millidegrees) / 1000.0;
}

std::string TemperatureService::formatTemperature(double celsius) {
    return shortText("%.0f °C", celsius);
}

std::string TemperatureService::menuBarTemperatureString(double celsius) {
    // Adding 0 turns the -0 that a little frost is cut to into 0.
    return shortText("%.0f°C", std::trunc(celsius) + 0.0);
}
