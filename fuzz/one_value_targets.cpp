#include <unistd.h>

#include "fuzz_target.h"
#include "gpu_names.h"
#include "gpu_service.h"
#include "instance_lock.h"
#include "scoped_environment.h"
#include "temperature_service.h"

namespace {

void checkTemperature(const std::string& root) {
    const auto celsius = TemperatureService(root).getCPUTemperature();
    if (!celsius) return;
    require(isWithin(*celsius, -0x1p63 / 1000, 0x1p63 / 1000), "a temperature is a number");
    for (const std::string& text : {TemperatureService::formatTemperature(*celsius),
                                    TemperatureService::menuBarTemperatureString(*celsius)}) {
        require(text.size() <= 31 && isUtf8(text), "a temperature can be shown");
        require(text.ends_with("°C"), "a temperature has its unit");
    }
}

void checkCards(const std::string& root) {
    for (const DrmCard& card : findDrmCards(root).cards)
        require(card.slot.empty() || isPciSlot(card.slot), "only slots are handed to programs");
    require(findNvidiaDevices(root).size() <= 1, "only what is there is found");
    // Neither nvidia-smi nor lspci is fed here, and starting them takes longer than all else.
    static const ScopedEnvironment no_programs({{"PATH", "/nonexistent"}});
    fakeKernel().remove("/sys/class/drm/card1/device/uevent");
    GPUService gpus(root);
    const auto usages = gpus.getAllGPUUsage(false);
    require(usages.size() == gpus.gpus().size(), "there is one sample a device");
    for (const GPUUsage& usage : usages)
        require(!usage.model_name.empty(), "every device has a name");
}

/// The lock file of the program, which names a process.
void checkLock(std::string_view text) {
    static const TemporaryDirectory directory;
    const InstanceLock lock(directory.path().string());
    writeFile(directory / ("Korvalune-" + std::to_string(getuid()) + ".lock"), text);
    lock.heldByAnother();
    lock.take();
    require(!lock.heldByAnother(), "one's own lock holds nobody up");
}

}  // namespace

/// Files that hold one value. The first text is that of all figures; those behind it replace the usual words
/// around them. There are a sensor, an AMD card, an Intel card with its clocks, and the lock file.
FUZZ_TARGET(one_value) {
    const auto texts = textsOf(input);
    const auto textOr = [&](std::size_t index, std::string_view usual) {
        return textAt(texts, index).empty() ? usual : texts[index];
    };
    const std::string_view figure = texts.front();
    FakeKernel& kernel = fakeKernel();
    kernel.file("/sys/class/hwmon/hwmon0/temp1_input", figure)
        .file("/sys/class/hwmon/hwmon0/name", textOr(1, "coretemp\n"))
        .file("/sys/class/thermal/thermal_zone0/temp", figure)
        .file("/sys/class/thermal/thermal_zone0/type", textOr(6, "x86_pkg_temp\n"))
        .file("/sys/bus/pci/devices/0000:01:00.0/vendor", "0x10de\n")
        .file("/sys/bus/pci/devices/0000:01:00.0/class", textOr(7, "0x030000\n"))
        .file("/sys/class/drm/card0/device/vendor", "0x8086\n")
        .file("/sys/class/drm/card0/gt_cur_freq_mhz", figure)
        .file("/sys/class/drm/card0/gt_max_freq_mhz", textOr(2, "1300\n"))
        .file("/sys/class/drm/card1/device/vendor", textOr(3, "0x1002\n"))
        .file("/sys/class/drm/card1/device/gpu_busy_percent", figure)
        .file("/sys/class/drm/card1/device/mem_busy_percent", figure)
        .file("/sys/class/drm/card1/device/power/runtime_status", textOr(4, "active\n"))
        .file("/sys/class/drm/card1/device/uevent", textAt(texts, 5));
    checkTemperature(kernel.root());
    checkCards(kernel.root());
    checkLock(figure);
}
