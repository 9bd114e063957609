#include <gdk/gdkkeysyms.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "fake_kernel.h"
#include "popup_window.h"
#include "rival_client.h"
#include "shown_popup.h"
#include "user_home.h"

namespace {

/// A popup that kept pointer or keyboard would lock the user out of the desktop; one that does not have them
/// can't be closed.
class PopupGrabTest : public testing::Test {
protected:
    PopupGrabTest() : info_(fixtureRoot("desktop-4core")) { popup_.emplace(info_, settings_); }

    void show() { popup_->showTab(0, 640, 10); }

    bool isHeld() { return !rival_.pointerIsFree() && !rival_.keyboardIsFree(); }
    bool isFree() { return rival_.pointerIsFree() && rival_.keyboardIsFree(); }
    bool becomesHeld(double seconds = 10) {
        return settlesTo([this] { return isHeld(); }, seconds);
    }
    bool becomesFree() {
        return settlesTo([this] { return isFree(); });
    }

    /// Alt+Down, as it comes from the keyboard.
    static void openList(GtkWidget* combo) {
        GdkDisplay* const display = gdk_display_get_default();
        GdkKeymapKey* keys = nullptr;
        int count = 0;
        gdk_keymap_get_entries_for_keyval(gdk_keymap_get_for_display(display), GDK_KEY_Down, &keys, &count);
        ASSERT_GT(count, 0);
        GdkEvent* const event = gdk_event_new(GDK_KEY_PRESS);
        event->key.window = GDK_WINDOW(g_object_ref(gtk_widget_get_window(shownPopup())));
        event->key.keyval = GDK_KEY_Down;
        event->key.hardware_keycode = static_cast<guint16>(keys[0].keycode);
        event->key.state = GDK_MOD1_MASK;
        gdk_event_set_device(event, gdk_seat_get_keyboard(gdk_display_get_default_seat(display)));
        gtk_widget_child_focus(combo, GTK_DIR_TAB_FORWARD);
        gtk_main_do_event(event);
        gdk_event_free(event);
        g_free(keys);
    }

    UserHome home_;
    SystemInfo info_;
    Settings settings_;
    RivalClient rival_;
    std::optional<PopupWindow> popup_;
};

TEST_F(PopupGrabTest, BothAreHeldWhileThePopupIsShown) {
    ASSERT_TRUE(isFree());
    show();
    EXPECT_TRUE(becomesHeld());
}

TEST_F(PopupGrabTest, BothAreGivenBackByEscape) {
    show();
    ASSERT_TRUE(becomesHeld());
    pressKey(GDK_KEY_Escape);
    EXPECT_TRUE(becomesFree());
}

TEST_F(PopupGrabTest, BothAreGivenBackByHiding) {
    show();
    ASSERT_TRUE(becomesHeld());
    popup_->hide();
    EXPECT_TRUE(becomesFree());
}

TEST_F(PopupGrabTest, BothAreGivenBackAfterShowingTwice) {
    show();
    show();
    ASSERT_TRUE(becomesHeld());
    popup_->hide();
    EXPECT_TRUE(becomesFree());
}

TEST_F(PopupGrabTest, BothAreGivenBackWhenThePopupEnds) {
    show();
    ASSERT_TRUE(becomesHeld());
    popup_.reset();
    EXPECT_TRUE(becomesFree());
}

TEST_F(PopupGrabTest, AListOfChoicesGivesThemBack) {
    popup_->showSettings(640, 10);
    ASSERT_TRUE(becomesHeld());
    GtkWidget* const combo = widgetsOfType(shownPopup(), GTK_TYPE_COMBO_BOX).at(1);
    openList(combo);
    ASSERT_TRUE(settlesTo([] { return gtk_grab_get_current() != nullptr; }));
    gtk_combo_box_popdown(GTK_COMBO_BOX(combo));
    ASSERT_TRUE(settlesTo([] { return gtk_grab_get_current() == nullptr; }));
    EXPECT_TRUE(becomesHeld());
    EXPECT_TRUE(popup_->isVisible());
}

/// As with a list that closes while the machine is busy: the toolkit learns late that it has let go.
TEST_F(PopupGrabTest, AListThatLetsGoLateGivesThemBack) {
    show();
    ASSERT_TRUE(becomesHeld());
    GtkWidget* const list = gtk_window_new(GTK_WINDOW_POPUP);
    gtk_widget_show(list);
    GdkSeat* const seat = gdk_display_get_default_seat(gdk_display_get_default());
    ASSERT_EQ(gdk_seat_grab(seat, gtk_widget_get_window(list), GDK_SEAT_CAPABILITY_ALL, TRUE, nullptr,
                            nullptr, nullptr, nullptr),
              GDK_GRAB_SUCCESS);
    gtk_grab_add(list);
    gtk_grab_remove(list);
    settlesTo([] { return false; }, 0.3);
    gdk_seat_ungrab(seat);
    ASSERT_TRUE(isFree());
    EXPECT_TRUE(becomesHeld());
    gtk_widget_destroy(list);
}

TEST_F(PopupGrabTest, AreWaitedForWhileAnotherMenuIsClosing) {
    ASSERT_TRUE(rival_.takeKeyboard());
    show();
    settlesTo([] { return false; }, 0.3);
    rival_.letGo();
    EXPECT_TRUE(becomesHeld());
}

TEST_F(PopupGrabTest, AreWaitedForJustTheSameAfterEscape) {
    show();
    ASSERT_TRUE(becomesHeld());
    pressKey(GDK_KEY_Escape);
    ASSERT_TRUE(becomesFree());
    ASSERT_TRUE(rival_.takeKeyboard());
    show();
    settlesTo([] { return false; }, 0.3);
    rival_.letGo();
    EXPECT_TRUE(becomesHeld());
}

TEST_F(PopupGrabTest, AreWaitedForPatiently) {
    ASSERT_TRUE(rival_.takeKeyboard());
    show();
    settlesTo([] { return false; }, 3);
    rival_.letGo();
    EXPECT_TRUE(becomesHeld());
}

}  // namespace
