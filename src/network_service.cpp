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

void addCounters(std::string_view counters, NetworkService::NetBytes& totals) {
    FieldScanner fields(counters);
    std::uint64_t received = 0;
    std::uint64_t ignored = 0;
    std::uint64_t transmitted = 0;
    fields.number(received);
    for (int i = 0; i < 7; ++i)  // packets, errors and so on of the receiving side
        fields.number(ignored);
    fields.number(transmitted);
    totals.rx += received;
    totals.tx += transmitted;
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
    LineScanner lines(text);
    std::string_view line;
    lines.next(line);  // two lines of column headers
    lines.next(line);
    while (lines.next(line)) {
        const auto dev = splitDevLine(line);
        if (dev && (selected.empty() || dev->name == selected)) addCounters(dev->counters, totals);
    }
    return totals;
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

std::optional<NetworkService::NetBytes> NetworkService::tryReadBytes() {
    const auto text = dev_.read();
    if (!text) return std::nullopt;
    return parseNetDev(*text, selected_iface_);
}

NetworkService::NetBytes NetworkService::readBytes() {
    return tryReadBytes().value_or(NetBytes{});
}

NetworkSpeed NetworkService::getSpeed(Clock::time_point now) {
    const double seconds = std::chrono::duration<double>(now - prev_time_).count();
    if (seconds >= kShortestSeconds) {
        // Without a reading nothing is known to have come; the totals since boot must not count when it is
        // back.
        const auto [rx, tx] = tryReadBytes().value_or(NetBytes{prev_rx_, prev_tx_});
        smoothed_down_ =
            smoothRate(smoothed_down_, static_cast<double>(countedSince(prev_rx_, rx)) / seconds);
        smoothed_up_ = smoothRate(smoothed_up_, static_cast<double>(countedSince(prev_tx_, tx)) / seconds);
        prev_time_ = now;
        prev_rx_ = rx;
        prev_tx_ = tx;
    }
    return {.bytes_up_per_sec = smoothed_up_, .bytes_down_per_sec = smoothed_down_};
}

void NetworkService::setInterface(const std::string& name, Clock::time_point now) {
    selected_iface_ = name;
    restart(now);
}

void NetworkService::restart(Clock::time_point now) {
    const auto [rx, tx] = readBytes();
    prev_rx_ = rx;
    prev_tx_ = tx;
    prev_time_ = now;
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
