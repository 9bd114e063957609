#pragma once

#include <optional>
#include <string>
#include <vector>

#include "gpu_devices.h"
#include "gpu_usage.h"
#include "nvidia_smi.h"
#include "patient_command.h"

/// The machine's graphics devices and how busy they are: AMD and Intel from /sys/class/drm, NVIDIA from the
/// nvidia-smi program, names from lspci. Devices are found once, at construction.
///
/// A device that the kernel has suspended is never woken by looking at it: its figures are 0 meanwhile, and a
/// name that could not be asked for without waking it follows when it is awake. No call takes longer than the
/// limits say, whatever the programs do.
class GPUService {
public:
    explicit GPUService(std::string root = "/", CommandLimits limits = {});

    /// One sample per device, in the order of gpus(); with_processes adds the processes that use it (AMD: the
    /// ten with the most memory; NVIDIA: all; Intel: none). What can't be read is 0 or left out.
    std::vector<GPUUsage> getAllGPUUsage(bool with_processes);

    /// The devices found, never empty: without any there is one of type None. Names, and with them the number
    /// of NVIDIA boards, may come in late, at a call of getAllGPUUsage().
    const std::vector<GPUInfo>& gpus() const { return gpus_; }

private:
    using Clock = PatientCommand::Clock;

    /// An AMD or Intel device with the files read at every sample.
    struct Card {
        GPUInfo info;
        std::string slot;  ///< to ask lspci for the name, empty when that is not (or no longer) to be done
        std::string power_state;  ///< power/runtime_status
        std::string busy;         ///< gpu_busy_percent, AMD
        std::string memory_busy;  ///< mem_busy_percent, AMD
    };

    /// The clocks of the first card of any maker.
    struct Clocks {
        std::string device;       ///< the card's device directory
        std::string power_state;  ///< and its power state file
        std::string current;      ///< gt_cur_freq_mhz
        std::string maximum;      ///< gt_max_freq_mhz
    };

    /// What the devices of one call share.
    struct Round {
        bool with_processes = false;
        Clock::time_point deadline;
        std::optional<NvidiaSample> nvidia{};
        std::optional<std::vector<GPUProcessUsage>> drm_clients{};
    };

    void detectGPUs();
    void addCard(const DrmCard& found);
    static bool takeName(Card& card, const std::optional<PatientCommand::Answer>& answer);
    bool updateCardNames(Clock::time_point deadline);
    void updateNames(Clock::time_point deadline);
    void listGPUs();

    GPUUsage readAMD(const Card& card, Round& round) const;
    GPUUsage readIntel(const Card& card) const;
    GPUUsage readNVIDIA(const GPUInfo& info, Round& round);
    static int readSysfsInt(const std::string& path);

    std::string root_;
    CommandLimits limits_;
    NvidiaSmi nvidia_;
    PatientCommand lspci_;
    std::vector<Card> cards_;
    Clocks clocks_;
    std::vector<GPUInfo> gpus_;  ///< the boards of nvidia_, then cards_
};
