// Choosing a process with the keyboard: which row has the focus, what it does and where it stays.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "process_page.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ProcessKeyboardTest : public ProcessViewTest {
protected:
    static constexpr int kRows = 40;

    /// More rows than fit, in a window that has the keyboard.
    void SetUp() override {
        for (int i = 0; i < kRows; ++i)
            info_.top_processes.push_back(process(kNobody + i, "p" + std::to_string(i), kRows - i));
        open();
        EXPECT_TRUE(comesTrue([this] { return isLaidOut(); }));
        gdk_window_focus(gtk_widget_get_window(window_), GDK_CURRENT_TIME);
        EXPECT_TRUE(
            comesTrue([this] { return gtk_window_has_toplevel_focus(GTK_WINDOW(window_)) != FALSE; }));
    }

    bool isLaidOut() const { return gtk_widget_get_allocated_width(rows().back()) > 100; }

    void refresh() {
        view_->update();
        ASSERT_TRUE(comesTrue([this] { return isLaidOut(); }));
    }

    /// Presses a key, as the window system reports it to the window.
    void type(guint keyval, unsigned modifiers = 0) const {
        GdkKeymapKey* keys = nullptr;
        int count = 0;
        gdk_keymap_get_entries_for_keyval(gdk_keymap_get_for_display(gdk_display_get_default()), keyval,
                                          &keys, &count);
        GdkEvent* event = gdk_event_new(GDK_KEY_PRESS);
        event->key.window = GDK_WINDOW(g_object_ref(gtk_widget_get_window(window_)));
        event->key.keyval = keyval;
        event->key.state = static_cast<GdkModifierType>(modifiers);
        if (count > 0) event->key.hardware_keycode = static_cast<guint16>(keys[0].keycode);
        g_free(keys);
        GdkSeat* seat = gdk_display_get_default_seat(gdk_display_get_default());
        gdk_event_set_device(event, gdk_seat_get_keyboard(seat));
        gtk_widget_event(window_, event);
        gdk_event_free(event);
    }

    GtkWidget* focus() const { return gtk_window_get_focus(GTK_WINDOW(window_)); }
    /// The pid of the row that has the focus, counted from kNobody; -1 when none has it.
    int focused() const {
        const auto all = rows();
        return std::ranges::find(all, focus()) == all.end() ? -1 : pidOfRow(focus()) - kNobody;
    }
    void focusRow(std::size_t place) const { gtk_widget_grab_focus(rows().at(place)); }

    GtkAdjustment* down() const {
        return gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(scrolled()));
    }
    /// Whether a row can be seen whole in the list as it is scrolled.
    bool isInView(GtkWidget* row) const {
        int top = 0;
        gtk_widget_translate_coordinates(row, scrolled(), 0, 0, nullptr, &top);
        return top >= 0 &&
               top + gtk_widget_get_allocated_height(row) <= gtk_widget_get_allocated_height(scrolled());
    }

    /// The pixels of a row, as it is drawn now.
    static std::string picture(GtkWidget* row) {
        const int width = gtk_widget_get_allocated_width(row);
        const int height = gtk_widget_get_allocated_height(row);
        cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
        cairo_t* cr = cairo_create(surface);
        gtk_widget_draw(row, cr);
        cairo_destroy(cr);
        cairo_surface_flush(surface);
        const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface));
        std::string pixels(reinterpret_cast<const char*>(cairo_image_surface_get_data(surface)),
                           stride * static_cast<std::size_t>(height));
        cairo_surface_destroy(surface);
        return pixels;
    }
};

}  // namespace

// --- Going to a row ---

TEST_F(ProcessKeyboardTest, TabLeadsFromTheTitlesThroughTheRows) {
    gtk_widget_grab_focus(titles().back());
    for (int i = 0; i < kRows; ++i) {
        type(GDK_KEY_Tab);
        ASSERT_EQ(focused(), i);
    }
    view_->onProcessSelected(kNobody + kRows - 1, "last");
    settle();
    type(GDK_KEY_Tab);
    EXPECT_EQ(gtk_widget_get_parent(focus()), bar());
}

TEST_F(ProcessKeyboardTest, TheArrowsGoUpAndDown) {
    focusRow(0);
    type(GDK_KEY_Down);
    type(GDK_KEY_Down);
    EXPECT_EQ(focused(), 2);
    type(GDK_KEY_Up);
    EXPECT_EQ(focused(), 1);
    type(GDK_KEY_Up);
    type(GDK_KEY_Up);
    EXPECT_EQ(focused(), -1);
    type(GDK_KEY_Down);
    EXPECT_EQ(focused(), 0);
}

TEST_F(ProcessKeyboardTest, TheRowWithTheFocusIsScrolledIntoView) {
    ASSERT_FALSE(isInView(rows().back()));
    focusRow(0);
    for (int i = 1; i < kRows; ++i) {
        type(GDK_KEY_Down);
        ASSERT_EQ(focused(), i);
        ASSERT_TRUE(comesTrue([this] { return isInView(focus()); })) << i;
    }
    focusRow(0);
    EXPECT_TRUE(comesTrue([this] { return isInView(focus()); }));
}

// --- Choosing ---

