#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// The readings the panel can show, in the order of its default layout. The values are used as plain numbers
/// by the settings page.
enum class MenuBarItemType : std::int32_t {
    CpuPercent = 0,
    CpuBars = 1,
    Temperature = 2,
    GpuPercent = 3,
    NetworkSpeed = 4,
    MemoryFree = 5,
    SwapUsed = 6,
};

/// How many readings there are: their values run from 0 to one less.
inline constexpr int kMenuBarItemTypeCount = 7;

/// One place of the panel.
struct MenuBarItem {
    MenuBarItemType type = MenuBarItemType::CpuPercent;
    bool enabled = true;  ///< whether the panel shows the reading

    bool operator==(const MenuBarItem&) const = default;
};

/// The reading's key in the settings file ("cpuPercent"); "unknown" for a value beyond the enumeration.
std::string itemTypeToString(MenuBarItemType type);

/// The reading with exactly this key. Any other text is taken as CpuPercent, so that an item from another
/// version's settings file still has a place in the panel.
MenuBarItemType stringToItemType(std::string_view text);

/// The reading's label in the language in effect; "CPU %" and "GPU %" are the same in all of them. Empty for
/// a value beyond the enumeration.
std::string itemTypeDisplayName(MenuBarItemType type);
