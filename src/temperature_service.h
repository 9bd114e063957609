#pragma once

#include <optional>
#include <string>

/// The CPU's temperature from the one sensor file that is found at start: the first input of a known hardware
/// monitor, else a thermal zone that names the CPU.
class TemperatureService {
public:
    explicit TemperatureService(std::string root = "/");

    /// Looks for the sensor anew below /sys/class/hwmon and /sys/class/thermal. Where several would do, the
    /// order of the directory decides.
    void findHwmonPath();
    /// The sensor's file, in thousandths of a degree Celsius; empty without a sensor.
    const std::string& hwmonPath() const { return hwmon_path_; }

    /// Degrees Celsius now; none without a sensor and while it can't be read.
    std::optional<double> getCPUTemperature() const;

    /// For the CPU page: "46 °C", rounded.
    static std::string formatTemperature(double celsius);
    /// For the panel, where width counts: "45°C", cut to whole degrees.
    static std::string menuBarTemperatureString(double celsius);

private:
    std::string root_;
    std::string hwmon_path_;
};
