#include "widgets.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "shown_popup.h"

namespace {

int naturalWidth(GtkWidget* widget) {
    int natural = 0;
    gtk_widget_get_preferred_width(widget, nullptr, &natural);
    return natural;
}

TEST(Widgets, LabelTextIsNoMarkup) {
    const OwnedWidget label(newLabel("<b>&", TextStyle{}));
    EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(static_cast<GtkWidget*>(label))), "<b>&");
}

TEST(Widgets, TheSameTextAgainCostsNoLayout) {
    const OwnedWidget label(newLabel("x", TextStyle{}));
    int changes = 0;
    g_signal_connect_swapped(static_cast<GtkWidget*>(label), "notify::label",
                             G_CALLBACK(+[](int* count) { ++*count; }), &changes);
    setText(label, "x");
    EXPECT_EQ(changes, 0);
    setText(label, "y");
    EXPECT_EQ(changes, 1);
    EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(static_cast<GtkWidget*>(label))), "y");
}

TEST(Widgets, AnAttachedRecordIsFreedOnceItHasHadItsTime) {
    auto record = std::make_shared<int>(7);
    const std::weak_ptr<int> first = record;
    {
        const OwnedWidget label(newLabel("", TextStyle{}));
        EXPECT_EQ(attached<std::shared_ptr<int>>(label, "key"), nullptr);
        attach(label, "key", record);
        EXPECT_EQ(**attached<std::shared_ptr<int>>(label, "key"), 7);
        record = std::make_shared<int>(8);
        attach(label, "key", record);
        EXPECT_TRUE(first.expired());
        EXPECT_EQ(**attached<std::shared_ptr<int>>(label, "key"), 8);
        EXPECT_EQ(record.use_count(), 2);
    }
    EXPECT_EQ(record.use_count(), 1);
}

TEST(Widgets, ALabelEllipsizedToRoomAsksForNone) {
    const OwnedWidget label(newLabel(std::string(5000, 'x'), TextStyle{}));
    gtk_widget_show(label);
    const int unbounded = naturalWidth(label);
    ellipsizeToRoom(label);
    EXPECT_LT(naturalWidth(label), 40);
    EXPECT_GT(unbounded, 5000);
}

TEST(Widgets, AWrappedLabelGrowsInHeightNotInWidth) {
    const OwnedWidget label(newLabel(std::string(50, 'x') + " " + std::string(500, 'y'), TextStyle{}));
    gtk_widget_show(label);
    wrap(label);
    EXPECT_LT(naturalWidth(label), 250);
    int wide = 0;
    int narrow = 0;
    gtk_widget_get_preferred_height_for_width(label, 800, &wide, nullptr);
    gtk_widget_get_preferred_height_for_width(label, 200, &narrow, nullptr);
    EXPECT_GT(narrow, 2 * wide);
}

TEST(Widgets, WhatScrollsCanHaveTheFocusWhileThereIsSomethingToScroll) {
    GtkWidget* const content = gtk_label_new("x");
    const OwnedWidget window(gtk_window_new(GTK_WINDOW_POPUP));
    GtkWidget* const scroller = newScroller(content);
    gtk_container_add(GTK_CONTAINER(static_cast<GtkWidget*>(window)), scroller);
    gtk_window_resize(GTK_WINDOW(static_cast<GtkWidget*>(window)), 100, 100);
    gtk_widget_show_all(window);
    const auto takes_focus = [&](int height) {
        gtk_widget_set_size_request(content, -1, height);
        return settlesTo([=] { return gtk_widget_get_allocated_height(content) >= height; }) &&
               gtk_widget_child_focus(window, GTK_DIR_TAB_FORWARD);
    };
    EXPECT_FALSE(takes_focus(50));
    EXPECT_TRUE(takes_focus(1000));
    EXPECT_EQ(gtk_window_get_focus(GTK_WINDOW(static_cast<GtkWidget*>(window))), scroller);
    gtk_window_set_focus(GTK_WINDOW(static_cast<GtkWidget*>(window)), nullptr);
    gtk_widget_set_size_request(content, -1, 50);
    EXPECT_TRUE(settlesTo([=] { return !gtk_widget_get_can_focus(scroller); }));
}

TEST(Widgets, AnOwnedWidgetEndsWithItsOwnerWhereverItIsPacked) {
    GtkWidget* box = newRow(0);
    g_object_ref_sink(box);
    GtkWidget* label = gtk_label_new("x");
    g_object_add_weak_pointer(G_OBJECT(label), reinterpret_cast<gpointer*>(&label));
    {
        const OwnedWidget owned(label);
        pack(box, owned);
    }
    EXPECT_EQ(label, nullptr);
    EXPECT_EQ(allWidgets(box).size(), 1U);
    gtk_widget_destroy(box);
    g_object_unref(box);
}

TEST(Widgets, AnOwnedWidgetMayBeDestroyedByItsContainerFirst) {
    GtkWidget* box = newRow(0);
    g_object_ref_sink(box);
    const OwnedWidget owned(gtk_label_new("x"));
    pack(box, owned);
    gtk_widget_destroy(box);
    g_object_unref(box);
}

}  // namespace
