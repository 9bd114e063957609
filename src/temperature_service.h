#pragma once

#include <optional>
#include <string>

/// The CPU's temperature from one sensor file: the first input of a known hardware monitor, else a thermal
/// zone that names the CPU. It is looked for at start, and again, among its own kind, once it could not be
/// read: a driver that is loaded anew may get another number, and its old one may become another chip's.
class TemperatureService {
public:
    explicit TemperatureService(std::string root = "/");

    /// Looks for the sensor anew below /sys/class/hwmon and /sys/class/thermal. Where several would do, the
    /// order of the directory decides.
    void findHwmonPath();
    /// The sensor's file, in thousandths of a degree Celsius; empty when there was none at start.
    const std::string& hwmonPath() const { return hwmon_path_; }

    /// Degrees Celsius now; none while the sensor can't be read. A machine that had none at start is not
    /// searched again.
    std::optional<double> getCPUTemperature();

    /// For the CPU page: "46 °C", rounded.
    static std::string formatTemperature(double celsius);
    /// For the panel, where width counts: "45°C", cut to whole degrees.
    static std::string menuBarTemperatureString(double celsius);

private:
    std::string findLostInput() const;

    std::string root_;
    std::string hwmon_path_;
    bool lost_ = false;  ///< whether the last reading failed
};
