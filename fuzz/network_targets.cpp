#include <algorithm>
#include <chrono>
#include <limits>

#include "display_text.h"
#include "fuzz_target.h"
#include "network_service.h"

namespace {

constexpr NetworkService::Clock::time_point kStart{std::chrono::hours(1)};

void checkRate(double rate, const std::string& text) {
    require(isWithin(rate, 0, std::numeric_limits<double>::max()), "a rate is not negative");
    require(text.size() >= 5 && text.size() <= 31, "a rate is aligned and short");
    require(text.find_first_not_of(" 0123456789.KMG") == std::string::npos, "a rate is a number");
}

void checkNames(std::string_view text) {
    for (const std::string& name : parseInterfaceNames(text)) {
        require(name != "lo", "loopback is left out");
        require(name.find_first_of("\n:") == std::string::npos, "a name ends before the colon");
        require(isUtf8(displayText(name)), "a name can be shown");
        parseNetDev(text, name);
    }
    parseNetDev(text, "");
}

void checkInterfaces(const std::vector<NetInterface>& found) {
    const bool sorted = std::ranges::is_sorted(found, [](const NetInterface& a, const NetInterface& b) {
        return a.is_up != b.is_up ? a.is_up : a.rx_bytes > b.rx_bytes;
    });
    require(sorted, "those that are up come first, the busiest first among them");
}

}  // namespace

/// /proc/net/dev at successive reads, one a second.
FUZZ_TARGET(net_dev) {
    FakeKernel& kernel = fakeKernel();
    static const bool one_is_up = !kernel.file("/sys/class/net/eth0/operstate", "up\n")
                                       .file("/sys/class/net/eth0/statistics/rx_bytes", "4096\n")
                                       .file("/sys/class/net/wlan0/operstate", "down\n")
                                       .root()
                                       .empty();
    require(one_is_up, "there is a tree");

    const auto texts = textsOf(input);
    kernel.file("/proc/net/dev", texts.front());
    NetworkService network(kernel.root(), kStart);
    checkInterfaces(network.interfaces());
    for (std::size_t i = 0; i < std::min<std::size_t>(texts.size(), 4); ++i) {
        kernel.file("/proc/net/dev", texts[i]);
        checkNames(texts[i]);
        const NetworkSpeed speed = network.getSpeed(kStart + std::chrono::seconds(i + 1));
        checkRate(speed.bytes_up_per_sec, speed.upFormatted());
        checkRate(speed.bytes_down_per_sec, speed.downFormatted());
    }
}
