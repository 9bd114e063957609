#include <gmock/gmock.h>
#include <sys/wait.h>

#include <algorithm>
#include <utility>

#include "combo.h"
#include "settings_page.h"
#include "started_anew.h"

using testing::HasSubstr;

namespace {

class SettingsViewPage : public SettingsPageTest {
protected:
    static int leastHeight(GtkWidget* widget) {
        int height = 0;
        gtk_widget_get_preferred_height(widget, &height, nullptr);
        return height;
    }

    /// Turns the wheel down by one notch over a widget.
    static bool wheel(GtkWidget* widget, GdkScrollDirection direction = GDK_SCROLL_DOWN) {
        GdkEvent* const event = gdk_event_new(GDK_SCROLL);
        event->scroll.window = static_cast<GdkWindow*>(g_object_ref(gtk_widget_get_window(widget)));
        event->scroll.direction = direction;
        if (direction == GDK_SCROLL_SMOOTH) event->scroll.delta_y = 1;
        gdk_event_set_device(event,
                             gdk_seat_get_pointer(gdk_display_get_default_seat(gdk_display_get_default())));
        const bool handled = gtk_widget_event(widget, event);
        gdk_event_free(event);
        settle();
        return handled;
    }
};

TEST_F(SettingsViewPage, IsTheScrolledContentAboveTheFooter) {
    show();
    const auto parts = children(page());
    ASSERT_GE(parts.size(), 2U);
    EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(page())), 4);
    ASSERT_TRUE(GTK_IS_SCROLLED_WINDOW(parts[0]));
    GtkPolicyType horizontal{};
    GtkPolicyType vertical{};
    gtk_scrolled_window_get_policy(scrolled(), &horizontal, &vertical);
    EXPECT_EQ(horizontal, GTK_POLICY_NEVER);
    EXPECT_EQ(vertical, GTK_POLICY_AUTOMATIC);
    EXPECT_TRUE(gtk_widget_get_vexpand(parts[0]));
    EXPECT_EQ(parts[0], page_->scroller());
    EXPECT_EQ(leastHeight(parts[0]), 450);
    EXPECT_FALSE(gtk_scrolled_window_get_overlay_scrolling(scrolled()));
    EXPECT_NE(buttonWithText(parts[1], "Apply"), nullptr);
    EXPECT_FALSE(gtk_widget_get_vexpand(parts[1]));
}

TEST_F(SettingsViewPage, MayBeMadeLower) {
    show();
    const int before = leastHeight(page());
    gtk_widget_set_size_request(page_->scroller(), -1, 150);
    EXPECT_EQ(leastHeight(page()), before - 300);
}

TEST_F(SettingsViewPage, HasTheSectionsInTheirOrder) {
    make();
    const std::vector<std::string> wanted{"Panel Display",
                                          "Toggle displays and change order",
                                          "CPU %",
                                          "Autostart",
                                          "Launch at Login",
                                          "Language:",
                                          "Theme:",
                                          "Devices",
                                          "GPU:",
                                          "NET:",
                                          "Apply"};
    std::vector<std::string> found;
    for (const std::string& text : labelTexts(page())) {
        if (std::ranges::find(wanted, text) != wanted.end()) found.push_back(text);
    }
    EXPECT_EQ(found, wanted);
    EXPECT_EQ(widgetsOfType(page(), GTK_TYPE_SEPARATOR).size(), 4U);
}

TEST_F(SettingsViewPage, FitsIntoThePopupWithNothingUnderTheBar) {
    show();
    EXPECT_LE(gtk_widget_get_allocated_width(page()), kWidth);
    int bar = -1;
    gtk_widget_translate_coordinates(gtk_scrolled_window_get_vscrollbar(scrolled()), page(), 0, 0, &bar,
                                     nullptr);
    ASSERT_GT(bar, 300);
    for (GtkWidget* widget : widgetsOfType(GTK_WIDGET(scrolled()), GTK_TYPE_BUTTON)) {
        int x = -1;
        gtk_widget_translate_coordinates(widget, page(), 0, 0, &x, nullptr);
        EXPECT_GE(x, 0);
        EXPECT_LE(x + gtk_widget_get_allocated_width(widget), bar) << G_OBJECT_TYPE_NAME(widget);
    }
}

TEST_F(SettingsViewPage, AButtonKnowsWhatItApplies) {
    make();
    EXPECT_NE(g_object_get_data(G_OBJECT(buttonWithText(page(), "Apply")), "lad"), nullptr);
}

