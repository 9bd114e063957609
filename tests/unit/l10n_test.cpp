#include "l10n.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "i18n_data.h"
#include "scoped_environment.h"

namespace {

/// The placeholders of a printf format in their order, "%%" left out.
std::vector<std::string> placeholders(std::string_view text) {
    std::vector<std::string> found;
    for (std::size_t at = text.find('%'); at != std::string_view::npos; at = text.find('%', at + 2)) {
        const std::string_view placeholder = text.substr(at, 2);
        if (placeholder != "%%") found.emplace_back(placeholder);
    }
    return found;
}

bool isFormat(std::string_view key) {
    static const std::set<std::string_view> kFormats{"confirm.kill", "confirm.terminate", "cores.label",
                                                     "cores.suffix", "cpu.cores",         "cpu.logical",
                                                     "cpu.physical"};
    return kFormats.contains(key);
}

std::string languageFrom(const ScopedEnvironment::Variables& variables) {
    ScopedEnvironment::Variables all{{"LANGUAGE", std::nullopt},
                                     {"LC_ALL", std::nullopt},
                                     {"LC_MESSAGES", std::nullopt},
                                     {"LANG", std::nullopt}};
    for (const auto& [name, value] : variables)
        all[name] = value;
    const ScopedEnvironment environment(all);
    L10n::setLanguage("auto");
    return L10n::currentLanguage();
}

}  // namespace

class L10nTest : public testing::Test {
protected:
    L10nTest() { L10n::setLanguage("en"); }
    ~L10nTest() override { L10n::setLanguage("en"); }
};

// The tables

TEST(L10nTables, KeysAreUniqueAndSortedAsBytes) {
    EXPECT_EQ(std::size(i18n_data::KEYS), 76u);
    const std::vector<std::string_view> keys(std::begin(i18n_data::KEYS), std::end(i18n_data::KEYS));
    EXPECT_EQ(std::ranges::adjacent_find(keys, std::ranges::greater_equal{}), keys.end());
}

TEST(L10nTables, LanguagesHaveTheirNamesAndDirections) {
    struct Row {
        const char* code;
        const char* native_name;
        bool rtl;
    };
    static constexpr Row kRows[] = {
        {"ar", "العربية", true},       {"bg", "Български", false},   {"bn", "বাংলা", false},
        {"ca", "Català", false},       {"cs", "Čeština", false},     {"da", "Dansk", false},
        {"de", "Deutsch", false},      {"el", "Ελληνικά", false},    {"en", "English", false},
        {"es", "Español", false},      {"fa", "فارسی", true},        {"fi", "Suomi", false},
        {"fr", "Français", false},     {"he", "עברית", true},        {"hi", "हिन्दी", false},
        {"hr", "Hrvatski", false},     {"hu", "Magyar", false},      {"id", "Bahasa Indonesia", false},
        {"it", "Italiano", false},     {"ja", "日本語", false},      {"ko", "한국어", false},
        {"lt", "Lietuvių", false},     {"lv", "Latviešu", false},    {"ms", "Bahasa Melayu", false},
        {"nb", "Norsk bokmål", false}, {"ne", "नेपाली", false},       {"nl", "Nederlands", false},
        {"pl", "Polski", false},       {"pt", "Português", false},   {"ro", "Română", false},
        {"ru", "Русский", false},      {"sk", "Slovenčina", false},  {"sl", "Slovenščina", false},
        {"sr", "Српски", false},       {"sv", "Svenska", false},     {"sw", "Kiswahili", false},
        {"th", "ไทย", false},          {"tl", "Tagalog", false},     {"tr", "Türkçe", false},
        {"uk", "Українська", false},   {"ur", "اردو", true},         {"vi", "Tiếng Việt", false},
        {"zh", "中文", false},         {"zh_TW", "繁體中文", false},
    };
    const auto languages = L10n::available();
    ASSERT_EQ(languages.size(), std::size(kRows));
    for (std::size_t i = 0; i < languages.size(); ++i) {
        EXPECT_EQ(languages[i].code, kRows[i].code);
        EXPECT_EQ(languages[i].native_name, kRows[i].native_name);
        EXPECT_EQ(languages[i].rtl, kRows[i].rtl) << kRows[i].code;
    }
}

