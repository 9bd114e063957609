#include <gmock/gmock.h>

#include <algorithm>

#include "icon_helper.h"
#include "settings_page.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

namespace fs = std::filesystem;

std::string devLine(const std::string& name) {
    return name + ": 1 0 0 0 0 0 0 0 1 0 0 0 0 0 0 0\n";
}

/// Empty for no picture.
std::string bytesOf(const GdkPixbuf* picture) {
    if (!picture) return "";
    const auto* const bytes = reinterpret_cast<const char*>(gdk_pixbuf_read_pixels(picture));
    return {bytes, gdk_pixbuf_get_byte_length(picture)};
}

class SettingsViewChoices : public SettingsPageTest {
protected:
    int active(Combo which) const { return gtk_combo_box_get_active(combo(which)); }
    void choose(Combo which, int index) const { gtk_combo_box_set_active(combo(which), index); }
    std::string saved() const { return contentOf(file_); }

    GtkWidget* autostart() const { return widgetsOfType(page(), GTK_TYPE_CHECK_BUTTON).back(); }
    void expectAutostartShown(bool on) const {
        EXPECT_EQ(gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(autostart())), on);
        GtkWidget* const image = only(gtk_widget_get_parent(autostart()), GTK_TYPE_IMAGE);
        EXPECT_TRUE(gtk_widget_get_visible(image));
        GdkPixbuf* wanted = makeIconPixbuf(on ? "emblem-ok-symbolic" : "radio-symbolic", nullptr);
        EXPECT_EQ(bytesOf(gtk_image_get_pixbuf(GTK_IMAGE(image))), bytesOf(wanted));
        g_clear_object(&wanted);
    }
    fs::path autostartFile() const { return home_ / ".config/autostart/Korvalune.desktop"; }

    void machine(std::string_view name) const {
        fs::copy(fixtureRoot(name), kernel_.root(), fs::copy_options::recursive);
    }
    void interfaces(const std::vector<std::string>& names) {
        std::string text = "headers\nheaders\n";
        for (const std::string& name : names)
            text += devLine(name);
        kernel_.file("/proc/net/dev", text);
    }
    void setUp(const std::string& name) {
        kernel_.file("/sys/class/net/" + name + "/operstate", "up\n")
            .file("/sys/class/net/" + name + "/statistics/rx_bytes", "5\n");
    }
};

TEST_F(SettingsViewChoices, AutostartIsSavedAndMakesTheEntry) {
    make();
    GtkWidget* const check = autostart();
    EXPECT_FALSE(gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(check)));
    toggle(check);
    EXPECT_EQ(changes_, 1);
    EXPECT_THAT(saved(), HasSubstr("autostart=true\n"));
    EXPECT_TRUE(fs::exists(autostartFile()));
    toggle(check);
    EXPECT_EQ(changes_, 2);
    EXPECT_THAT(saved(), HasSubstr("autostart=false\n"));
    EXPECT_FALSE(fs::exists(autostartFile()));
}

TEST_F(SettingsViewChoices, AutostartStartsAsTheFileSays) {
    writeFile(file_, "[general]\nautostart=true\n");
    make();
    EXPECT_TRUE(gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(autostart())));
    EXPECT_EQ(changes_, 0);
}

TEST_F(SettingsViewChoices, AutostartHasAnImageOfItsState) {
    make();
    expectAutostartShown(false);
    toggle(autostart());
    expectAutostartShown(true);
    toggle(autostart());
    expectAutostartShown(false);
}

TEST_F(SettingsViewChoices, AutostartThatCanNotBeSavedStaysAsItWas) {
    for (const bool before : {false, true}) {
        fs::remove_all(home_ / ".config");
        writeFile(file_, before ? "[general]\nautostart=true\n" : "");
        make();
        blockConfig();
        toggle(autostart());
        EXPECT_EQ(settings_->autostart_, before);
        expectAutostartShown(before);
    }
    EXPECT_EQ(changes_, 0);
}

TEST_F(SettingsViewChoices, AutostartThatCanNotBeSavedCanBeTriedAgain) {
    make();
    blockConfig();
    toggle(autostart());
    fs::remove(home_ / ".config");
    toggle(autostart());
    EXPECT_TRUE(settings_->autostart_);
    EXPECT_TRUE(fs::exists(autostartFile()));
    expectAutostartShown(true);
}