TEST_F(ProcessKeyboardTest, KeysDoWhatAClickDoes) {
    for (const guint key :
         {GDK_KEY_Return, GDK_KEY_KP_Enter, GDK_KEY_ISO_Enter, GDK_KEY_space, GDK_KEY_KP_Space}) {
        focusRow(3);
        type(key);
        EXPECT_EQ(barText(), "p3 (2000000003)") << key;
        EXPECT_THAT(offers(), ElementsAre("term_btn", "kill_btn"));
        settle();
        EXPECT_THAT(highlighted(), ElementsAre(kNobody + 3));
        EXPECT_EQ(focused(), 3);
        type(key);
        EXPECT_THAT(offers(), IsEmpty()) << key;
        settle();
        EXPECT_THAT(highlighted(), IsEmpty());
    }
}

TEST_F(ProcessKeyboardTest, OtherKeysChooseNothing) {
    focusRow(3);
    for (const guint key : {GDK_KEY_a, GDK_KEY_BackSpace, GDK_KEY_Delete, GDK_KEY_Left})
        type(key);
    focusRow(3);
    for (const unsigned modifier : {GDK_CONTROL_MASK, GDK_MOD1_MASK})
        type(GDK_KEY_Return, modifier);
    EXPECT_THAT(offers(), IsEmpty());
    type(GDK_KEY_Return, GDK_LOCK_MASK | GDK_MOD2_MASK);
    EXPECT_THAT(offers(), ElementsAre("term_btn", "kill_btn"));
}

TEST_F(ProcessKeyboardTest, AClickLeavesTheFocusWhereItIs) {
    gtk_widget_grab_focus(titles()[1]);
    press(rows()[2]);
    settle();
    EXPECT_EQ(focus(), titles()[1]);
}

// --- What can be seen and heard ---

TEST_F(ProcessKeyboardTest, TheFocusIsSeenInBothLooksWhileKeysAreUsed) {
    for (const bool dark : {false, true}) {
        set_active_dark(dark);
        refresh();
        gtk_window_set_focus_visible(GTK_WINDOW(window_), TRUE);
        gtk_widget_grab_focus(titles()[0]);
        settle();
        const std::string plain = picture(rows()[1]);
        focusRow(1);
        settle();
        EXPECT_NE(picture(rows()[1]), plain);
        gtk_window_set_focus_visible(GTK_WINDOW(window_), FALSE);
        settle();
        EXPECT_EQ(picture(rows()[1]), plain);
    }
}

TEST_F(ProcessKeyboardTest, ScreenReadersHearWhatTheRowShows) {
    const auto spoken = [this] {
        return std::string(atk_object_get_name(gtk_widget_get_accessible(rows().at(0))));
    };
    EXPECT_EQ(spoken(), "p0 (2000000000), root, Mem 0M, CPU% 40.0");
    ProcessUsage hostile = process(kNobody, "<b>\xff\n", 12.34, 1536);
    hostile.user = "a\xfe";
    info_.top_processes = {hostile};
    refresh();
    EXPECT_EQ(spoken(), "<b>�� (2000000000), a�, Mem 1.5G, CPU% 12.3");
}

// --- Refreshing ---

TEST_F(ProcessKeyboardTest, TheFocusFollowsItsProcess) {
    focusRow(5);
    refresh();
    EXPECT_EQ(focused(), 5);
    info_.top_processes.at(5).cpu_usage = 400;
    refresh();
    EXPECT_EQ(focused(), 5);
    EXPECT_EQ(focus(), rows().front());
    type(GDK_KEY_Down);
    EXPECT_EQ(focus(), rows().at(1));
}

TEST_F(ProcessKeyboardTest, WhenItsProcessHasGoneTheFocusKeepsItsPlace) {
    focusRow(5);
    info_.top_processes.erase(info_.top_processes.begin() + 5);
    refresh();
    EXPECT_EQ(focus(), rows().at(5));
    EXPECT_EQ(focused(), 6);
    info_.top_processes = {process(kNobody + 90, "a", 2), process(kNobody + 91, "b", 1)};
    refresh();
    EXPECT_EQ(focus(), rows().at(1));
    info_.top_processes.clear();
    view_->update();
    settle();
    info_.top_processes = {process(kNobody, "a")};
    refresh();
    EXPECT_EQ(focused(), -1);
}

TEST_F(ProcessKeyboardTest, ARefreshTakesTheFocusFromNobody) {
    view_->onProcessSelected(kNobody, "p0");
    settle();
    for (GtkWidget* other : {titles()[2], button("kill_btn")}) {
        focusRow(5);
        gtk_widget_grab_focus(other);
        refresh();
        EXPECT_EQ(focus(), other);
    }
    gtk_window_set_focus(GTK_WINDOW(window_), nullptr);
    refresh();
    EXPECT_EQ(focus(), nullptr);
}

TEST_F(ProcessKeyboardTest, ARefreshDoesNotScrollToTheFocus) {
    for (const std::size_t place : {0, 5, 39}) {
        focusRow(place);
        for (const double position : {50.0, 200.0, 0.0}) {
            gtk_adjustment_set_value(down(), position);
            settle();
            refresh();
            settle();
            EXPECT_EQ(focus(), rows().at(place));
            EXPECT_DOUBLE_EQ(gtk_adjustment_get_value(down()), position) << place;
        }
    }
    type(GDK_KEY_Up);
    EXPECT_EQ(focus(), rows().at(38));
    EXPECT_TRUE(comesTrue([this] { return isInView(focus()); }));
}
