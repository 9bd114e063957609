#pragma once

#include <gtk/gtk.h>

#include "widget_tree.h"

/// A page in a popup of a given width, or wider where it needs more, on the screen.
class ShownPage {
public:
    ShownPage(GtkWidget* page, int width) : page_(page), window_(gtk_window_new(GTK_WINDOW_POPUP)) {
        gtk_container_set_border_width(GTK_CONTAINER(window_), 6);
        gtk_container_add(GTK_CONTAINER(window_), page);
        gtk_window_resize(GTK_WINDOW(window_), width, 1);
        gtk_widget_show(window_);
        settle();
    }
    ~ShownPage() {
        gtk_container_remove(GTK_CONTAINER(window_), page_);
        gtk_widget_destroy(window_);
    }
    ShownPage(const ShownPage&) = delete;
    ShownPage& operator=(const ShownPage&) = delete;

    int width() const { return gtk_widget_get_allocated_width(window_); }

private:
    GtkWidget* page_;
    GtkWidget* window_;
};
