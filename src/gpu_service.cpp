#include "gpu_service.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

#include "gpu_clients.h"
#include "gpu_names.h"
#include "kernel_file.h"

namespace {

using Type = GPUInfo::Type;

const char* generalName(Type type) {
    if (type == Type::NVIDIA) return "NVIDIA GPU";
    return type == Type::AMD ? "AMD GPU" : "Intel GPU";
}

/// The device's own name in its short form, or the general one when nothing is left of that.
std::string shownName(const std::string& name, Type type) {
    std::string shown = shortenGPUName(name);
    return shown.empty() ? generalName(type) : shown;
}

int clampedToInt(std::int64_t value) {
    return static_cast<int>(
        std::clamp<std::int64_t>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

}  // namespace

GPUService::GPUService(std::string root, CommandLimits limits)
    : root_(std::move(root)), limits_(limits), nvidia_(root_, limits), lspci_(limits) {
    detectGPUs();
}

void GPUService::detectGPUs() {
    const auto deadline = Clock::now() + limits_.wait;
    nvidia_.detect(deadline);

    const DrmCards found = findDrmCards(root_);
    const std::string device = found.first + "/device";
    clocks_ = {device, powerStateFile(device), found.first + "/gt_cur_freq_mhz",
               found.first + "/gt_max_freq_mhz"};
    cards_.clear();
    for (const DrmCard& card : found.cards)
        addCard(card);
    updateCardNames(deadline);
    listGPUs();
}

void GPUService::addCard(const DrmCard& found) {
    cards_.push_back({{found.type, generalName(found.type), found.device, generalName(found.type)},
                      found.slot,
                      powerStateFile(found.device),
                      found.device + "/gpu_busy_percent",
                      found.device + "/mem_busy_percent"});
}

/// True when the card's name has changed.
bool GPUService::takeName(Card& card, const std::optional<PatientCommand::Answer>& answer) {
    if (!answer) return false;
    card.slot.clear();
    const std::string name = shownName(nameFromLspci(answer->output), card.info.type);
    return std::exchange(card.info.name, name) != name;
}

/// True when a card's name has changed.
bool GPUService::updateCardNames(Clock::time_point deadline) {
    const auto question = [](const Card& card) {
        return PatientCommand::Arguments{"lspci", "-s", card.slot};
    };
    bool changed = false;
    // They come last: collecting for one of them drops what came in late for an awake one.
    std::vector<Card*> sleeping;
    for (Card& card : cards_) {
        if (card.slot.empty()) continue;
        // To print a device's name, lspci reads its configuration registers, which wakes it up.
        if (isAsleep(card.power_state)) {
            sleeping.push_back(&card);
        } else {
            changed |= takeName(card, lspci_.ask(question(card), deadline));
        }
    }
    for (Card* const card : sleeping)
        changed |= takeName(*card, lspci_.collect(question(*card)));
    return changed;
}

void GPUService::updateNames(Clock::time_point deadline) {
    const bool boards_changed = nvidia_.updateNames(deadline);
    if (updateCardNames(deadline) || boards_changed) listGPUs();
}

void GPUService::listGPUs() {
    gpus_.clear();
    for (const std::string& name : nvidia_.names())
        gpus_.push_back({Type::NVIDIA, shownName(name, Type::NVIDIA), "", generalName(Type::NVIDIA)});
    for (const Card& card : cards_)
        gpus_.push_back(card.info);
    if (gpus_.empty()) gpus_.push_back({Type::None, "No GPU detected", ""});
}

std::vector<GPUUsage> GPUService::getAllGPUUsage(bool with_processes) {
    Round round{with_processes, Clock::now() + limits_.wait};
    updateNames(round.deadline);

    std::vector<GPUUsage> usages;
    usages.reserve(gpus_.size());
    for (const GPUInfo& info : gpus_) {
        if (info.type == Type::NVIDIA) usages.push_back(readNVIDIA(info, round));
        if (info.type == Type::None) usages.push_back({0, 0, 0, info.name, {}});
    }
    for (const Card& card : cards_)
        usages.push_back(card.info.type == Type::AMD ? readAMD(card, round) : readIntel(card));
    return usages;
}

GPUUsage GPUService::readAMD(const Card& card, Round& round) const {
    GPUUsage usage;
    usage.model_name = card.info.name;
    usage.general_name = card.info.general_name;
    // The state as it is now: asking the programs may have taken long enough for the device to fall asleep.
    if (!isAsleep(card.power_state)) {
        usage.utilization = readSysfsInt(card.busy);
        usage.memory_utilization = readSysfsInt(card.memory_busy);
    }
    if (!round.with_processes) return usage;
    if (!round.drm_clients) round.drm_clients = findGpuClients(root_);
    usage.processes = *round.drm_clients;
    return usage;
}

GPUUsage GPUService::readIntel(const Card& card) const {
    GPUUsage usage;
    usage.model_name = card.info.name;
    usage.general_name = card.info.general_name;
    // The clocks are those of the first card, which on a machine with two may be the other one.
    const bool first = clocks_.device == card.info.sysfs_path;
    if (isAsleep(card.power_state) || (!first && isAsleep(clocks_.power_state))) return usage;
    const std::int64_t current = readSysfsInt(clocks_.current);
    const std::int64_t maximum = readSysfsInt(clocks_.maximum);
    if (maximum > 0) usage.utilization = clampedToInt(current * 100 / maximum);
    return usage;
}

GPUUsage GPUService::readNVIDIA(const GPUInfo& info, Round& round) {
    if (!round.nvidia) round.nvidia = nvidia_.sample(round.with_processes, round.deadline);
    const NvidiaSample& sample = *round.nvidia;
    return {sample.utilization, sample.memory_utilization, sample.video_utilization,
            info.name,          sample.processes,          info.general_name};
}

int GPUService::readSysfsInt(const std::string& path) {
    const auto value = readKernelInteger(path);
    return value && std::in_range<int>(*value) ? static_cast<int>(*value) : 0;
}