TEST_F(SettingsViewChoices, AutostartWithoutItsEntryIsSavedAsOff) {
    make();
    writeFile(home_ / ".config/autostart", "in the way");
    toggle(autostart());
    EXPECT_FALSE(settings_->autostart_);
    EXPECT_THAT(saved(), HasSubstr("autostart=false\n"));
    expectAutostartShown(false);
}

TEST_F(SettingsViewChoices, LanguagesAreListedByTheirOwnNames) {
    make();
    const auto texts = entries(combo(Language));
    ASSERT_EQ(texts.size(), 45U);
    EXPECT_EQ(texts[0], "Automatic");
    EXPECT_EQ(texts[1], "العربية");
    EXPECT_EQ(texts[7], "Deutsch");
    EXPECT_EQ(texts[44], "繁體中文");
}

TEST_F(SettingsViewChoices, TheLanguageOfTheFileIsTheActiveOne) {
    const struct {
        const char* line;
        int index;
    } cases[] = {{"", 0},
                 {"language=auto", 0},
                 {"language=de", 7},
                 {"language=zh_TW", 44},
                 {"language=xx", 0},
                 {"language=\xff\xfe", 0}};
    for (const auto& [line, index] : cases) {
        writeFile(file_, std::string("[general]\n") + line + "\n");
        make();
        EXPECT_EQ(active(Language), index) << line;
    }
}

TEST_F(SettingsViewChoices, ALanguageWaitsForApply) {
    make();
    choose(Language, 7);
    EXPECT_EQ(changes_, 0);
    EXPECT_EQ(settings_->language_, "");
    EXPECT_FALSE(fs::exists(file_));
}

TEST_F(SettingsViewChoices, ApplyingTheSameLanguageDoesNothing) {
    const struct {
        const char* line;
        int index;
    } cases[] = {{"", 0}, {"language=auto", 0}, {"language=de", 7}, {"language=de", -1}};
    for (const auto& [line, index] : cases) {
        writeFile(file_, std::string("[general]\n") + line + "\n");
        const std::string before = saved();
        make();
        choose(Language, index);
        click(buttonWithText(page(), "Apply"));
        EXPECT_EQ(changes_, 0) << line;
        EXPECT_EQ(saved(), before);
    }
}

TEST_F(SettingsViewChoices, ALanguageThatCanNotBeSavedCanBeTriedAgain) {
    make();
    blockConfig();
    choose(Language, 7);
    click(buttonWithText(page(), "Apply"));
    EXPECT_EQ(settings_->language_, "");
    EXPECT_EQ(active(Language), 7);
}

TEST_F(SettingsViewChoices, ALanguageThatCanNotBeWrittenDoesNotRestartTheProgram) {
    fs::create_directories(file_);
    make();
    choose(Language, 7);
    click(buttonWithText(page(), "Apply"));
    EXPECT_EQ(changes_, 1) << "the file was tried";
    EXPECT_EQ(settings_->language_, "");
}

TEST_F(SettingsViewChoices, TheThemeIsSavedAndAppliedAtOnce) {
    make();
    EXPECT_THAT(entries(combo(Theme)), ElementsAre("Automatic", "Light", "Dark"));
    EXPECT_EQ(active(Theme), 0);
    const std::string names[] = {"auto", "light", "dark"};
    int times = 0;
    for (const int index : {2, 1, 0}) {
        choose(Theme, index);
        ++times;
        EXPECT_THAT(saved(), HasSubstr("theme=" + names[index] + "\n"));
        EXPECT_EQ(changes_, times);
        EXPECT_EQ(theme_changes_, times);
    }
    choose(Theme, -1);
    EXPECT_EQ(settings_->theme_, "auto");
    EXPECT_EQ(changes_, times);
    EXPECT_EQ(theme_changes_, times);
}

TEST_F(SettingsViewChoices, TheThemeOfTheFileIsTheActiveOne) {
    const struct {
        const char* text;
        int index;
    } cases[] = {{"light", 1}, {"dark", 2}, {"auto", 0}, {"Dark", 0}, {"<b>", 0}};
    for (const auto& [text, index] : cases) {
        writeFile(file_, std::string("[general]\ntheme=") + text + "\n");
        make();
        EXPECT_EQ(active(Theme), index) << text;
    }
}

TEST_F(SettingsViewChoices, AThemeFromElsewhereIsTakenAsAutomatic) {
    make();
    settings_->theme_ = "solarized";
    page_ = std::make_unique<SettingsView>(*settings_, *info_);
    EXPECT_EQ(active(Theme), 0);
}

