#pragma once

#include <glib.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cpu_service.h"
#include "gpu_service.h"
#include "memory_service.h"
#include "network_service.h"
#include "process_service.h"
#include "temperature_service.h"

/// The one snapshot of all readings. It owns the services, refreshes the snapshot on two timers of the main
/// loop and then calls a hook; the panel image and the views read the public fields. Main thread only; the
/// fields are valid between two timer ticks.
class SystemInfo {
public:
    static constexpr unsigned kFastMs = 2000;  ///< everything but the processes
    static constexpr unsigned kSlowMs = 5000;  ///< the processes, while one of their pages is showing
    static constexpr unsigned kFirstMs = 500;  ///< the first refresh after start()

    /// Finds the machine's devices and takes the first counter readings, so that the first refresh already
    /// has something to compare with. Starts no timer.
    explicit SystemInfo(const std::string& root = "/");
    ~SystemInfo();
    SystemInfo(const SystemInfo&) = delete;
    SystemInfo& operator=(const SystemInfo&) = delete;

    /// Installs both timers and the one-shot first refresh.
    void start();
    /// Removes both timers; harmless before start() and when called twice. A first refresh that is still to
    /// come is not taken back.
    void stop();

    /// One fast cycle: CPU, temperature, GPUs without their processes, network, memory; then on_fast_update.
    void updateFast();
    /// One slow cycle: the process lists, then on_slow_update. Does nothing unless active_tab is one of the
    /// process pages.
    void updateSlow();
    /// Replaces gpu_usages with a sample that includes the processes of each GPU. Calls no hook.
    void loadGPUProcesses();

    static gboolean onFastTimer(gpointer self);
    static gboolean onSlowTimer(gpointer self);

    std::vector<CoreUsage> core_usages;
    double average_cpu = 0;                 ///< percent 0..100
    std::optional<double> cpu_temperature;  ///< degrees Celsius; none without a sensor
    std::vector<GPUUsage> gpu_usages;
    NetworkSpeed network_speed;
    MemoryInfo memory_info;
    std::vector<ProcessUsage> top_processes;   ///< of everybody
    std::vector<ProcessUsage> user_processes;  ///< of the user who runs the program
    std::string active_tab = "cpu";            ///< name of the popup's page that is showing

    std::function<void()> on_fast_update;
    std::function<void()> on_slow_update;

    CPUService cpu_service_;
    MemoryService memory_service_;
    NetworkService network_service_;
    TemperatureService temp_service_;
    GPUService gpu_service_;
    ProcessService process_service_;

    guint fast_timer_ = 0;  ///< source id, 0 = not running
    guint slow_timer_ = 0;

private:
    static gboolean onFirstRefresh(gpointer self);

    guint first_refresh_ = 0;
};
