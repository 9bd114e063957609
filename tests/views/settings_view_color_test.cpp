#include <gmock/gmock.h>

#include "settings_page.h"

using testing::HasSubstr;

namespace {

class SettingsViewColor : public SettingsPageTest {
protected:
    void open(std::size_t row) {
        show();
        click(colorButton(row));
        settleFor(50);
    }
    GtkWidget* chooser() const {
        const auto found = widgetsOfType(page(), GTK_TYPE_COLOR_CHOOSER_WIDGET);
        return found.empty() ? nullptr : found.at(0);
    }
    GtkWidget* sheet() const {
        const auto parts = children(page());
        return parts.at(parts.size() - 1);
    }
    GtkWidget* apply() const { return buttonWithText(sheet(), "Apply"); }
    GtkWidget* back() const { return buttonWithText(sheet(), "Back"); }
    bool contentShown() const {
        const auto parts = children(page());
        EXPECT_EQ(gtk_widget_get_mapped(parts[0]), gtk_widget_get_mapped(parts[1]));
        return gtk_widget_get_mapped(parts[0]);
    }
    void pick(const GdkRGBA& color) const {
        gtk_color_chooser_set_rgba(GTK_COLOR_CHOOSER(chooser()), &color);
    }
    GtkWidget* focus() const { return gtk_window_get_focus(window()); }
    /// A key is pressed in the window.
    void press(guint key) const {
        GdkKeymapKey* keys = nullptr;
        gint count = 0;
        ASSERT_TRUE(gdk_keymap_get_entries_for_keyval(gdk_keymap_get_for_display(gdk_display_get_default()),
                                                      key, &keys, &count));
        GdkEvent* const event = gdk_event_new(GDK_KEY_PRESS);
        event->key.window = static_cast<GdkWindow*>(g_object_ref(gtk_widget_get_window(window_)));
        event->key.keyval = key;
        event->key.hardware_keycode = static_cast<guint16>(keys[0].keycode);
        g_free(keys);
        gdk_event_set_device(event,
                             gdk_seat_get_keyboard(gdk_display_get_default_seat(gdk_display_get_default())));
        gtk_widget_event(window_, event);
        gdk_event_free(event);
        settleFor(20);
    }
    void tabTo(const std::function<bool()>& reached) const {
        for (int tabs = 0; tabs < 60 && !reached(); ++tabs)
            press(GDK_KEY_Tab);
        ASSERT_TRUE(reached());
    }
};

TEST_F(SettingsViewColor, ASheetTakesThePlaceOfThePage) {
    show();
    EXPECT_FALSE(page_->stepBack());
    EXPECT_EQ(chooser(), nullptr);
    click(colorButton(2));
    settleFor(50);
    ASSERT_NE(chooser(), nullptr);
    EXPECT_FALSE(contentShown());
    EXPECT_TRUE(gtk_widget_get_mapped(chooser()));
    EXPECT_EQ(shownColor(chooser()), "rgb(208,128,32)");
    EXPECT_FALSE(gtk_color_chooser_get_use_alpha(GTK_COLOR_CHOOSER(chooser())));
    GtkWidget* const title = labelWithText(sheet(), "Temperature");
    ASSERT_NE(title, nullptr);
    EXPECT_TRUE(gtk_widget_get_mapped(title));
}

TEST_F(SettingsViewColor, OpensNoWindow) {
    const auto windows = [] {
        GList* const all = gtk_window_list_toplevels();
        const guint count = g_list_length(all);
        g_list_free(all);
        return count;
    };
    show();
    const guint before = windows();
    click(colorButton(0));
    settleFor(50);
    EXPECT_EQ(windows(), before);
}

TEST_F(SettingsViewColor, FitsIntoThePopup) {
    open(0);
    for (const bool editor : {false, true}) {
        g_object_set(chooser(), "show-editor", editor, nullptr);
        settleFor(50);
        GtkRequisition wanted{};
        gtk_widget_get_preferred_size(page(), &wanted, nullptr);
        EXPECT_LE(wanted.width, kWidth);
        EXPECT_LE(wanted.height, kHeight);
        for (GtkWidget* button : {back(), apply()}) {
            int y = -1;
            gtk_widget_translate_coordinates(button, window_, 0, 0, nullptr, &y);
            EXPECT_GE(y, 300);
            EXPECT_LE(y + gtk_widget_get_allocated_height(button), kHeight);
        }
    }
}

TEST_F(SettingsViewColor, TheColourTakenIsSavedAndShown) {
    open(2);
    pick({1.0, 0.5, 0.0, 1});
    EXPECT_EQ(changes_, 0);
    click(apply());
    settleFor(50);
    EXPECT_EQ(changes_, 1);
    EXPECT_THAT(contentOf(file_), HasSubstr("temperature=#FF7F00\n"));
    EXPECT_EQ(shownColor(colorButton(2)), "rgb(255,127,0)");
    EXPECT_TRUE(contentShown());
    EXPECT_EQ(chooser(), nullptr);
    EXPECT_EQ(focus(), colorButton(2));
}

TEST_F(SettingsViewColor, BackLeavesEverythingAsItWas) {
    open(2);
    pick({1, 1, 1, 1});
    click(back());
    settleFor(50);
    EXPECT_EQ(changes_, 0);
    EXPECT_EQ(shownColor(colorButton(2)), "rgb(208,128,32)");
    EXPECT_TRUE(contentShown());
    EXPECT_EQ(focus(), colorButton(2));
}

TEST_F(SettingsViewColor, StepBackLeavesTheSheetAndNoMore) {
    open(0);
    EXPECT_TRUE(page_->stepBack());
    settleFor(50);
    EXPECT_TRUE(contentShown());
    EXPECT_EQ(changes_, 0);
    EXPECT_FALSE(page_->stepBack());
}

TEST_F(SettingsViewColor, APaletteColourIsTakenWithTheKeyboardAlone) {
    show();
    gtk_widget_grab_focus(colorButton(0));
    press(GDK_KEY_space);
    settleFor(400);  // a key shows the button pressed for a while
    ASSERT_NE(chooser(), nullptr);
    press(GDK_KEY_Left);
    press(GDK_KEY_Up);
    press(GDK_KEY_space);
    EXPECT_EQ(shownColor(chooser()), "rgb(181,212,255)") << "left of the item's colour, and above";
    tabTo([this] { return focus() == apply(); });
    press(GDK_KEY_Return);
    settleFor(400);
    EXPECT_EQ(chooser(), nullptr);
    EXPECT_EQ(changes_, 1);
    EXPECT_EQ(settings_->hexColor(MenuBarItemType::CpuPercent), "#B5D4FF");
    EXPECT_EQ(focus(), colorButton(0));
}

TEST_F(SettingsViewColor, ReturnOnAColourChoosesItAndOnceMoreTakesIt) {
    open(0);
    press(GDK_KEY_Left);
    press(GDK_KEY_Return);
    ASSERT_NE(chooser(), nullptr);
    press(GDK_KEY_Return);
    EXPECT_EQ(chooser(), nullptr);
    EXPECT_EQ(settings_->hexColor(MenuBarItemType::CpuPercent), "#4090FF");
}

TEST_F(SettingsViewColor, AColourOfOnesOwnIsTypedWithTheKeyboardAlone) {
    open(0);
    const auto editing = [this] {
        gboolean shown = FALSE;
        g_object_get(chooser(), "show-editor", &shown, nullptr);
        return shown;
    };
    tabTo([this] { return g_strcmp0(gtk_widget_get_name(focus()), "add-color-button") == 0; });
    press(GDK_KEY_Return);
    ASSERT_TRUE(editing());
    ASSERT_TRUE(GTK_IS_ENTRY(focus()));
    EXPECT_STREQ(gtk_entry_get_text(GTK_ENTRY(focus())), "#FF6EB4");
    gtk_entry_set_text(GTK_ENTRY(focus()), "#123456");
    tabTo([this] { return focus() == apply(); });
    press(GDK_KEY_Return);
    settleFor(400);
    EXPECT_EQ(settings_->hexColor(MenuBarItemType::CpuPercent), "#123456");

    click(colorButton(0));
    settleFor(50);
    EXPECT_EQ(shownColor(chooser()), "rgb(18,52,86)") << "a colour beside the palette's";
    EXPECT_TRUE(gtk_widget_is_ancestor(focus(), chooser()));
}

TEST_F(SettingsViewColor, AColourStillBeingTypedCounts) {
    open(0);
    g_object_set(chooser(), "show-editor", TRUE, nullptr);
    ASSERT_TRUE(GTK_IS_ENTRY(focus()));
    gtk_entry_set_text(GTK_ENTRY(focus()), "#123456");
    click(apply());
    EXPECT_EQ(settings_->hexColor(MenuBarItemType::CpuPercent), "#123456");
}

TEST_F(SettingsViewColor, ADoubleClickOnAColourTakesIt) {
    open(0);
    const GdkRGBA white{1, 1, 1, 1};
    pick(white);
    g_signal_emit_by_name(chooser(), "color-activated", &white);
    settleFor(50);
    EXPECT_EQ(changes_, 1);
    EXPECT_EQ(settings_->hexColor(MenuBarItemType::CpuPercent), "#FFFFFF");
}

TEST_F(SettingsViewColor, ThePageIsSeenWhereItWasLeft) {
    show();
    gtk_adjustment_set_value(position(), 20);
    settleFor(30);
    const double before = gtk_adjustment_get_value(position());
    ASSERT_GT(before, 0);
    click(colorButton(6));
    settleFor(50);
    page_->stepBack();
    settleFor(50);
    EXPECT_EQ(gtk_adjustment_get_value(position()), before);
}

TEST_F(SettingsViewColor, ShowingTheWindowWithAllThatIsInItUncoversNothing) {
    open(0);
    gtk_widget_show_all(window_);
    settleFor(50);
    EXPECT_FALSE(contentShown());
    page_->stepBack();
    gtk_widget_show_all(window_);
    settleFor(50);
    EXPECT_TRUE(contentShown());
    EXPECT_EQ(chooser(), nullptr);
}

TEST_F(SettingsViewColor, APageThatWasHiddenComesBackWithoutTheSheet) {
    open(0);
    gtk_widget_hide(window_);
    settle();
    EXPECT_FALSE(page_->stepBack());
    gtk_widget_show_all(window_);
    settleFor(50);
    EXPECT_TRUE(contentShown());
}

TEST_F(SettingsViewColor, ABuildAnewOfTheRowsLeavesTheSheetWithoutItsButton) {
    open(0);
    page_->rebuild();
    pick({1, 1, 1, 1});
    click(apply());
    settleFor(50);
    EXPECT_TRUE(contentShown());
    EXPECT_EQ(changes_, 0);
}

TEST_F(SettingsViewColor, MayEndWithTheSheetOpen) {
    open(0);
    page_.reset();
    settle();
    gtk_widget_destroy(std::exchange(window_, nullptr));
    open(0);
    gtk_widget_destroy(std::exchange(window_, nullptr));
    settle();
}

}  // namespace
