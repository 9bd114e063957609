#include "menu_bar_item.h"

#include <gtest/gtest.h>

#include <climits>

#include "l10n.h"
#include "settings.h"

namespace {

struct Row {
    MenuBarItemType type;
    int value;
    const char* key;
    const char* english;
    const char* label_key;  // null: the same in every language
    const char* color;      // null: none
};

constexpr Row kRows[] = {
    {MenuBarItemType::CpuPercent, 0, "cpuPercent", "CPU %", nullptr, "#FF6EB4"},
    {MenuBarItemType::CpuBars, 1, "cpuBars", "CPU Bars", "settings.cpuBars", nullptr},
    {MenuBarItemType::Temperature, 2, "temperature", "Temperature", "settings.temperature", "#D08020"},
    {MenuBarItemType::GpuPercent, 3, "gpuPercent", "GPU %", nullptr, "#FF6EB4"},
    {MenuBarItemType::NetworkSpeed, 4, "networkSpeed", "Network", "settings.network", "#4090FF"},
    {MenuBarItemType::MemoryFree, 5, "memoryFree", "Memory", "settings.memory", "#40E0E0"},
    {MenuBarItemType::SwapUsed, 6, "swapUsed", "Swap Used", "settings.swap", "#FF6070"},
};

}  // namespace

TEST(MenuBarItem, EachReadingHasItsValueAndKey) {
    EXPECT_EQ(std::size(kRows), std::size_t{kMenuBarItemTypeCount});
    for (const Row& row : kRows) {
        EXPECT_EQ(static_cast<int>(row.type), row.value);
        EXPECT_EQ(itemTypeToString(row.type), row.key);
        EXPECT_EQ(stringToItemType(row.key), row.type);
    }
}

TEST(MenuBarItem, AnyOtherKeyIsTakenForTheCpu) {
    for (const std::string_view key :
         {"", "CpuPercent", "CPUBARS", "cpuBars ", " cpuBars", "swapUsedx", "unknown", "swap", "\xff"}) {
        EXPECT_EQ(stringToItemType(key), MenuBarItemType::CpuPercent) << key;
    }
    EXPECT_EQ(stringToItemType(std::string_view("swapUsed\0", 9)), MenuBarItemType::CpuPercent);
}

TEST(MenuBarItem, ValuesBeyondTheReadingsHaveNoNames) {
    for (const int value : {7, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(itemTypeToString(static_cast<MenuBarItemType>(value)), "unknown");
        EXPECT_EQ(itemTypeDisplayName(static_cast<MenuBarItemType>(value)), "");
    }
}

TEST(MenuBarItem, LabelsFollowTheLanguageButForThePercentages) {
    for (const auto& language : L10n::available()) {
        L10n::setLanguage(language.code);
        for (const Row& row : kRows) {
            const std::string wanted = row.label_key != nullptr ? L10n::tr(row.label_key) : row.english;
            EXPECT_EQ(itemTypeDisplayName(row.type), wanted) << language.code;
        }
    }
    L10n::setLanguage("en");
    for (const Row& row : kRows)
        EXPECT_EQ(itemTypeDisplayName(row.type), row.english);
}

TEST(MenuBarItem, AllButTheCoreBarsHaveAColor) {
    EXPECT_EQ(Settings::defaultColors().size(), 6u);
    for (const Row& row : kRows) {
        const auto found = Settings::defaultColors().find(row.type);
        ASSERT_EQ(found != Settings::defaultColors().end(), row.color != nullptr) << row.key;
        if (row.color != nullptr) {
            EXPECT_EQ(found->second, row.color);
        }
    }
    EXPECT_EQ(&Settings::defaultColors(), &Settings::defaultColors());
}
