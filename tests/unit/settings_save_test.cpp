#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "forked_child.h"
#include "own_disk.h"
#include "settings.h"
#include "settings_fixture.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using Type = MenuBarItemType;

constexpr std::string_view kDefaultFile =
    "[general]\nuseIcons=false\nautostart=false\ntheme=auto\n\n"
    "[items]\ncpuPercent=true\ncpuBars=true\ntemperature=true\ngpuPercent=true\nnetworkSpeed=true\n"
    "memoryFree=true\nswapUsed=true\n\n[colors]\n";

/// Settings that found their file, but had no descriptor left to open it. For use in a child.
Settings loadedWithoutDescriptors() {
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    limitDescriptors(0);
    Settings settings;
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    return settings;
}

}  // namespace

using SettingsSaveTest = SettingsTest;

TEST_F(SettingsSaveTest, WritesTheDefaultsByteForByte) {
    EXPECT_TRUE(Settings().save());
    EXPECT_EQ(contentOf(file_), kDefaultFile);
}

TEST_F(SettingsSaveTest, WritesEveryChoice) {
    Settings settings;
    settings.use_icons_ = true;
    settings.autostart_ = true;
    settings.language_ = "zh_TW";
    settings.theme_ = "light";
    settings.selected_gpu_ = "Card [1] = fast";
    settings.selected_net_ = "wlan0";
    settings.items_ = {{Type::SwapUsed, false}, {Type::CpuPercent, true}, {Type::SwapUsed, true}};
    settings.custom_colors_ = {{"swapUsed", "#ABCDEF"}};
    settings.save();
    EXPECT_EQ(contentOf(file_),
              "[general]\nuseIcons=true\nautostart=true\nlanguage=zh_TW\ntheme=light\nselectedGPU=Card [1] = "
              "fast\n"
              "selectedNetwork=wlan0\n\n[items]\nswapUsed=false\ncpuPercent=true\nswapUsed=true\n\n[colors]\n"
              "swapUsed=#ABCDEF\n");
}

TEST_F(SettingsSaveTest, AnEmptyChoiceHasNoLine) {
    Settings settings = with("[general]\nlanguage=de\nselectedGPU=g\nselectedNetwork=n\n");
    settings.language_ = settings.selected_gpu_ = settings.selected_net_ = "";
    settings.theme_ = "";
    settings.save();
    EXPECT_EQ(contentOf(file_).substr(0, contentOf(file_).find("\n\n")),
              "[general]\nuseIcons=false\nautostart=false\ntheme=");
}

TEST_F(SettingsSaveTest, WhatWasWrittenIsReadAgain) {
    Settings settings;
    settings.use_icons_ = true;
    settings.language_ = "fa";
    settings.theme_ = "dark";
    settings.selected_gpu_ = "\xff\"'<&>=#[]";
    settings.selected_net_ = std::string(1'000'000, 'n');
    settings.moveItem(6, 0);
    settings.setEnabled(1, false);
    for (const MenuBarItem& item : kDefaultItems)
        settings.setColor(item.type, "#" + itemTypeToString(item.type));
    const Settings again;
    EXPECT_EQ(again.use_icons_, true);
    EXPECT_EQ(again.language_, settings.language_);
    EXPECT_EQ(again.theme_, settings.theme_);
    EXPECT_EQ(again.selected_gpu_, settings.selected_gpu_);
    EXPECT_EQ(again.selected_net_, settings.selected_net_);
    EXPECT_EQ(again.items_, settings.items_);
    EXPECT_EQ(again.custom_colors_, settings.custom_colors_);
}

TEST_F(SettingsSaveTest, AFileThatCanNotBeWrittenStaysAndTheChangeIsStillTold) {
    writeFile(file_, "[general]\n");
    fs::permissions(file_, fs::perms(0444));
    fs::permissions(home_.path(), fs::perms(0755));
    EXPECT_TRUE(passesInChild([&] {
        dropPrivileges();
        Settings settings;
        int told = 0;
        settings.on_change = [&] { ++told; };
        EXPECT_FALSE(settings.save());
        EXPECT_EQ(told, 1);
    }));
    EXPECT_EQ(contentOf(file_), "[general]\n");
}

