#include "panel_label.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

namespace {

/// More than any screen has room for. A settings file may repeat its items without end.
constexpr std::size_t kMostSegments = 256;

std::string percent(int value) {
    return std::to_string(value) + "%";
}

std::optional<LabelSegment> segmentFor(MenuBarItemType type, const Settings& settings,
                                       const SystemInfo& info) {
    const auto segment = [&](const char* label, std::string value) {
        return LabelSegment{label, std::move(value), settings.hexColor(type)};
    };
    switch (type) {
        case MenuBarItemType::CpuPercent:
            return segment("CPU:", percent(static_cast<int>(info.average_cpu)));
        case MenuBarItemType::CpuBars:
            if (info.core_usages.empty()) return std::nullopt;
            return segment("", std::string(kBarMarker));
        case MenuBarItemType::Temperature:
            if (!info.cpu_temperature) return std::nullopt;
            return segment("", TemperatureService::menuBarTemperatureString(*info.cpu_temperature));
        case MenuBarItemType::GpuPercent:
            if (info.gpu_usages.empty()) return std::nullopt;
            return segment("GPU:", percent(panelGpuUtilization(info.gpu_usages, settings.selected_gpu_)));
        case MenuBarItemType::NetworkSpeed:
            return segment("NET:", "↑" + NetworkSpeed::format(info.network_speed.bytes_up_per_sec) + " ↓" +
                                       NetworkSpeed::format(info.network_speed.bytes_down_per_sec));
        case MenuBarItemType::MemoryFree:
            return segment("MEM:", info.memory_info.memFormatted());
        case MenuBarItemType::SwapUsed:
            return segment("SWP:", MemoryInfo::formatShort(info.memory_info.swap_used_bytes));
    }
    return std::nullopt;
}

/// Without the blanks that keep the strip's columns in line; that between up and down stays.
std::string withoutPadding(std::string_view value) {
    std::string text;
    for (std::size_t at = 0; at < value.size(); ++at) {
        if (value[at] != ' ' || value.substr(at).starts_with(" ↓")) text += value[at];
    }
    return text;
}

std::string titlePart(const LabelSegment& segment, double average_cpu) {
    if (segment.value == kBarMarker) return "CPU " + percent(static_cast<int>(average_cpu));
    const std::string label = segment.label.substr(0, segment.label.find(':'));
    return label + (label.empty() ? "" : " ") + withoutPadding(segment.value);
}

}  // namespace

std::vector<LabelSegment> buildLabelSegments(const Settings& settings, const SystemInfo& info) {
    std::vector<LabelSegment> segments;
    for (const MenuBarItemType type : settings.enabledItems()) {
        if (segments.size() == kMostSegments) break;
        if (auto segment = segmentFor(type, settings, info)) segments.push_back(std::move(*segment));
    }
    return segments;
}

std::string panelTitle(const std::vector<LabelSegment>& segments, double average_cpu) {
    std::vector<std::string> parts;
    for (const LabelSegment& segment : segments) {
        std::string part = titlePart(segment, average_cpu);
        if (std::find(parts.begin(), parts.end(), part) == parts.end()) parts.push_back(std::move(part));
    }
    std::string title;
    for (const std::string& part : parts)
        title += (title.empty() ? "" : " · ") + part;
    return title;
}

int panelGpuUtilization(const std::vector<GPUUsage>& gpus, const std::string& selected) {
    const int first = gpus.front().utilization;
    if (selected.empty()) return first;
    const auto chosen = findGpu(gpus, &GPUUsage::model_name, selected);
    if (chosen == gpus.end() || chosen->utilization == 0) return first;
    return chosen->utilization;
}
