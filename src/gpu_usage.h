#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

/// One detected graphics device.
struct GPUInfo {
    enum class Type { None, AMD, Intel, NVIDIA };

    Type type = Type::None;
    std::string name;            ///< as shown
    std::string sysfs_path;      ///< device directory in /sys of AMD and Intel devices, else empty
    std::string general_name{};  ///< what it is called while its own name is not known; empty for None
};

/// One process that has memory on a graphics device.
struct GPUProcessUsage {
    int pid = 0;
    std::string name;
    std::uint64_t vram_mb = 0;  ///< MiB, rounded down
};

/// One sample of one device; what is unknown is 0.
struct GPUUsage {
    int utilization = 0;         ///< percent of the time that the device was busy
    int memory_utilization = 0;  ///< the same of its memory controller
    int video_utilization = 0;   ///< the same of its video encoder, NVIDIA only
    std::string model_name;      ///< GPUInfo::name
    std::vector<GPUProcessUsage> processes;
    std::string general_name{};  ///< GPUInfo::general_name
};

/// The first device whose name (the member `name_of`) is the wanted one. If there is none, the first that
/// went by it while its own name was not known, as it may have been chosen then. Otherwise the end.
template <typename Gpu>
auto findGpu(const std::vector<Gpu>& gpus, std::string Gpu::*name_of, const std::string& wanted) {
    const auto found = std::ranges::find(gpus, wanted, name_of);
    return found != gpus.end() ? found : std::ranges::find(gpus, wanted, &Gpu::general_name);
}
