#include "settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "scoped_environment.h"
#include "settings_fixture.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using Type = MenuBarItemType;
using Items = std::vector<MenuBarItem>;
using Variables = ScopedEnvironment::Variables;

}  // namespace

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
