#include "menu_bar_item.h"

#include <array>
#include <cstddef>

#include "l10n.h"

namespace {

struct Row {
    const char* key;
    const char* label;  // null: taken from the translations
    const char* label_key;
};

/// By the type's value.
constexpr std::array<Row, kMenuBarItemTypeCount> kRows{{
    {"cpuPercent", "CPU %", nullptr},
    {"cpuBars", nullptr, "settings.cpuBars"},
    {"temperature", nullptr, "settings.temperature"},
    {"gpuPercent", "GPU %", nullptr},
    {"networkSpeed", nullptr, "settings.network"},
    {"memoryFree", nullptr, "settings.memory"},
    {"swapUsed", nullptr, "settings.swap"},
}};

const Row* rowOf(MenuBarItemType type) {
    const auto value = static_cast<std::int32_t>(type);
    if (value < 0 || value >= kMenuBarItemTypeCount) return nullptr;
    return &kRows[static_cast<std::size_t>(value)];
}

}  // namespace

std::string itemTypeToString(MenuBarItemType type) {
    const Row* const row = rowOf(type);
    return row != nullptr ? row->key : "unknown";
}

MenuBarItemType stringToItemType(std::string_view text) {
    for (std::size_t i = 0; i < kRows.size(); ++i) {
        if (text == kRows[i].key) return static_cast<MenuBarItemType>(i);
    }
    return MenuBarItemType::CpuPercent;
}

std::string itemTypeDisplayName(MenuBarItemType type) {
    const Row* const row = rowOf(type);
    if (row == nullptr) return {};
    return row->label != nullptr ? row->label : L10n::tr(row->label_key);
}
