#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

#include "cairo_handles.h"
#include "widget_tree.h"
#include "widgets.h"

/// A page in a window of the popup's kind, on the screen and laid out.
class LaidOutPage {
public:
    explicit LaidOutPage(GtkWidget* page, int width = 420) : window_(gtk_window_new(GTK_WINDOW_POPUP)) {
        gtk_window_set_default_size(GTK_WINDOW(window()), width, -1);
        gtk_container_add(GTK_CONTAINER(window()), page);
        gtk_widget_show(page);
        gtk_widget_show(window());
        layOut();
    }

    GtkWidget* window() const { return window_; }
    int width() const { return gtk_widget_get_allocated_width(window_); }
    int height() const { return gtk_widget_get_allocated_height(window_); }

    /// Waits until the window is as large as its page wants it to be.
    void layOut() const {
        settle();
        int height_wanted = 0;
        gtk_widget_get_preferred_height_for_width(window_, width(), nullptr, &height_wanted);
        for (int turn = 0; height() < height_wanted && turn < 1000; ++turn)
            g_main_context_iteration(nullptr, TRUE);
        // Not only with the next frame.
        gtk_container_check_resize(GTK_CONTAINER(window()));
    }

    /// What it looks like.
    CairoSurface draw() const {
        CairoSurface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width(), height()));
        const CairoContext context(cairo_create(surface.get()));
        gtk_widget_draw(window_, context.get());
        cairo_surface_flush(surface.get());
        return surface;
    }

private:
    OwnedWidget window_;
};

/// A pixel of an image surface, ARGB.
inline std::uint32_t pixel(const CairoSurface& image, int x, int y) {
    const unsigned char* row = cairo_image_surface_get_data(image.get()) +
                               static_cast<std::ptrdiff_t>(y) * cairo_image_surface_get_stride(image.get());
    return reinterpret_cast<const std::uint32_t*>(row)[x];
}

/// What a "draw" handler draws of a widget that is shown.
inline CairoSurface drawnBy(gboolean (*handler)(GtkWidget*, cairo_t*, gpointer), GtkWidget* widget) {
    CairoSurface image(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, gtk_widget_get_allocated_width(widget),
                                                  gtk_widget_get_allocated_height(widget)));
    const CairoContext context(cairo_create(image.get()));
    EXPECT_TRUE(handler(widget, context.get(), nullptr));
    cairo_surface_flush(image.get());
    return image;
}