TEST(L10nTables, EveryTextOfEveryLanguageIsFitToBeShown) {
    const auto* const english =
        std::ranges::find(i18n_data::LANGS, std::string_view("en"), &i18n_data::LangEntry::code);
    for (const auto& language : i18n_data::LANGS) {
        for (std::size_t i = 0; i < i18n_data::KEY_COUNT; ++i) {
            SCOPED_TRACE(std::string(language.code) + " " + i18n_data::KEYS[i]);
            ASSERT_NE(language.values[i], nullptr);
            const std::string_view text = language.values[i];
            EXPECT_FALSE(text.empty());
            EXPECT_TRUE(g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr));
            EXPECT_TRUE(std::ranges::none_of(text, [](char c) {
                return (c != '\n' && static_cast<unsigned char>(c) < 0x20) || c == 0x7F;
            }));
            if (isFormat(i18n_data::KEYS[i])) {
                EXPECT_EQ(placeholders(text), placeholders(english->values[i]));
            }
        }
    }
}

TEST(L10nTables, EveryFormatFitsTheArgumentsOfItsCaller) {
    using Kinds = std::vector<std::string>;
    const std::pair<const char*, Kinds> cases[] = {
        {"confirm.kill", {"%s"}}, {"confirm.terminate", {"%s"}}, {"cores.label", {"%s", "%d"}},
        {"cores.suffix", {"%d"}}, {"cpu.cores", {"%d"}},         {"cpu.logical", {"%d"}},
        {"cpu.physical", {"%d"}},
    };
    for (const auto& language : i18n_data::LANGS) {
        L10n::setLanguage(language.code);
        for (const auto& [key, kinds] : cases)
            EXPECT_EQ(placeholders(L10n::tr(key)), kinds) << language.code << " " << key;
    }
    L10n::setLanguage("en");
}

// Choosing a language