TEST_F(SettingsViewPage, TheWheelOverAListScrollsThePage) {
    writeFile(file_, "[general]\ntheme=light\n");
    show();
    for (const Combo which : {Language, Theme, Gpu, Net}) {
        for (const GdkScrollDirection direction : {GDK_SCROLL_DOWN, GDK_SCROLL_SMOOTH}) {
            gtk_adjustment_set_value(position(), 0);
            const int before = gtk_combo_box_get_active(combo(which));
            EXPECT_TRUE(wheel(GTK_WIDGET(combo(which)), direction));
            EXPECT_GT(gtk_adjustment_get_value(position()), 0) << which;
            EXPECT_EQ(gtk_combo_box_get_active(combo(which)), before);
        }
        EXPECT_TRUE(wheel(GTK_WIDGET(combo(which)), GDK_SCROLL_UP));
        EXPECT_EQ(gtk_adjustment_get_value(position()), 0);
    }
    EXPECT_EQ(changes_, 0);
}

TEST_F(SettingsViewPage, TheWheelScrollsTheNearestAndNotWhatIsAround) {
    show();
    gtk_widget_set_size_request(page(), -1, 2000);
    settleFor(50);
    GtkAdjustment* const around = gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(outer_));
    ASSERT_GT(gtk_adjustment_get_upper(around), gtk_adjustment_get_page_size(around));
    EXPECT_TRUE(wheel(GTK_WIDGET(combo(Theme))));
    EXPECT_EQ(gtk_adjustment_get_value(around), 0);
}

TEST_F(SettingsViewPage, TheWheelOutsideOfAnyScrolledWindowDoesNothing) {
    GtkWidget* const window = gtk_window_new(GTK_WINDOW_POPUP);
    GtkWidget* const combo = newCombo();
    fillCombo(combo, {"a", "b", "c"}, 1);
    gtk_container_add(GTK_CONTAINER(window), combo);
    gtk_widget_show_all(window);
    settle();
    EXPECT_TRUE(wheel(combo));
    EXPECT_EQ(gtk_combo_box_get_active(GTK_COMBO_BOX(combo)), 1);
    gtk_widget_destroy(window);
}

TEST_F(SettingsViewPage, MayEndBeforeItsWindowAndAfterIt) {
    show();
    page_.reset();
    settle();
    gtk_widget_destroy(std::exchange(window_, nullptr));
    show();
    gtk_widget_destroy(std::exchange(window_, nullptr));
    settle();
    page_.reset();
    EXPECT_EQ(changes_, 0);
}

/// Applying a language ends the process, so that these run in one of their own: this test program, started
/// anew for a single test that runs no other way.
class SettingsViewApply : public SettingsPageTest {
protected:
    TemporaryDirectory directory_;
    std::string report_ = directory_ / "report";

    /// Chooses German there; the exit status.
    int applyAlone(const char* variable, const std::string& value) const {
        const std::string path = std::filesystem::read_symlink("/proc/self/exe");
        const pid_t child = fork();
        if (child == 0) {
            setenv("TMPDIR", directory_.path().c_str(), 1);
            setenv(variable, value.c_str(), 1);
            for (const char* const part : {"GTEST_TOTAL_SHARDS", "GTEST_SHARD_INDEX"})
                unsetenv(part);  // all of it is the one test
            execl(path.c_str(), path.c_str(), "--gtest_also_run_disabled_tests",
                  "--gtest_filter=SettingsViewApply.DISABLED_ChoosesGerman", nullptr);
            _exit(9);
        }
        int status = -1;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

constexpr const char* kReportOfApply = "KORVALUNE_TEST_APPLY";

TEST_F(SettingsViewApply, DISABLED_ChoosesGerman) {
    make();
    if (const char* const report = g_getenv(kReportOfApply)) setenv(kReportVariable, report, 1);
    gtk_combo_box_set_active(combo(Language), 7);
    const auto apply = [](gpointer button) -> gboolean {
        click(GTK_WIDGET(button));
        return G_SOURCE_REMOVE;
    };
    g_idle_add(apply, buttonWithText(page(), "Apply"));
    gtk_main();
    EXPECT_THAT(contentOf(file_), HasSubstr("language=de\n"));
    EXPECT_EQ(changes_, 1);
}

TEST_F(SettingsViewApply, ANewLanguageStartsTheProgramAnew) {
    EXPECT_EQ(applyAlone(kReportOfApply, report_), 0);
    const auto report = awaitReport(report_);
    ASSERT_TRUE(report);
    EXPECT_EQ(report->arguments, std::string(std::filesystem::read_symlink("/proc/self/exe")) + '\0');
}

TEST_F(SettingsViewApply, InTheConfinedPackageEndsTheProgram) {
    EXPECT_EQ(applyAlone("SNAP", "/snap/korvalune/1"), 1);
    std::string saved;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory_.path())) {
        if (entry.path().filename() == "settings.conf") saved = contentOf(entry.path());
    }
    EXPECT_THAT(saved, HasSubstr("language=de\n"));
}

}  // namespace