TEST_F(SettingsViewChoices, TheFirstGpuIsShownAsLongAsNoneIsChosen) {
    machine("gpu-two");
    make();
    ASSERT_GE(entries(combo(Gpu)).size(), 2U);
    EXPECT_EQ(active(Gpu), 0);
    choose(Gpu, 1);
    EXPECT_EQ(changes_, 1);
    const std::string name = info_->gpu_service_.gpus()[1].name;
    EXPECT_EQ(settings_->selected_gpu_, name);
    EXPECT_THAT(saved(), HasSubstr("selectedGPU=" + name + "\n"));
    make();
    EXPECT_EQ(active(Gpu), 1);
}

TEST_F(SettingsViewChoices, AMachineWithoutGpuSaysSo) {
    make();
    EXPECT_THAT(entries(combo(Gpu)), ElementsAre("No GPU detected"));
    EXPECT_EQ(active(Gpu), 0);
}

TEST_F(SettingsViewChoices, AGpuStaysChosenWhenItsNameBecomesKnown) {
    programs_.script("lspci", "echo \"VGA: Board at $2\"");
    machine("gpu-sleeping");
    make();
    const auto names = entries(combo(Gpu));
    const auto unnamed = std::ranges::find(names, "AMD GPU");
    ASSERT_NE(unnamed, names.end());
    const auto index = static_cast<int>(unnamed - names.begin());
    settings_->selected_gpu_ = "AMD GPU";
    kernel_.file("/sys/class/drm/card1/device/power/runtime_status", "active\n");
    info_->gpu_service_.getAllGPUUsage(false);
    page_->refreshDevices();
    EXPECT_EQ(active(Gpu), index);
    EXPECT_EQ(entries(combo(Gpu)).at(static_cast<std::size_t>(index)), "Board at 0000:03:00.0");
}

TEST_F(SettingsViewChoices, AGpuThatIsAbsentStaysChosen) {
    writeFile(file_, "[general]\nselectedGPU=Other GPU\n");
    machine("gpu-two");
    show();
    EXPECT_EQ(active(Gpu), -1);
    page_->refreshDevices();
    EXPECT_EQ(active(Gpu), -1);
    EXPECT_EQ(settings_->selected_gpu_, "Other GPU");
    EXPECT_EQ(changes_, 0);
    choose(Gpu, 0);
    EXPECT_EQ(settings_->selected_gpu_, info_->gpu_service_.gpus()[0].name);
}

TEST_F(SettingsViewChoices, TheInterfaceMeasuredIsShownAsLongAsNoneIsChosen) {
    interfaces({"eth0", "wlan0"});
    setUp("wlan0");
    make();
    EXPECT_THAT(entries(combo(Net)), ElementsAre("wlan0 (up)", "eth0"));
    EXPECT_EQ(active(Net), 0);
    choose(Net, 1);
    EXPECT_EQ(changes_, 1);
    EXPECT_EQ(settings_->selected_net_, "eth0");
    EXPECT_THAT(saved(), HasSubstr("selectedNetwork=eth0\n"));
    EXPECT_EQ(info_->network_service_.selectedInterface(), "eth0");
}

TEST_F(SettingsViewChoices, NoInterfaceIsShownWhenAllAreMeasured) {
    interfaces({"eth0", "wlan0"});
    make();
    EXPECT_EQ(entries(combo(Net)).size(), 2U);
    EXPECT_EQ(active(Net), -1);
}

TEST_F(SettingsViewChoices, ANewInterfaceStartsItsMeasuringAnew) {
    interfaces({"eth0", "wlan0"});
    make();
    kernel_.file("/proc/net/dev", "a\nb\neth0: 1000 0 0 0 0 0 0 0 1000\nwlan0: 9000 0 0 0 0 0 0 0 9000\n");
    const auto start = NetworkService::Clock::now();
    choose(Net, 1);
    const NetworkSpeed speed = info_->network_service_.getSpeed(start + std::chrono::seconds(10));
    EXPECT_EQ(speed.bytes_down_per_sec, 0);
}

TEST_F(SettingsViewChoices, ThePanelIsToldOfANewInterfaceWithoutTheOldOnesSpeed) {
    interfaces({"eth0", "wlan0"});
    make();
    info_->network_speed = {.bytes_up_per_sec = 100, .bytes_down_per_sec = 200};
    settings_->on_change = [this] {
        ++changes_;
        EXPECT_EQ(info_->network_speed.bytes_up_per_sec, 0);
        EXPECT_EQ(info_->network_speed.bytes_down_per_sec, 0);
        EXPECT_EQ(info_->network_service_.selectedInterface(), settings_->selected_net_);
    };
    choose(Net, 1);
    EXPECT_EQ(changes_, 1);
    EXPECT_FALSE(settings_->selected_net_.empty());
}

