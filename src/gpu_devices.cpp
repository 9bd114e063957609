#include "gpu_devices.h"

#include <filesystem>
#include <optional>

#include "gpu_names.h"
#include "kernel_file.h"
#include "kernel_text.h"

namespace {

GPUInfo::Type makerOf(const std::string& device) {
    const std::string vendor = readKernelWord(device + "/vendor");
    if (vendor == "0x1002") return GPUInfo::Type::AMD;
    if (vendor == "0x8086") return GPUInfo::Type::Intel;
    return GPUInfo::Type::None;
}

/// From the device's "uevent" file; empty when it names no slot or something else in its place.
std::string slotOf(const std::string& device) {
    constexpr std::string_view kKey = "PCI_SLOT_NAME=";
    const auto text = readKernelFile(device + "/uevent");
    if (!text) return {};
    LineScanner lines(*text);
    for (std::string_view line; lines.next(line);) {
        const auto key = line.find(kKey);
        if (key == std::string_view::npos) continue;
        const std::string_view slot = line.substr(key + kKey.size());
        return isPciSlot(slot) ? std::string(slot) : std::string();
    }
    return {};
}

/// "card0" is a card, "card0-DP-1" one of its connectors.
bool isCard(std::string_view entry) {
    return entry.starts_with("card") && entry.find('-') == std::string_view::npos;
}

}  // namespace

DrmCards findDrmCards(std::string_view root) {
    DrmCards found;
    const std::string drm = kernelPath(root, "/sys/class/drm");
    KernelDirectory directory(drm);
    while (const char* const entry = directory.next()) {
        if (!isCard(entry)) continue;
        const std::string card = drm + "/" + entry;
        if (found.first.empty()) found.first = card;
        std::string device = card + "/device";
        const GPUInfo::Type type = makerOf(device);
        if (type == GPUInfo::Type::None) continue;
        std::string slot = slotOf(device);
        found.cards.push_back({type, std::move(device), std::move(slot)});
    }
    return found;
}

std::vector<std::string> findNvidiaDevices(std::string_view root) {
    std::vector<std::string> found;
    const std::string pci = kernelPath(root, "/sys/bus/pci/devices");
    KernelDirectory directory(pci);
    while (const char* const entry = directory.next()) {
        std::string device = pci + "/" + entry;
        if (readKernelWord(device + "/vendor") != "0x10de") continue;
        if (readKernelWord(device + "/class").starts_with("0x03")) found.push_back(std::move(device));
    }
    return found;
}

std::string powerStateFile(const std::string& device) {
    return device + "/power/runtime_status";
}

bool isAsleep(const std::string& power_state_file) {
    const std::string state = readKernelWord(power_state_file);
    return state == "suspended" || state == "suspending";
}

bool hasForeignDriver(const std::string& device) {
    std::error_code unreadable;
    const auto driver = std::filesystem::read_symlink(device + "/driver", unreadable);
    return !unreadable && driver.filename() != "nvidia";
}