TEST_F(SettingsSaveTest, ADirectoryInItsPlaceStaysAndTheChangeIsStillTold) {
    fs::create_directories(file_ / "inside");
    Settings settings;
    int told = 0;
    settings.on_change = [&] { ++told; };
    EXPECT_FALSE(settings.save());
    EXPECT_EQ(told, 1);
    EXPECT_TRUE(fs::is_directory(file_ / "inside"));
}

TEST_F(SettingsSaveTest, ASaveCutShortLeavesTheOldFileAndTheChangeIsStillTold) {
    Settings().save();
    EXPECT_TRUE(passesInChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{1000, 1000};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        Settings settings;
        int told = 0;
        settings.on_change = [&] { ++told; };
        settings.selected_gpu_ = std::string(1000, 'x');
        EXPECT_FALSE(settings.save());
        EXPECT_EQ(told, 1);
    }));
    EXPECT_EQ(contentOf(file_), kDefaultFile);
}

TEST_F(SettingsSaveTest, AFileThatCouldNotBeReadIsKeptBesideTheNewOne) {
    const auto kept = home_.config() / "settings.conf.unread";
    writeFile(file_, "[general]\ntheme=dark\n");
    const bool unread_and_kept = passesInChild([&] {
        Settings settings = loadedWithoutDescriptors();
        EXPECT_EQ(settings.theme_, "auto");
        settings.setEnabled(0, false);
        settings.setEnabled(0, true);
        EXPECT_EQ(contentOf(file_), kDefaultFile);
    });
    EXPECT_TRUE(unread_and_kept);
    EXPECT_EQ(contentOf(kept), "[general]\ntheme=dark\n");
}

TEST_F(SettingsSaveTest, AFileThatCouldNotBeReadNorMovedStays) {
    writeFile(file_, "[general]\ntheme=dark\n");
    const auto passed = passesWithOwnMounts([&] {
        ASSERT_EQ(mount(file_.c_str(), file_.c_str(), "none", MS_BIND, nullptr), 0);
        Settings settings = loadedWithoutDescriptors();
        EXPECT_EQ(settings.theme_, "auto");
        EXPECT_FALSE(settings.save());
        EXPECT_FALSE(settings.save());
        EXPECT_EQ(contentOf(file_), "[general]\ntheme=dark\n");
        EXPECT_TRUE(Settings().save()) << "readable again";
    });
    if (!passed) GTEST_SKIP() << "nothing may be mounted here";
    EXPECT_TRUE(*passed);
}

TEST_F(SettingsSaveTest, AFileThatCameLaterIsReplaced) {
    Settings settings;
    writeFile(file_, "[general]\n");
    settings.save();
    EXPECT_FALSE(fs::exists(home_.config() / "settings.conf.unread"));
}

TEST_F(SettingsSaveTest, ADirectoryThatCanNotBeMadeThrows) {
    writeFile(home_ / ".config", "a file");
    Settings settings;
    int told = 0;
    settings.on_change = [&] { ++told; };
    EXPECT_THROW(settings.save(), fs::filesystem_error);
    EXPECT_EQ(told, 0);
}

TEST_F(SettingsSaveTest, TheNewFileIsInPlaceWhenTheChangeIsTold) {
    Settings settings;
    std::string seen;
    settings.on_change = [&] { seen = contentOf(file_); };
    settings.on_theme_change = [] { FAIL() << "only the settings page calls this"; };
    settings.save();
    EXPECT_EQ(seen, kDefaultFile);
}

TEST_F(SettingsSaveTest, ALinkedFileIsWrittenWhereItIs) {
    fs::create_directories(home_ / "dotfiles");
    fs::create_directories(home_.config());
    fs::create_symlink("../../dotfiles/korvalune", file_);
    Settings().save();
    EXPECT_TRUE(fs::is_symlink(file_));
    EXPECT_EQ(contentOf(home_ / "dotfiles/korvalune"), kDefaultFile);
}

// Without a home directory, in a /tmp of one's own

