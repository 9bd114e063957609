#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kernel_file.h"

/// Network rates over the last readings, smoothed, in bytes per second.
struct NetworkSpeed {
    double bytes_up_per_sec = 0;    ///< transmitted
    double bytes_down_per_sec = 0;  ///< received

    /// "0K" below one KiB/s, then " 1.0K", "  10K", " 1.0M", "  10M", "12.0G": binary units, right-aligned in
    /// 5 characters.
    static std::string format(double bytes_per_sec);

    std::string upFormatted() const { return format(bytes_up_per_sec); }
    std::string downFormatted() const { return format(bytes_down_per_sec); }
};

/// One interface for the settings to offer.
struct NetInterface {
    std::string name;            ///< as /proc/net/dev spells it
    bool is_up = false;          ///< operational, not just enabled; false when unknown
    std::uint64_t rx_bytes = 0;  ///< received since it came up; 0 when unknown
};

/// Measures one interface, or all but loopback together, from the byte counters of /proc/net/dev.
class NetworkService {
public:
    using Clock = std::chrono::steady_clock;

    /// Received and transmitted bytes since boot; counters that don't exist count as 0.
    struct NetBytes {
        std::uint64_t rx = 0;
        std::uint64_t tx = 0;
    };

    /// The counters of one interface.
    struct InterfaceBytes {
        std::string name;
        NetBytes bytes;
    };

    /// Starts with the interface that is up and has received most, or with all when none is up.
    explicit NetworkService(const std::string& root = "/", Clock::time_point now = Clock::now());

    /// The totals of the chosen interface, or of all but "lo"; 0 when they can't be read.
    NetBytes readBytes();

    /// The rates since the last call. A call within 0.1 seconds of it reads nothing and repeats its answer.
    /// Each interface is compared with itself: one that was not there at the last reading counts from the
    /// next one on. While nothing can be read the rates sink; what came meanwhile counts over all that time.
    NetworkSpeed getSpeed(Clock::time_point now = Clock::now());

    /// Chooses the interface to measure, the empty name for all but "lo", and starts again from rate 0.
    void setInterface(const std::string& name, Clock::time_point now = Clock::now());

    /// The interface being measured; empty: all but "lo".
    const std::string& selectedInterface() const { return selected_iface_; }

    /// All interfaces but "lo", those that are up first, the busiest first among them.
    static std::vector<NetInterface> listInterfaces(const std::string& root = "/");
    /// The same of the machine that this service measures.
    std::vector<NetInterface> interfaces() const { return listInterfaces(root_); }

private:
    bool readInterfaces();
    NetBytes countNew() const;
    void restart(Clock::time_point now);

    std::string root_;
    KernelFile dev_;
    std::string selected_iface_;
    std::vector<InterfaceBytes> prev_;     ///< the measured interfaces at the last reading, by name
    std::vector<InterfaceBytes> present_;  ///< of this reading; kept between calls for its memory alone
    Clock::time_point prev_time_;          ///< of the last call that tried to read
    Clock::time_point read_time_;          ///< of the last reading
    double smoothed_up_ = 0;
    double smoothed_down_ = 0;
};

/// The totals in a text of /proc/net/dev for the interface `selected`, or for all but "lo" if that is empty.
NetworkService::NetBytes parseNetDev(std::string_view text, std::string_view selected);

/// Fills `interfaces` with the counters that those totals are made of, in the text's order.
void parseInterfaces(std::string_view text, std::string_view selected,
                     std::vector<NetworkService::InterfaceBytes>& interfaces);

/// The names in a text of /proc/net/dev in its order, without "lo".
std::vector<std::string> parseInterfaceNames(std::string_view text);

/// Bytes counted between two readings. A counter that went back was reset and counts from zero.
std::uint64_t countedSince(std::uint64_t previous, std::uint64_t current);

/// The next smoothed rate: 0.3 parts new and 0.7 parts old; the new one alone after exactly 0, so that a
/// transfer shows at once.
double smoothRate(double smoothed, double raw);
