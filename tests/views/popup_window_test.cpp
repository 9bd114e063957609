#include "popup_window.h"

#include <gdk/gdkkeysyms.h>
#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "fake_kernel.h"
#include "shown_popup.h"
#include "user_home.h"

namespace {

class PopupWindowTest : public testing::Test {
protected:
    PopupWindowTest() : info_(fixtureRoot("desktop-4core")) { popup_.emplace(info_, settings_); }

    void SetUp() override { ASSERT_EQ(shownPopup(), nullptr); }

    /// Long enough for the crossfade and for what waits in the main loop.
    static void settleFully() {
        for (int turn = 0; turn < 20; ++turn) {
            settle();
            g_usleep(10'000);
        }
        settle();
    }

    static std::string visiblePage() {
        return gtk_stack_get_visible_child_name(GTK_STACK(widgetsOfType(shownPopup(), GTK_TYPE_STACK)[0]));
    }

    static GtkWidget* gear() {
        const auto buttons = widgetsOfType(shownPopup(), GTK_TYPE_BUTTON);
        for (GtkWidget* button : buttons) {
            if (gtk_style_context_has_class(gtk_widget_get_style_context(button), "settings-btn"))
                return button;
        }
        return nullptr;
    }

    static std::vector<int> size() {
        int width = 0;
        int height = 0;
        gtk_window_get_size(GTK_WINDOW(shownPopup()), &width, &height);
        return {width, height};
    }

    static std::vector<int> position() {
        int x = 0;
        int y = 0;
        gtk_window_get_position(GTK_WINDOW(shownPopup()), &x, &y);
        return {x, y};
    }

    /// A click at a place relative to the popup, as the grab delivers it.
    static void click(double x, double y) {
        GtkWidget* const window = shownPopup();
        GdkEvent* const event = gdk_event_new(GDK_BUTTON_PRESS);
        event->button.window = GDK_WINDOW(g_object_ref(gtk_widget_get_window(window)));
        event->button.button = 1;
        event->button.x = x;
        event->button.y = y;
        event->button.x_root = position()[0] + x;
        event->button.y_root = position()[1] + y;
        gdk_event_set_device(event,
                             gdk_seat_get_pointer(gdk_display_get_default_seat(gdk_display_get_default())));
        gtk_main_do_event(event);
        gdk_event_free(event);
    }

    /// A finger on the screen, at a place relative to the popup; whether it went no further than the popup.
    static bool touch(GdkEventType type, double x, double y) {
        GtkWidget* const window = shownPopup();
        GdkEvent* const event = gdk_event_new(type);
        event->touch.window = GDK_WINDOW(g_object_ref(gtk_widget_get_window(window)));
        event->touch.x_root = position()[0] + x;
        event->touch.y_root = position()[1] + y;
        gboolean handled = FALSE;
        g_signal_emit_by_name(window, "touch-event", event, &handled);
        gdk_event_free(event);
        return handled != FALSE;
    }

    UserHome home_;
    SystemInfo info_;
    Settings settings_;
    std::optional<PopupWindow> popup_;
};

TEST_F(PopupWindowTest, IsAMenuLikeWindowWhosePagesHaveSizesOfTheirOwn) {
    popup_->showTab(0, 640, 10);
    GtkWidget* const window = shownPopup();
    EXPECT_EQ(gtk_window_get_type_hint(GTK_WINDOW(window)), GDK_WINDOW_TYPE_HINT_POPUP_MENU);
    EXPECT_EQ(gtk_container_get_border_width(GTK_CONTAINER(window)), 6U);
    auto* const stack = GTK_STACK(widgetsOfType(window, GTK_TYPE_STACK)[0]);
    EXPECT_EQ(gtk_stack_get_transition_type(stack), GTK_STACK_TRANSITION_TYPE_CROSSFADE);
    EXPECT_EQ(gtk_stack_get_transition_duration(stack), 100U);
    EXPECT_FALSE(gtk_stack_get_hhomogeneous(stack));
    EXPECT_FALSE(gtk_stack_get_vhomogeneous(stack));
}

TEST_F(PopupWindowTest, OnlyAPageThatIsShownFollowsTheSamples) {
    popup_->showTab(0, 640, 10);
    GtkWidget* const window = shownPopup();
    const auto follow = [&](double usage) {
        info_.average_cpu = usage;
        popup_->updateViews();
    };
    follow(11);
    EXPECT_NE(labelWithText(window, "CPU: 11.0%"), nullptr);
    popup_->hide();
    follow(22);
    EXPECT_EQ(labelWithText(window, "CPU: 22.0%"), nullptr) << "hidden";
    popup_->showTab(4, 640, 10);
    follow(33);
    EXPECT_EQ(labelWithText(window, "CPU: 33.0%"), nullptr) << "behind another page";
    info_.average_cpu = 44;
    popup_->showTab(0, 640, 10);
    EXPECT_NE(labelWithText(window, "CPU: 44.0%"), nullptr);
}

TEST_F(PopupWindowTest, IsNotShownAtFirst) {
    EXPECT_FALSE(popup_->isVisible());
}

struct TabCase {
    int tab;
    const char* page;
    const char* title;
    int width;
    int least_height;
};

void PrintTo(const TabCase& tab, std::ostream* out) {
    *out << tab.page;
}

class EachTab : public PopupWindowTest, public testing::WithParamInterface<TabCase> {};

TEST_P(EachTab, ShowsItsPageInItsSize) {
    const TabCase& expected = GetParam();
    popup_->showTab(expected.tab, 640, 10);
    settleFully();
    EXPECT_EQ(visiblePage(), expected.page);
    EXPECT_EQ(info_.active_tab, expected.page);
    EXPECT_NE(labelWithText(shownPopup(), expected.title), nullptr);
    EXPECT_EQ(size()[0], expected.width);
    EXPECT_GE(size()[1], expected.least_height);
    EXPECT_EQ(position(), (std::vector<int>{640 - expected.width / 2, 4}));
}

INSTANTIATE_TEST_SUITE_P(Tabs, EachTab,
                         testing::Values(TabCase{0, "cpu", "CPU", 420, 550},
                                         TabCase{1, "gpu", "GPU", 420, 100},
                                         TabCase{2, "processes", "All Processes", 520, 550},
                                         TabCase{3, "myProcesses", "My Processes", 520, 550},
                                         TabCase{4, "help", "Help", 420, 500},
                                         TabCase{5, "about", "About", 450, 100}),
                         [](const auto& test) { return std::string(test.param.page); });

TEST_F(PopupWindowTest, SettingsHaveTheirOwnSize) {
    popup_->showSettings(640, 10);
    settleFully();
    EXPECT_EQ(visiblePage(), "settings");
    EXPECT_EQ(size(), (std::vector<int>{420, 600}));
}

TEST_F(PopupWindowTest, ANaturalHeightIsNoHigherThanItsPage) {
    popup_->showTab(2, 640, 10);
    settleFully();
    popup_->showTab(1, 640, 10);
    settleFully();
    EXPECT_LT(size()[1], 300);
}

TEST_F(PopupWindowTest, TheGearGoesToTheSettingsAndFromThereToTheCpuPage) {
    popup_->showTab(3, 640, 10);
    settleFully();
    const auto before = size();
    gtk_button_clicked(GTK_BUTTON(gear()));
    settleFully();
    EXPECT_EQ(visiblePage(), "settings");
    EXPECT_EQ(size(), before);
    gtk_button_clicked(GTK_BUTTON(gear()));
    settleFully();
    EXPECT_EQ(visiblePage(), "cpu");
    EXPECT_EQ(info_.active_tab, "cpu");
    EXPECT_NE(labelWithText(shownPopup(), "My Processes"), nullptr);
    EXPECT_EQ(size(), before);
}

TEST_F(PopupWindowTest, TheGearMakesALowWindowHighEnoughForTheSettings) {
    popup_->showTab(1, 640, 10);
    settleFully();
    popup_->toggleSettings();
    settleFully();
    EXPECT_GE(size()[1], 450);
}

TEST_F(PopupWindowTest, AHiddenPopupAsksForNoSamples) {
    popup_->showTab(2, 640, 10);
    EXPECT_EQ(info_.active_tab, "processes");
    popup_->hide();
    EXPECT_FALSE(popup_->isVisible());
    EXPECT_EQ(info_.active_tab, "cpu");
}

TEST_F(PopupWindowTest, ProcessPagesAreSampledAtOnce) {
    info_.top_processes.clear();
    popup_->showTab(2, 640, 10);
    EXPECT_EQ(info_.top_processes.size(), info_.process_service_.getProcesses().top.size());
}

TEST_F(PopupWindowTest, TheGpuPageIsSampledAtOnce) {
    info_.gpu_usages.clear();
    popup_->showTab(1, 640, 10);
    EXPECT_FALSE(info_.gpu_usages.empty());
}

TEST_F(PopupWindowTest, AClickBesideItHidesIt) {
    for (const auto& [x, y] :
         std::vector<std::pair<double, double>>{{-1, 10}, {10, -1}, {421, 10}, {10, 700}}) {
        popup_->showTab(0, 640, 10);
        settleFully();
        click(x, y);
        EXPECT_FALSE(popup_->isVisible()) << x << ',' << y;
    }
}

TEST_F(PopupWindowTest, ATapBesideItHidesIt) {
    popup_->showTab(0, 640, 10);
    settleFully();
    EXPECT_FALSE(touch(GDK_TOUCH_BEGIN, 200, 300));
    EXPECT_FALSE(touch(GDK_TOUCH_UPDATE, -1, 10)) << "begun within it";
    EXPECT_FALSE(touch(GDK_TOUCH_END, -1, 10));
    EXPECT_TRUE(popup_->isVisible());
    EXPECT_TRUE(touch(GDK_TOUCH_BEGIN, -1, 10));
    EXPECT_FALSE(popup_->isVisible());
}

TEST_F(PopupWindowTest, AClickInItDoesNot) {
    popup_->showTab(0, 640, 10);
    settleFully();
    click(0, 0);
    click(420, 550);
    click(200, 300);
    EXPECT_TRUE(popup_->isVisible());
}

TEST_F(PopupWindowTest, EscapeHidesItAndOtherKeysDoNot) {
    popup_->showTab(0, 640, 10);
    settleFully();
    EXPECT_FALSE(pressKey(GDK_KEY_a));
    EXPECT_TRUE(popup_->isVisible());
    EXPECT_TRUE(pressKey(GDK_KEY_Escape));
    EXPECT_FALSE(popup_->isVisible());
}

TEST_F(PopupWindowTest, TheBackButtonHidesIt) {
    popup_->showTab(4, 640, 10);
    settleFully();
    gtk_button_clicked(GTK_BUTTON(buttonWithText(shownPopup(), "◀ Back")));
    EXPECT_FALSE(popup_->isVisible());
}

TEST_F(PopupWindowTest, ShowsAgainAndAgain) {
    for (int turn = 0; turn < 30; ++turn) {
        popup_->showTab(turn % 7, turn * 50, 10);
        if (turn % 3 == 0) settle();
        if (turn % 4 == 0) popup_->hide();
    }
    settleFully();
    EXPECT_TRUE(popup_->isVisible());
}

TEST_F(PopupWindowTest, MayEndWhileItIsShown) {
    popup_->showTab(2, 640, 10);
    popup_.reset();
    settleFully();
    EXPECT_EQ(shownPopup(), nullptr);
}

}  // namespace