TEST_F(SettingsSaveTest, TheDirectoryBelowTmpIsMadeForThisUserAlone) {
    const ScopedEnvironment no_home(
        ScopedEnvironment::Variables{{"HOME", std::nullopt}, {"XDG_CONFIG_HOME", std::nullopt}});
    const auto passed = passesWithOwnMounts([] {
        mountEmptyDisk("/tmp", "mode=1777");
        umask(0);
        EXPECT_TRUE(Settings().save());
        EXPECT_EQ(fs::status("/tmp/Korvalune").permissions(), fs::perms(0700));
        EXPECT_EQ(contentOf("/tmp/Korvalune/settings.conf"), kDefaultFile);
        writeFile("/tmp/Korvalune/settings.conf", "[general]\ntheme=dark\n");
        EXPECT_EQ(Settings().theme_, "dark");
    });
    if (!passed) GTEST_SKIP() << "nothing may be mounted here";
    EXPECT_TRUE(*passed);
}

TEST_F(SettingsSaveTest, WhatOthersMayHavePutBelowTmpIsNeitherReadNorWritten) {
    const ScopedEnvironment no_home(
        ScopedEnvironment::Variables{{"HOME", std::nullopt}, {"XDG_CONFIG_HOME", std::nullopt}});
    const fs::path directory = "/tmp/Korvalune";
    std::vector<std::function<void()>> plants{
        [&] { fs::permissions(directory, fs::perms(0702)); },
        [&] { fs::permissions(directory, fs::perms(0720)); },
        [&] {
            fs::rename(directory, "/tmp/elsewhere");
            fs::create_symlink("elsewhere", directory);
        },
    };
    if (geteuid() == 0) plants.emplace_back([&] { ASSERT_EQ(chown(directory.c_str(), 12345, 0), 0); });
    const auto passed = passesWithOwnMounts([&] {
        for (const auto& plant : plants) {
            mountEmptyDisk("/tmp", "mode=1777");
            writeFile(directory / "settings.conf", "[general]\ntheme=dark\n");
            fs::permissions(directory, fs::perms(0700));
            EXPECT_EQ(Settings().theme_, "dark");
            plant();
            Settings settings;
            EXPECT_EQ(settings.theme_, "auto");
            int told = 0;
            settings.on_change = [&] { ++told; };
            EXPECT_FALSE(settings.save());
            EXPECT_EQ(told, 1);
            EXPECT_EQ(contentOf(directory / "settings.conf"), "[general]\ntheme=dark\n");
        }
    });
    if (!passed) GTEST_SKIP() << "nothing may be mounted here";
    EXPECT_TRUE(*passed);
}

// Changes

class SettingsChangesTest : public SettingsTest {
protected:
    SettingsChangesTest() {
        settings_.on_change = [this] { ++saves_; };
    }
    std::vector<int> types() const {
        std::vector<int> types(settings_.items_.size());
        std::ranges::transform(settings_.items_, types.begin(),
                               [](const MenuBarItem& item) { return static_cast<int>(item.type); });
        return types;
    }

    Settings settings_;
    int saves_ = 0;
};

TEST_F(SettingsChangesTest, SwitchesItems) {
    settings_.setEnabled(0, false);
    settings_.setEnabled(6, false);
    EXPECT_EQ(saves_, 2);
    EXPECT_THAT(settings_.enabledItems(), ElementsAre(Type::CpuBars, Type::Temperature, Type::GpuPercent,
                                                      Type::NetworkSpeed, Type::MemoryFree));
    EXPECT_EQ(Settings().items_, settings_.items_);
    settings_.setEnabled(0, true);
    EXPECT_EQ(settings_.enabledItems().front(), Type::CpuPercent);
    for (const int index : {-1, 7, INT_MIN, INT_MAX})
        settings_.setEnabled(index, false);
    EXPECT_EQ(saves_, 3);
}

TEST_F(SettingsChangesTest, EnabledItemsKeepOrderAndRepetition) {
    settings_.items_ = {
        {Type::SwapUsed, true}, {Type::CpuBars, false}, {Type::SwapUsed, true}, {Type::CpuBars, true}};
    EXPECT_THAT(settings_.enabledItems(), ElementsAre(Type::SwapUsed, Type::SwapUsed, Type::CpuBars));
    settings_.items_.clear();
    EXPECT_TRUE(settings_.enabledItems().empty());
}

