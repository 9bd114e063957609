#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <vector>

#include "settings.h"
#include "temporary_directory.h"
#include "user_home.h"

inline const std::vector<MenuBarItem> kDefaultItems{
    {MenuBarItemType::CpuPercent, true},   {MenuBarItemType::CpuBars, true},
    {MenuBarItemType::Temperature, true},  {MenuBarItemType::GpuPercent, true},
    {MenuBarItemType::NetworkSpeed, true}, {MenuBarItemType::MemoryFree, true},
    {MenuBarItemType::SwapUsed, true}};

/// The items of the file, then every type that it lacks.
inline std::vector<MenuBarItem> followedByTheRest(std::vector<MenuBarItem> items) {
    for (const MenuBarItem& item : kDefaultItems) {
        const bool there =
            std::ranges::any_of(items, [&](const MenuBarItem& i) { return i.type == item.type; });
        if (!there) items.push_back(item);
    }
    return items;
}

/// Settings in a home directory of their own.
class SettingsTest : public testing::Test {
protected:
    UserHome home_;
    std::filesystem::path file_ = home_.config() / "settings.conf";

    Settings with(std::string_view content) const {
        writeFile(file_, content);
        return {};
    }
    static void expectDefaults(const Settings& settings) {
        EXPECT_EQ(settings.items_, kDefaultItems);
        EXPECT_FALSE(settings.use_icons_);
        EXPECT_FALSE(settings.autostart_);
        EXPECT_EQ(settings.language_, "");
        EXPECT_EQ(settings.theme_, "auto");
        EXPECT_EQ(settings.selected_gpu_, "");
        EXPECT_EQ(settings.selected_net_, "");
        EXPECT_TRUE(settings.custom_colors_.empty());
    }
};
