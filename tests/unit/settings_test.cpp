#include "settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "child_process.h"
#include "scoped_environment.h"
#include "temporary_directory.h"
#include "user_home.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using Type = MenuBarItemType;
using Items = std::vector<MenuBarItem>;
using Variables = ScopedEnvironment::Variables;

const Items kDefaultItems{{Type::CpuPercent, true}, {Type::CpuBars, true},      {Type::Temperature, true},
                          {Type::GpuPercent, true}, {Type::NetworkSpeed, true}, {Type::MemoryFree, true},
                          {Type::SwapUsed, true}};

constexpr std::string_view kDefaultFile =
    "[general]\nuseIcons=false\nautostart=false\ntheme=auto\n\n"
    "[items]\ncpuPercent=true\ncpuBars=true\ntemperature=true\ngpuPercent=true\nnetworkSpeed=true\n"
    "memoryFree=true\nswapUsed=true\n\n[colors]\n";

/// The items of the file, then every type that it lacks.
Items followedByTheRest(Items items) {
    for (const MenuBarItem& item : kDefaultItems) {
        const bool there =
            std::ranges::any_of(items, [&](const MenuBarItem& i) { return i.type == item.type; });
        if (!there) items.push_back(item);
    }
    return items;
}

}  // namespace

class SettingsTest : public testing::Test {
protected:
    UserHome home_;
    fs::path file_ = home_.config() / "settings.conf";

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

// Where the file is

TEST_F(SettingsTest, TheDirectoryComesFromTheEnvironment) {
    struct Case {
        std::optional<std::string> xdg;
        std::optional<std::string> home;
        const char* wanted;
    };
    const Case cases[] = {
        {"/xdg", "/home/u", "/xdg/Korvalune"},        {"/xdg/", std::nullopt, "/xdg//Korvalune"},
        {"", "/home/u", "/home/u/.config/Korvalune"}, {std::nullopt, "/home/u", "/home/u/.config/Korvalune"},
        {std::nullopt, "", "/.config/Korvalune"},     {std::nullopt, std::nullopt, "/tmp/Korvalune"},
        {"", std::nullopt, "/tmp/Korvalune"},
    };
    for (const auto& [xdg, home, wanted] : cases) {
        const ScopedEnvironment environment(Variables{{"XDG_CONFIG_HOME", xdg}, {"HOME", home}});
        EXPECT_EQ(Settings::configDir(), wanted);
    }
}

TEST_F(SettingsTest, WithoutAFileEverythingIsDefaultAndNothingIsWritten) {
    {
        const Settings settings;
        expectDefaults(settings);
        EXPECT_EQ(settings.config_path_, file_);
        EXPECT_FALSE(settings.on_change);
        EXPECT_FALSE(settings.on_theme_change);
    }
    EXPECT_TRUE(fs::is_empty(home_.path()));
}

// Reading

TEST_F(SettingsTest, ReadsEverySection) {
    const Settings settings = with(
        "[general]\nuseIcons=true\nautostart=true\nlanguage=de\ntheme=dark\nselectedGPU=A = "
        "B\nselectedNetwork=eth0\n"
        "\n[items]\nswapUsed=true\ncpuBars=false\n\n[colors]\ncpuBars=#123456\n");
    EXPECT_TRUE(settings.use_icons_);
    EXPECT_TRUE(settings.autostart_);
    EXPECT_EQ(settings.language_, "de");
    EXPECT_EQ(settings.theme_, "dark");
    EXPECT_EQ(settings.selected_gpu_, "A = B");
    EXPECT_EQ(settings.selected_net_, "eth0");
    EXPECT_EQ(settings.items_, followedByTheRest({{Type::SwapUsed, true}, {Type::CpuBars, false}}));
    EXPECT_THAT(settings.custom_colors_, ElementsAre(std::pair("cpuBars", "#123456")));
}

TEST_F(SettingsTest, OnlyTheWordTrueIsTrue) {
    const std::pair<const char*, bool> cases[] = {{"true", true},   {"1", false},     {"TRUE", false},
                                                  {"yes", false},   {"", false},      {" true", false},
                                                  {"true ", false}, {"true\r", false}};
    for (const auto& [value, wanted] : cases) {
        std::string content;
        for (const char* const start : {"[general]\nuseIcons=", "\nautostart=", "\n[items]\ncpuPercent="})
            content.append(start).append(value);
        const Settings settings = with(content);
        EXPECT_EQ(settings.use_icons_, wanted) << value;
        EXPECT_EQ(settings.autostart_, wanted) << value;
        EXPECT_EQ(settings.items_[0], (MenuBarItem{Type::CpuPercent, wanted})) << value;
    }
}

TEST_F(SettingsTest, AnUnknownThemeIsAutomatic) {
    const std::pair<const char*, const char*> cases[] = {
        {"auto", "auto"}, {"light", "light"}, {"dark", "dark"},   {"Dark", "auto"},
        {"", "auto"},     {"dark ", "auto"},  {"dark\r", "auto"}, {"solar", "auto"}};
    for (const auto& [value, wanted] : cases)
        EXPECT_EQ(with("[general]\ntheme=light\ntheme=" + std::string(value) + "\n").theme_, wanted) << value;
}

TEST_F(SettingsTest, MissingItemsFollowInTheirOrder) {
    const std::pair<const char*, Items> cases[] = {
        {"swapUsed=false\n", {{Type::SwapUsed, false}}},
        {"", {}},
        {"gpuPercent=true\ncpuPercent=false\n", {{Type::GpuPercent, true}, {Type::CpuPercent, false}}},
        {"cpuBars=true\ncpuBars=false\n", {{Type::CpuBars, true}, {Type::CpuBars, false}}},
        {"cpuPercent = true\n", {{Type::CpuPercent, false}}},
        {"unheardOf=true\n", {{Type::CpuPercent, true}}},
        {"unheardOf=true\ncpuPercent=false\n", {{Type::CpuPercent, true}, {Type::CpuPercent, false}}},
        {"=true\n", {{Type::CpuPercent, true}}},
        {"cpuBars\n", {}},
        {"#cpuBars=true\n", {}},
        {" #cpuBars=true\n", {{Type::CpuPercent, true}}},
        {"cpuBars=true=true\n", {{Type::CpuBars, false}}},
    };
    for (const auto& [lines, wanted] : cases)
        EXPECT_EQ(with("[items]\n" + std::string(lines)).items_, followedByTheRest(wanted)) << lines;
}

TEST_F(SettingsTest, SectionsAreTakenAsTheyStand) {
    const std::pair<const char*, const char*> cases[] = {
        {"[general]\nlanguage=de\n", "de"},
        {"[general\nlanguage=de\n", "de"},
        {"[general] # ours\nlanguage=de\n", "de"},
        {"[general]]\nlanguage=de\n", "de"},
        {"[general]\n[other]\n[general]\nlanguage=de\n", "de"},
        {"[general]\nlanguage=de", "de"},
        {"[general]\nlanguage=de\nlanguage=fr\n", "fr"},
        {"[general]\nlanguage=de\nlanguage=\n", ""},
        {"language=de\n", ""},
        {"[]\nlanguage=de\n", ""},
        {"[\nlanguage=de\n", ""},
        {"[ general]\nlanguage=de\n", ""},
        {"[General]\nlanguage=de\n", ""},
        {" [general]\nlanguage=de\n", ""},
        {"[general]\n[other]\nlanguage=de\n", ""},
        {"[general]\nLanguage=de\nlanguage =fr\n", ""},
        {"[general]\r\nlanguage=de\n", "de"},
        {"[general]\nlanguage=de\r\n", "de\r"},
    };
    for (const auto& [content, wanted] : cases)
        EXPECT_EQ(with(content).language_, wanted) << content;
}

TEST_F(SettingsTest, ColorsAreKeptWhateverTheirKey) {
    const Settings settings =
        with("[colors]\ncpuPercent=#000000\ncpuPercent=#111111\nother=pink\n=x\nempty=\n");
    EXPECT_THAT(settings.custom_colors_,
                testing::UnorderedElementsAre(std::pair("cpuPercent", "#111111"), std::pair("other", "pink"),
                                              std::pair("", "x"), std::pair("empty", "")));
}

TEST_F(SettingsTest, BytesAreTakenAsTheyStand) {
    using std::string_literals::operator""s;
    for (const std::string& value : {"a\0b"s, "\xff\xfe"s, "<b>&amp;"s, " x "s, std::string(1'000'000, 'x'),
                                     std::string().assign(10'000'000, '=')}) {
        const Settings settings = with("[general]\nselectedGPU=" + value + "\nselectedNetwork=eth0\n");
        EXPECT_EQ(settings.selected_gpu_, value);
        EXPECT_EQ(settings.selected_net_, "eth0");
    }
}

TEST_F(SettingsTest, GarbageMeansDefaults) {
    using std::string_literals::operator""s;
    for (const std::string& content :
         {""s, "\n"s, "\n\n\n"s, "\0\0\0"s, "\xef\xbb\xbf[general]\nuseIcons=true\n"s,
          std::string().assign(10'000'000, 'x'), std::string(1'000'000, '\n'), std::string(1'000'000, '['),
          "[general]\r\rtheme=dark"s}) {
        expectDefaults(with(content));
    }
}

TEST_F(SettingsTest, WhatIsNoReadableFileMeansDefaults) {
    fs::create_directories(file_);
    expectDefaults(Settings());
    fs::remove(file_);
    ASSERT_EQ(mkfifo(file_.c_str(), 0600), 0);
    expectDefaults(Settings());
    fs::remove(file_);
    fs::create_symlink("/dev/zero", file_);
    expectDefaults(Settings());
    fs::remove(file_);
    fs::create_symlink("settings.conf", file_);
    expectDefaults(Settings());
}

// Writing

TEST_F(SettingsTest, WritesTheDefaultsByteForByte) {
    Settings().save();
    EXPECT_EQ(contentOf(file_), kDefaultFile);
}

TEST_F(SettingsTest, WritesEveryChoice) {
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

TEST_F(SettingsTest, AnEmptyChoiceHasNoLine) {
    Settings settings = with("[general]\nlanguage=de\nselectedGPU=g\nselectedNetwork=n\n");
    settings.language_ = settings.selected_gpu_ = settings.selected_net_ = "";
    settings.theme_ = "";
    settings.save();
    EXPECT_EQ(contentOf(file_).substr(0, contentOf(file_).find("\n\n")),
              "[general]\nuseIcons=false\nautostart=false\ntheme=");
}

TEST_F(SettingsTest, WhatWasWrittenIsReadAgain) {
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

TEST_F(SettingsTest, AFileThatCanNotBeWrittenStaysAndTheChangeIsStillTold) {
    writeFile(file_, "[general]\n");
    fs::permissions(file_, fs::perms(0444));
    fs::permissions(home_.path(), fs::perms(0755));
    EXPECT_TRUE(passesInChild([&] {
        dropPrivileges();
        Settings settings;
        int told = 0;
        settings.on_change = [&] { ++told; };
        settings.save();
        EXPECT_EQ(told, 1);
    }));
    EXPECT_EQ(contentOf(file_), "[general]\n");
}

TEST_F(SettingsTest, ASaveCutShortLeavesTheOldFileAndTheChangeIsStillTold) {
    Settings().save();
    EXPECT_TRUE(passesInChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{1000, 1000};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        Settings settings;
        int told = 0;
        settings.on_change = [&] { ++told; };
        settings.selected_gpu_ = std::string(1000, 'x');
        settings.save();
        EXPECT_EQ(told, 1);
    }));
    EXPECT_EQ(contentOf(file_), kDefaultFile);
}

TEST_F(SettingsTest, ADirectoryThatCanNotBeMadeThrows) {
    writeFile(home_ / ".config", "a file");
    Settings settings;
    int told = 0;
    settings.on_change = [&] { ++told; };
    EXPECT_THROW(settings.save(), fs::filesystem_error);
    EXPECT_EQ(told, 0);
}

TEST_F(SettingsTest, TheNewFileIsInPlaceWhenTheChangeIsTold) {
    Settings settings;
    std::string seen;
    settings.on_change = [&] { seen = contentOf(file_); };
    settings.on_theme_change = [] { FAIL() << "only the settings page calls this"; };
    settings.save();
    EXPECT_EQ(seen, kDefaultFile);
}

TEST_F(SettingsTest, ALinkedFileIsWrittenWhereItIs) {
    fs::create_directories(home_ / "dotfiles");
    fs::create_directories(home_.config());
    fs::create_symlink("../../dotfiles/korvalune", file_);
    Settings().save();
    EXPECT_TRUE(fs::is_symlink(file_));
    EXPECT_EQ(contentOf(home_ / "dotfiles/korvalune"), kDefaultFile);
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
    const Items wanted = followedByTheRest(settings_.items_);
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