TEST_F(SettingsChangesTest, MovesItems) {
    struct Case {
        int from;
        int to;
        std::vector<int> wanted;
    };
    const Case cases[] = {
        {0, 3, {1, 2, 3, 0, 4, 5, 6}}, {3, 0, {3, 0, 1, 2, 4, 5, 6}}, {0, 6, {1, 2, 3, 4, 5, 6, 0}},
        {6, 0, {6, 0, 1, 2, 3, 4, 5}}, {2, 3, {0, 1, 3, 2, 4, 5, 6}}, {6, 5, {0, 1, 2, 3, 4, 6, 5}},
    };
    int moves = 0;
    for (const auto& [from, to, wanted] : cases) {
        settings_.items_ = kDefaultItems;
        settings_.items_[static_cast<std::size_t>(from)].enabled = false;
        settings_.moveItem(from, to);
        EXPECT_EQ(types(), wanted) << from << " to " << to;
        EXPECT_FALSE(settings_.items_[static_cast<std::size_t>(to)].enabled);
        EXPECT_EQ(saves_, ++moves);
        EXPECT_EQ(Settings().items_, settings_.items_);
    }
}

TEST_F(SettingsChangesTest, MovesToNowhereDoNothing) {
    const std::pair<int, int> cases[] = {{2, 2},  {-1, 0}, {0, -1},      {7, 0},       {0, 7},
                                         {-1, 7}, {7, 7},  {INT_MIN, 0}, {0, INT_MAX}, {INT_MAX, INT_MIN}};
    for (const auto& [from, to] : cases)
        settings_.moveItem(from, to);
    EXPECT_EQ(settings_.items_, kDefaultItems);
    settings_.items_.clear();
    settings_.moveItem(0, 1);
    EXPECT_EQ(saves_, 0);
    EXPECT_FALSE(fs::exists(file_));
}

TEST_F(SettingsChangesTest, AddsOnlyWhatIsMissing) {
    settings_.items_ = {{Type::MemoryFree, false}, {Type::MemoryFree, true}, {Type::CpuBars, false}};
    const std::vector<MenuBarItem> wanted = followedByTheRest(settings_.items_);
    settings_.ensureAllTypes();
    EXPECT_EQ(settings_.items_, wanted);
    settings_.ensureAllTypes();
    EXPECT_EQ(settings_.items_, wanted);
    EXPECT_EQ(saves_, 0);
}

TEST_F(SettingsChangesTest, ColorsAreTheUsersElseTheDefaultElseWhite) {
    EXPECT_EQ(settings_.hexColor(Type::CpuBars), "#FFFFFF");
    EXPECT_EQ(settings_.hexColor(Type::GpuPercent), "#FF6EB4");
    EXPECT_EQ(settings_.hexColor(static_cast<Type>(7)), "#FFFFFF");
    settings_.setColor(Type::GpuPercent, "#010203");
    settings_.setColor(Type::CpuBars, "no colour at all");
    EXPECT_EQ(settings_.hexColor(Type::GpuPercent), "#010203");
    EXPECT_EQ(settings_.hexColor(Type::CpuBars), "no colour at all");
    EXPECT_EQ(settings_.hexColor(Type::CpuPercent), "#FF6EB4");
    settings_.setColor(Type::GpuPercent, "");
    EXPECT_EQ(settings_.hexColor(Type::GpuPercent), "");
    EXPECT_EQ(saves_, 3);
    EXPECT_EQ(Settings().custom_colors_, settings_.custom_colors_);
}

TEST_F(SettingsChangesTest, AutostartIsSavedBeforeTheEntryIsWritten) {
    const fs::path entry = home_ / ".config/autostart/Korvalune.desktop";
    bool entry_there = true;
    settings_.on_change = [&] { entry_there = fs::exists(entry); };
    settings_.setAutostart(true);
    EXPECT_FALSE(entry_there);
    EXPECT_TRUE(fs::exists(entry));
    EXPECT_TRUE(Settings().autostart_);
    settings_.setAutostart(false);
    EXPECT_TRUE(entry_there);
    EXPECT_FALSE(fs::exists(entry));
    EXPECT_FALSE(Settings().autostart_);
}

TEST_F(SettingsChangesTest, AutostartThatFailsIsSavedAllTheSame) {
    writeFile(home_ / ".config/autostart", "a file");
    EXPECT_THROW(settings_.setAutostart(true), fs::filesystem_error);
    EXPECT_TRUE(settings_.autostart_);
    EXPECT_TRUE(Settings().autostart_);
}
