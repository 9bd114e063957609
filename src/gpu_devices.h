#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "gpu_usage.h"

/// One graphics card of /sys/class/drm whose figures come from sysfs.
struct DrmCard {
    GPUInfo::Type type = GPUInfo::Type::None;
    std::string device;  ///< its PCI device's directory, .../card0/device
    std::string slot;    ///< PCI slot ("0000:03:00.0"), empty when unknown
};

/// What /sys/class/drm lists, in the kernel's order.
struct DrmCards {
    std::string first;           ///< directory of the first card of any maker, empty without one
    std::vector<DrmCard> cards;  ///< those of AMD and Intel
};

/// Reads only what the kernel answers from memory, so that no sleeping card is woken.
DrmCards findDrmCards(std::string_view root);

/// Directories of the PCI display devices made by NVIDIA, below /sys/bus/pci/devices. Wakes none of them.
std::vector<std::string> findNvidiaDevices(std::string_view root);

/// The file that tells the power state of a device.
std::string powerStateFile(const std::string& device);

/// Whether the device of this power state file is suspended or about to be, so that reading its sensors
/// would wake it up. Asking this does not. False when the kernel doesn't tell.
bool isAsleep(const std::string& power_state_file);

/// Whether a driver other than NVIDIA's has the device (one that hands it to a virtual machine, say), so that
/// nvidia-smi doesn't touch it. False when none has it or the kernel doesn't tell.
bool hasForeignDriver(const std::string& device);