TEST_F(SettingsViewChoices, AnInterfaceThatIsAbsentStaysChosenAndIsFoundAgain) {
    writeFile(file_, "[general]\nselectedNetwork=usb0\n");
    interfaces({"eth0"});
    setUp("eth0");
    show();
    EXPECT_EQ(active(Net), -1);
    interfaces({"eth0", "usb0"});
    page_->refreshDevices();
    EXPECT_EQ(active(Net), 1);
    interfaces({"eth0"});
    page_->refreshDevices();
    EXPECT_EQ(active(Net), -1);
    EXPECT_EQ(settings_->selected_net_, "usb0");
    EXPECT_EQ(changes_, 0);
    EXPECT_FALSE(saved().empty());
}

TEST_F(SettingsViewChoices, RefreshingShowsWhatIsThereNowAndSavesNothing) {
    show();
    EXPECT_TRUE(entries(combo(Net)).empty());
    std::vector<std::string> names;
    names.reserve(40);
    for (int i = 0; i < 40; ++i)
        names.push_back("veth" + std::to_string(i));
    interfaces(names);
    setUp("veth7");
    page_->refreshDevices();
    EXPECT_EQ(entries(combo(Net)).size(), 40U);
    EXPECT_EQ(entries(combo(Net))[0], "veth7 (up)");
    choose(Net, 39);
    EXPECT_EQ(changes_, 1);
    const std::string chosen = settings_->selected_net_;
    setUp(chosen);
    page_->refreshDevices();
    EXPECT_EQ(entries(combo(Net))[static_cast<std::size_t>(active(Net))], chosen + " (up)");
    EXPECT_EQ(changes_, 1);
}

TEST_F(SettingsViewChoices, NamesAreShownAsTextAndStoredAsTheyAre) {
    const std::string wild = "a\xff<b>&\xe2\x80\xae";
    interfaces({wild, "eth0"});
    show();
    const auto texts = entries(combo(Net));
    ASSERT_EQ(texts.size(), 2U);
    const std::size_t index = texts[0] == "eth0" ? 1 : 0;
    EXPECT_EQ(texts[index], "a\uFFFD<b>&\uFFFD");
    choose(Net, static_cast<int>(index));
    EXPECT_EQ(settings_->selected_net_, wild);
    EXPECT_THAT(saved(), HasSubstr("selectedNetwork=" + wild + "\n"));
}

TEST_F(SettingsViewChoices, GpuNamesAreShownAsTextAndStoredAsTheyAre) {
    programs_.script("lspci", R"(printf '%s VGA compatible controller: <b>&\377 %s\n' "$2" "$2")");
    machine("gpu-two");
    show();
    ASSERT_EQ(entries(combo(Gpu)).size(), 2U);
    EXPECT_THAT(entries(combo(Gpu))[1], StartsWith("<b>&\uFFFD "));
    choose(Gpu, 1);
    EXPECT_THAT(settings_->selected_gpu_, StartsWith("<b>&\xff "));
    EXPECT_THAT(saved(), HasSubstr("selectedGPU=" + settings_->selected_gpu_ + "\n"));
    make();
    EXPECT_EQ(active(Gpu), 1);
}

TEST_F(SettingsViewChoices, ALongNameMakesThePageNoWider) {
    programs_.script("lspci", "echo \"VGA compatible controller: " + std::string(200, 'w') + "\"");
    machine("gpu-two");
    show();
    EXPECT_EQ(entries(combo(Gpu))[0].size(), 200U);
    int width = 0;
    gtk_widget_get_preferred_width(page(), &width, nullptr);
    EXPECT_LE(width, kWidth);
}

TEST_F(SettingsViewChoices, SurviveAPlaceThatCanNotBeWritten) {
    interfaces({"eth0", "eth1"});
    machine("gpu-two");
    show();
    blockConfig();
    toggle(autostart());
    choose(Theme, 2);
    EXPECT_EQ(settings_->theme_, "dark");
    EXPECT_EQ(theme_changes_, 1);
    choose(Gpu, 1);
    choose(Net, 1);
    EXPECT_EQ(info_->network_service_.selectedInterface(), settings_->selected_net_);
    EXPECT_EQ(changes_, 0);
}

}  // namespace
