#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "gpu_usage.h"

/// The memory that the DRM client described by a /proc/<pid>/fdinfo/<fd> file has on its device, VRAM plus
/// GTT (KiB). None when the descriptor is no such client.
std::optional<std::uint64_t> parseDrmMemory(std::string_view fdinfo);

/// The ten processes with the most memory on graphics devices, most first. Each is counted once, through its
/// first DRM descriptor, whichever device that is of. Processes whose descriptors can't be listed (another
/// user's) or that end meanwhile are left out.
std::vector<GPUProcessUsage> findGpuClients(std::string_view root);
