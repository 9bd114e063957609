#pragma once

#include <string>
#include <vector>

#include "gpu_service.h"
#include "panel_image.h"
#include "settings.h"
#include "system_info.h"

/// The panel's segments for the enabled items in the user's order. An item that has nothing to show (a
/// machine without a sensor, a GPU or readable cores) adds none. Of more items than fit any panel, only the
/// first ones are shown.
std::vector<LabelSegment> buildLabelSegments(const Settings& settings, const SystemInfo& info);

/// What the segments say as one line, for hosts with more room for words than for the strip: "CPU 12% · 45°C
/// · MEM 3.1G/15G". Bars stand for the average usage (percent); what has been said is not said again. Empty
/// without segments.
std::string panelTitle(const std::vector<LabelSegment>& segments, double average_cpu);

/// The utilization to show for the GPU that the user selected by model name, percent. The first GPU stands in
/// when none is selected, the selected one is gone, or it idles at 0. `gpus` must not be empty.
int panelGpuUtilization(const std::vector<GPUUsage>& gpus, const std::string& selected);