TEST(L10nEnvironment, ChoosesTheFirstLanguageThereIs) {
    const std::pair<ScopedEnvironment::Variables, const char*> cases[] = {
        {{{"LANG", "de_AT.UTF-8"}}, "de"},
        {{{"LANG", "de"}}, "de"},
        {{{"LANG", "zh_TW.UTF-8"}}, "zh_TW"},
        {{{"LANG", "zh_CN.UTF-8"}}, "zh"},
        {{{"LANG", "pt_BR"}}, "pt"},
        {{{"LANG", "sr_RS@latin"}}, "sr"},
        {{{"LANG", "ca_ES.UTF-8@valencia"}}, "ca"},
        {{{"LANG", "de@euro.UTF-8"}}, "de"},
        {{{"LANG", "zh_HK.UTF-8"}}, "zh"},
        {{{"LANG", "de_DE@euro"}}, "de"},
        {{{"LANG", "no_NO.UTF-8"}}, "en"},
        {{{"LANG", "in_ID"}}, "en"},
        {{{"LANG", "iw"}}, "en"},
        {{{"LANG", "C"}}, "en"},
        {{{"LANG", "C.UTF-8"}}, "en"},
        {{{"LANG", "POSIX"}}, "en"},
        {{{"LANG", "eo"}}, "en"},
        {{{"LANG", ""}}, "en"},
        {{}, "en"},
        {{{"LANGUAGE", "fr:de"}}, "fr"},
        {{{"LANGUAGE", "eo:xx_YY:nb_NO.UTF-8:de"}, {"LANG", "it_IT.UTF-8"}}, "nb"},
        {{{"LANGUAGE", "eo"}, {"LANG", "it_IT.UTF-8"}}, "en"},
        {{{"LANGUAGE", ""}, {"LANG", "it_IT.UTF-8"}}, "it"},
        {{{"LC_ALL", "fi_FI"}, {"LC_MESSAGES", "sv_SE"}, {"LANG", "da_DK"}}, "fi"},
        {{{"LC_MESSAGES", "sv_SE"}, {"LANG", "da_DK"}}, "sv"},
        {{{"LANG", "DE_de"}}, "en"},
        {{{"LANG", "deu_DE"}}, "en"},
        {{{"LANG", "_DE"}}, "en"},
        {{{"LANG", ".UTF-8"}}, "en"},
        {{{"LANG", "@"}}, "en"},
        {{{"LANGUAGE", "\xff\xfe:\x1b[2J:de"}}, "de"},
        {{{"LANG", std::string(100'000, 'x')}}, "en"},
    };
    for (const auto& [variables, wanted] : cases) {
        std::string trace;
        for (const auto& [name, value] : variables)
            trace += name + "=" + value->substr(0, 40) + " ";
        EXPECT_EQ(languageFrom(variables), wanted) << trace;
    }
    L10n::setLanguage("en");
}

TEST(L10nEnvironment, IsReadAgainWithEachAutomaticChoice) {
    EXPECT_EQ(languageFrom({{"LANG", "de_DE"}}), "de");
    const ScopedEnvironment environment({{"LANGUAGE", "ja"},
                                         {"LC_ALL", std::nullopt},
                                         {"LC_MESSAGES", std::nullopt},
                                         {"LANG", std::nullopt}});
    EXPECT_EQ(L10n::currentLanguage(), "de");
    L10n::setLanguage("");
    EXPECT_EQ(L10n::currentLanguage(), "ja");
    L10n::setLanguage("en");
}

TEST(L10nEnvironment, InitKeepsWhatWasAskedForBefore) {
    const ScopedEnvironment environment(ScopedEnvironment::Variables{{"LANGUAGE", "de"}});
    L10n::setLanguage("cs");
    L10n::init();
    EXPECT_EQ(L10n::currentLanguage(), "cs");
    L10n::setLanguage("");
    L10n::init();
    EXPECT_EQ(L10n::currentLanguage(), "de");
    L10n::setLanguage("en");
}

TEST_F(L10nTest, ACodeIsTakenAsItStands) {
    const ScopedEnvironment environment(ScopedEnvironment::Variables{{"LANGUAGE", "fr"}});
    const std::pair<std::string, const char*> cases[] = {
        {"de", "de"},
        {"zh_TW", "zh_TW"},
        {"zh", "zh"},
        {"de_AT", "en"},
        {"de.UTF-8", "en"},
        {"DE", "en"},
        {"AUTO", "en"},
        {" de", "en"},
        {"C", "en"},
        {"xx", "en"},
        {"auto", "fr"},
        {"", "fr"},
        {std::string("de\0", 3), "en"},
        {std::string("\0", 1), "en"},
        {"../../etc/passwd%n%s", "en"},
        {"\xff\xfe", "en"},
        {std::string(1'000'000, 'd'), "en"},
    };
    for (const auto& [code, wanted] : cases) {
        L10n::setLanguage(code);
        EXPECT_EQ(L10n::currentLanguage(), wanted) << code.substr(0, 40);
    }
}

TEST_F(L10nTest, KnowsScriptsWrittenFromRightToLeft) {
    std::vector<std::string> rtl;
    for (const auto& language : i18n_data::LANGS) {
        L10n::setLanguage(language.code);
        if (L10n::isRTL()) rtl.emplace_back(language.code);
    }
    EXPECT_EQ(rtl, (std::vector<std::string>{"ar", "fa", "he", "ur"}));
}

TEST_F(L10nTest, ScriptsWithoutGoodMonospaceFontsGetTheProportionalFamily) {
    const std::set<std::string_view> proportional{"zh", "zh_TW", "ja", "ko", "ar", "fa",
                                                  "ur", "he",    "hi", "ne", "bn", "th"};
    for (const auto& language : i18n_data::LANGS) {
        L10n::setLanguage(language.code);
        EXPECT_STREQ(L10n::uiFontFamily(), proportional.contains(language.code) ? "sans-serif" : "monospace")
            << language.code;
    }
}

// Texts

TEST_F(L10nTest, FindsEveryKeyAndNoOther) {
    const auto* const english =
        std::ranges::find(i18n_data::LANGS, std::string_view("en"), &i18n_data::LangEntry::code);
    for (std::size_t i = 0; i < i18n_data::KEY_COUNT; ++i)
        EXPECT_EQ(L10n::lookup(i18n_data::KEYS[i]), english->values[i]) << i18n_data::KEYS[i];
    for (const char* const key :
         {"", " ", "a", "kill ", "Kill", "kil", "kill.", "yet", "zzz", "\x7f", "\xff"})
        EXPECT_EQ(L10n::lookup(key), nullptr) << key;
    EXPECT_EQ(L10n::lookup(std::string_view("kill\0", 5)), nullptr);
}

TEST_F(L10nTest, TranslatesInTheLanguageInEffect) {
    EXPECT_EQ(L10n::tr("quit"), "Quit");
    EXPECT_EQ(L10n::tr("network.interface.up"), " (up)");
    EXPECT_EQ(L10n::tr("header.cpu"), "CPU%");
    EXPECT_EQ(L10n::tr("about.oss.notice"),
              "Uses GTK3 and libayatana-appindicator (LGPL, dynamically linked).\n"
              "Icons: GNOME Adwaita (LGPL-3.0 / CC-BY-SA-3.0).");
    for (const auto& language : i18n_data::LANGS) {
        L10n::setLanguage(language.code);
        for (std::size_t i = 0; i < i18n_data::KEY_COUNT; ++i)
            EXPECT_EQ(L10n::tr(i18n_data::KEYS[i]), language.values[i]);
    }
}

TEST_F(L10nTest, FillsInArguments) {
    EXPECT_EQ(L10n::tr("confirm.kill", "top"), "Kill top?");
    EXPECT_EQ(L10n::tr("confirm.terminate", ""), "Terminate ?");
    EXPECT_EQ(L10n::tr("cores.suffix", 8), "8 Cores");
    EXPECT_EQ(L10n::tr("cpu.cores", 0), "CPU Cores (0)");
    EXPECT_EQ(L10n::tr("cpu.cores", INT_MIN), "CPU Cores (-2147483648)");
    EXPECT_EQ(L10n::tr("cores.label", "Model", 16), "Model Cores (16)");
    EXPECT_EQ(L10n::tr("cores.label", "100%s %d%n", 2), "100%s %d%n Cores (2)");
    EXPECT_EQ(L10n::tr("confirm.kill", "<b>\n\xff%"), "Kill <b>\n\xff%?");
    EXPECT_EQ(L10n::tr("confirm.kill", std::string("to\0p", 4)), "Kill to?");
}

TEST_F(L10nTest, LeavesWhatNoArgumentFits) {
    EXPECT_EQ(L10n::tr("quit", "top"), "Quit");
    EXPECT_EQ(L10n::tr("confirm.kill", 7), "Kill %s?");
    EXPECT_EQ(L10n::tr("cores.label", "Model"), "Model Cores (%d)");
    EXPECT_EQ(L10n::tr("header.cpu", 7), "CPU%");
}

TEST_F(L10nTest, ReturnsAnUnknownKeyItself) {
    EXPECT_EQ(L10n::tr("no.such.key"), "no.such.key");
    EXPECT_EQ(L10n::tr(""), "");
    EXPECT_EQ(L10n::tr("%s %d", "a", 1), "%s %d");
    EXPECT_EQ(L10n::tr("%s", "a"), "%s");
    EXPECT_EQ(L10n::tr("%d", 1), "%d");
    const std::string long_key(1000, '%');
    EXPECT_EQ(L10n::tr(long_key.c_str(), 1), long_key);
}

TEST_F(L10nTest, CutsLongTextsAtTheBorderOfACharacter) {
    const std::string kill = "Kill ";
    const std::size_t room = 511 - kill.size();
    const auto x = [](std::size_t n) { return std::string(n, 'x'); };
    EXPECT_EQ(L10n::tr("confirm.kill", x(room - 1)), kill + x(room - 1) + "?");
    EXPECT_EQ(L10n::tr("confirm.kill", x(room)), kill + x(room));
    EXPECT_EQ(L10n::tr("confirm.kill", x(10'000'000)), kill + x(room));
    for (const std::string character : {"ß", "日", "😀"}) {
        const std::size_t bytes = character.size();
        for (std::size_t inside = 0; inside <= bytes; ++inside) {
            const std::string before = x(room - inside);
            const std::string wanted = kill + before + (inside == bytes ? character : "");
            EXPECT_EQ(L10n::tr("confirm.kill", before + character + "xxxxx"), wanted) << character << inside;
        }
    }
}

TEST_F(L10nTest, CuttingIsNotLedAstrayByBytesThatAreNoText) {
    const std::string cut = L10n::tr("confirm.kill", std::string(2000, '\x80'));
    EXPECT_GE(cut.size(), 508u);
    EXPECT_LE(cut.size(), 511u);
}

TEST_F(L10nTest, LongTextsWithoutArgumentsAreWhole) {
    for (const auto& language : i18n_data::LANGS) {
        L10n::setLanguage(language.code);
        EXPECT_EQ(L10n::tr("help.sensors.text"), L10n::lookup("help.sensors.text"));
    }
}
