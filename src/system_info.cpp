#include "system_info.h"

#include <algorithm>
#include <utility>

namespace {

void removeTimer(guint& id) {
    if (id != 0) g_source_remove(std::exchange(id, 0));
}

}  // namespace

SystemInfo::SystemInfo(const std::string& root)
    : cpu_service_(root),
      memory_service_(root),
      network_service_(root),
      temp_service_(root),
      gpu_service_(root),
      process_service_(root) {
    core_usages = cpu_service_.getPerCoreUsage();
    process_service_.getProcesses();
}

SystemInfo::~SystemInfo() {
    stop();
    removeTimer(first_refresh_);
}

void SystemInfo::start() {
    stop();
    removeTimer(first_refresh_);
    fast_timer_ = g_timeout_add(kFastMs, onFastTimer, this);
    slow_timer_ = g_timeout_add(kSlowMs, onSlowTimer, this);
    first_refresh_ = g_timeout_add(kFirstMs, onFirstRefresh, this);
}

void SystemInfo::stop() {
    removeTimer(fast_timer_);
    removeTimer(slow_timer_);
}

void SystemInfo::updateFast() {
    core_usages = cpu_service_.getPerCoreUsage();
    average_cpu = cpu_service_.getAverageUsage();
    cpu_temperature = temp_service_.getCPUTemperature();

    // The process lists cost too much to be read here; those of the last request stay, by place in the list.
    auto gpus = gpu_service_.getAllGPUUsage(false);
    const std::size_t known = std::min(gpus.size(), gpu_usages.size());
    for (std::size_t i = 0; i < known; ++i)
        gpus[i].processes = std::move(gpu_usages[i].processes);
    gpu_usages = std::move(gpus);

    network_speed = network_service_.getSpeed();
    memory_info = memory_service_.getMemoryInfo();
    if (on_fast_update) on_fast_update();
}

void SystemInfo::updateSlow() {
    if (active_tab != "processes" && active_tab != "myProcesses") return;
    auto lists = process_service_.getProcesses();
    top_processes = std::move(lists.top);
    user_processes = std::move(lists.user);
    if (on_slow_update) on_slow_update();
}

void SystemInfo::loadGPUProcesses() {
    gpu_usages = gpu_service_.getAllGPUUsage(true);
}

gboolean SystemInfo::onFastTimer(gpointer self) {
    static_cast<SystemInfo*>(self)->updateFast();
    return G_SOURCE_CONTINUE;
}

gboolean SystemInfo::onSlowTimer(gpointer self) {
    static_cast<SystemInfo*>(self)->updateSlow();
    return G_SOURCE_CONTINUE;
}

gboolean SystemInfo::onFirstRefresh(gpointer self) {
    auto* info = static_cast<SystemInfo*>(self);
    info->first_refresh_ = 0;
    info->updateFast();
    info->updateSlow();
    return G_SOURCE_REMOVE;
}
