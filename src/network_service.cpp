#include "network_service.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "kernel_text.h"
#include "short_text.h"

namespace {

constexpr double kKiB = 1024;
constexpr double kMiB = 1024 * kKiB;
constexpr double kGiB = 1024 * kMiB;

constexpr double kShortestSeconds = 0.1;
constexpr double kNewRateWeight = 0.3;
constexpr double kOldRateWeight = 0.7;

std::string rateText(double rate) {
    if (rate < kKiB) return "0K";
    if (rate < kMiB) return figureWithUnit(rate / kKiB, 'K');
    if (rate < kGiB) return figureWithUnit(rate / kMiB, 'M');
    return shortText("%.1fG", rate / kGiB);
}

struct DevLine {
    std::string_view name;
    std::string_view counters;
};

/// Splits "  eth0: 123 ..."; none for a line without a colon (the headers) and for loopback.
std::optional<DevLine> splitDevLine(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) return std::nullopt;
    std::string_view name = line.substr(0, colon);
    name.remove_prefix(std::min(name.find_first_not_of(" \t"), name.size()));
    if (name == "lo") return std::nullopt;
    return DevLine{name, line.substr(colon + 1)};
}

NetworkService::NetBytes parseCounters(std::string_view counters) {
    FieldScanner fields(counters);
    NetworkService::NetBytes bytes;
    std::uint64_t ignored = 0;
    fields.number(bytes.rx);
    for (int i = 0; i < 7; ++i)  // packets, errors and so on of the receiving side
        fields.number(ignored);
    fields.number(bytes.tx);
    return bytes;
}

/// Calls `visit` with each interface's line that is measured: that of `selected`, or all but "lo".
template <typename Visit>
void forEachMeasured(std::string_view text, std::string_view selected, Visit visit) {
    LineScanner lines(text);
    std::string_view line;
    lines.next(line);  // two lines of column headers
    lines.next(line);
    while (lines.next(line)) {
        const auto dev = splitDevLine(line);
        if (dev && (selected.empty() || dev->name == selected)) visit(*dev);
    }
}

/// Whether a name from the kernel's list can be a directory entry: anything else would lead elsewhere.
bool isDirectoryName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

NetInterface describe(const std::string& root, std::string name) {
    NetInterface interface;
    if (isDirectoryName(name)) {
        const std::string directory = kernelPath(root, "/sys/class/net/" + name);
        interface.is_up = readKernelWord(directory + "/operstate") == "up";
        FieldScanner(readKernelWord(directory + "/statistics/rx_bytes")).number(interface.rx_bytes);
    }
    interface.name = std::move(name);
    return interface;
}

}  // namespace

std::string NetworkSpeed::format(double bytes_per_sec) {
    return padLeft(rateText(bytes_per_sec), 5);
}

NetworkService::NetBytes parseNetDev(std::string_view text, std::string_view selected) {
    NetworkService::NetBytes totals;
    forEachMeasured(text, selected, [&](const DevLine& dev) {
        const auto [rx, tx] = parseCounters(dev.counters);
        totals.rx += rx;
        totals.tx += tx;
    });
    return totals;
}

void parseInterfaces(std::string_view text, std::string_view selected,
                     std::vector<NetworkService::InterfaceBytes>& interfaces) {
    interfaces.clear();
    forEachMeasured(text, selected, [&](const DevLine& dev) {
        interfaces.push_back({std::string(dev.name), parseCounters(dev.counters)});
    });
}

std::vector<std::string> parseInterfaceNames(std::string_view text) {
    std::vector<std::string> names;
    LineScanner lines(text);
    for (std::string_view line; lines.next(line);) {
        if (const auto dev = splitDevLine(line)) names.emplace_back(dev->name);
    }
    return names;
}

std::uint64_t countedSince(std::uint64_t previous, std::uint64_t current) {
    return previous <= current ? current - previous : current;
}

double smoothRate(double smoothed, double raw) {
    return smoothed == 0 ? raw : kNewRateWeight * raw + kOldRateWeight * smoothed;
}

// Each interface is a record of its own in net/dev, so that a long list comes in several reads.
NetworkService::NetworkService(const std::string& root, Clock::time_point now)
    : root_(root), dev_(kernelPath(root, "/proc/net/dev"), KernelFile::Kind::Records) {
    const std::vector<NetInterface> found = interfaces();
    if (!found.empty() && found.front().is_up) selected_iface_ = found.front().name;
    restart(now);
}

NetworkService::NetBytes NetworkService::readBytes() {
    return parseNetDev(dev_.read().value_or(std::string_view()), selected_iface_);
}

/// Fills present_; false when the file can't be read.
bool NetworkService::readInterfaces() {
    const auto text = dev_.read();
    if (!text) return false;
    parseInterfaces(*text, selected_iface_, present_);
    std::ranges::stable_sort(present_, {}, &InterfaceBytes::name);
    return true;
}

/// What the interfaces counted between the last reading and this one. Totals would not do: with an interface
/// its bytes since boot leave them and come back.
NetworkService::NetBytes NetworkService::countNew() const {
    NetBytes counted;
    auto before = prev_.begin();
    for (const InterfaceBytes& interface : present_) {
        while (before != prev_.end() && before->name < interface.name)
            ++before;
        if (before == prev_.end()) break;
        if (before->name != interface.name) continue;
        counted.rx += countedSince(before->bytes.rx, interface.bytes.rx);
        counted.tx += countedSince(before->bytes.tx, interface.bytes.tx);
        ++before;
    }
    return counted;
}

NetworkSpeed NetworkService::getSpeed(Clock::time_point now) {
    const auto secondsSince = [now](Clock::time_point time) {
        return std::chrono::duration<double>(now - time).count();
    };
    if (secondsSince(prev_time_) >= kShortestSeconds) {
        NetworkSpeed raw;  // without a reading nothing is known to have come
        if (readInterfaces()) {
            const auto [rx, tx] = countNew();
            const double seconds = secondsSince(read_time_);
            raw.bytes_down_per_sec = static_cast<double>(rx) / seconds;
            raw.bytes_up_per_sec = static_cast<double>(tx) / seconds;
            prev_.swap(present_);
            read_time_ = now;
        }
        smoothed_down_ = smoothRate(smoothed_down_, raw.bytes_down_per_sec);
        smoothed_up_ = smoothRate(smoothed_up_, raw.bytes_up_per_sec);
        prev_time_ = now;
    }
    return {.bytes_up_per_sec = smoothed_up_, .bytes_down_per_sec = smoothed_down_};
}

void NetworkService::setInterface(const std::string& name, Clock::time_point now) {
    selected_iface_ = name;
    restart(now);
}

void NetworkService::restart(Clock::time_point now) {
    prev_.clear();
    if (readInterfaces()) prev_.swap(present_);
    prev_time_ = now;
    read_time_ = now;
    smoothed_up_ = 0;
    smoothed_down_ = 0;
}

std::vector<NetInterface> NetworkService::listInterfaces(const std::string& root) {
    std::vector<NetInterface> interfaces;
    const auto text = readKernelFile(kernelPath(root, "/proc/net/dev"));
    for (std::string& name : parseInterfaceNames(text.value_or("")))
        interfaces.push_back(describe(root, std::move(name)));
    std::sort(interfaces.begin(), interfaces.end(), [](const NetInterface& a, const NetInterface& b) {
        return a.is_up != b.is_up ? a.is_up : a.rx_bytes > b.rx_bytes;
    });
    return interfaces;
}
