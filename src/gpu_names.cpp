#include "gpu_names.h"

#include <array>
#include <utility>

#include "kernel_text.h"

namespace {

/// Longest line taken from lspci (bytes).
constexpr std::size_t kMaxLine = 255;

using NamePair = std::pair<std::string_view, std::string_view>;

constexpr std::array<NamePair, 4> kMakers{{
    {"Advanced Micro Devices, Inc. [AMD/ATI] ", "AMD "},
    {"Advanced Micro Devices, Inc. ", "AMD "},
    {"NVIDIA Corporation ", "NVIDIA "},
    {"Intel Corporation ", "Intel "},
}};

/// Boards newer than the device databases in use, which call them "Device" and the PCI id.
constexpr std::array<NamePair, 4> kUnnamedDevices{{
    {"Device 150e", "AMD Radeon 890M"},
    {"Device 150d", "AMD Radeon 890M"},
    {"Device 1506", "AMD Radeon RX 9070"},
    {"Device 1507", "AMD Radeon RX 9070 XT"},
}};

void shortenMaker(std::string& name) {
    for (const auto& [maker, short_form] : kMakers) {
        if (name.starts_with(maker)) {
            name.replace(0, maker.size(), short_form);
            return;
        }
    }
}

void nameUnnamedDevice(std::string& name) {
    for (const auto& [device, model] : kUnnamedDevices) {
        if (name.find(device) != std::string::npos) {
            name = model;
            return;
        }
    }
}

}  // namespace

std::string shortenGPUName(std::string name) {
    if (const auto revision = name.find("(rev "); revision != std::string::npos) name.resize(revision);
    shortenMaker(name);
    nameUnnamedDevice(name);
    name.erase(name.find_last_not_of(' ') + 1);
    name.erase(0, name.find_first_not_of(' '));
    return name;
}

bool isPciSlot(std::string_view slot) {
    return !slot.empty() && slot.find_first_not_of("0123456789abcdefABCDEF:.") == std::string_view::npos;
}

std::string nameFromLspci(std::string_view output) {
    std::string_view line;
    LineScanner(output).next(line);
    if (const auto colon = line.rfind(": "); colon != std::string_view::npos) line.remove_prefix(colon + 2);
    line = line.substr(0, kMaxLine);
    return std::string(line.substr(0, line.find('\0')));
}
