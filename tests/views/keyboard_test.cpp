// Going through all pages with the Tab key: what is reached, in which order, and whether one sees where one
// is.
#include <gdk/gdkkeysyms.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "cairo_handles.h"
#include "contrast.h"
#include "full_popup.h"
#include "laid_out_page.h"

namespace {

constexpr int kOutside = 4;  // pixels around a small widget that its ring may take

struct Box {
    int left = 0, top = 0, right = 0, bottom = 0;
};

/// Where a widget is in the popup now.
Box boxOf(GtkWidget* widget) {
    Box box;
    gtk_widget_translate_coordinates(widget, shownPopup(), 0, 0, &box.left, &box.top);
    box.right = box.left + gtk_widget_get_allocated_width(widget);
    box.bottom = box.top + gtk_widget_get_allocated_height(widget);
    return box;
}

/// Whether one comes after the other where a page is read line by line.
bool comesAfter(const Box& next, const Box& before) {
    const bool same_line = next.top < before.bottom && before.top < next.bottom;
    return same_line ? next.left >= before.right : next.top >= before.bottom;
}

GtkWidget* focus() {
    return gtk_window_get_focus(GTK_WINDOW(shownPopup()));
}

/// As those who look at a page call a widget.
std::string called(GtkWidget* widget) {
    const char* const name = atk_object_get_name(gtk_widget_get_accessible(widget));
    return std::string(G_OBJECT_TYPE_NAME(widget)) + " " + (name != nullptr ? name : "");
}

class Keyboard : public FullPopup {
protected:
    /// Presses the key until the focus has been everywhere and comes back to where it began.
    static std::vector<GtkWidget*> tour(
        guint key, unsigned modifiers, const std::function<void(GtkWidget*)>& look = [](GtkWidget*) {}) {
        constexpr std::size_t most = 200;
        gtk_window_set_focus(GTK_WINDOW(shownPopup()), nullptr);
        std::vector<GtkWidget*> stops;
        while (stops.size() < most) {
            pressKey(key, modifiers);
            settle();
            if (focus() == nullptr || (!stops.empty() && focus() == stops.front())) break;
            stops.push_back(focus());
            look(focus());
        }
        EXPECT_LT(stops.size(), most) << "no way out";
        return stops;
    }

    /// The window has the keyboard, as the grab gives it.
    static void takeKeyboard() {
        GtkWidget* const popup = shownPopup();
        gdk_window_focus(gtk_widget_get_window(popup), GDK_CURRENT_TIME);
        ASSERT_TRUE(settlesTo([=] { return gtk_window_has_toplevel_focus(GTK_WINDOW(popup)) != FALSE; }));
    }

    /// A part of the popup as it is drawn now.
    static CairoSurface picture(const Box& part) {
        GtkWidget* const popup = shownPopup();
        gtk_container_check_resize(GTK_CONTAINER(popup));
        CairoSurface surface(
            cairo_image_surface_create(CAIRO_FORMAT_ARGB32, part.right - part.left, part.bottom - part.top));
        const CairoContext context(cairo_create(surface.get()));
        cairo_translate(context.get(), -part.left, -part.top);
        gtk_widget_draw(popup, context.get());
        cairo_surface_flush(surface.get());
        return surface;
    }

    /// How many pixels of a widget are clearly others while it has the focus.
    static int changedPixels(GtkWidget* widget) {
        const Box box = boxOf(widget);
        const Box part{box.left - kOutside, box.top - kOutside, box.right + kOutside, box.bottom + kOutside};
        const CairoSurface with = picture(part);
        gtk_window_set_focus(GTK_WINDOW(shownPopup()), nullptr);
        settle();
        const CairoSurface without = picture(part);
        gtk_widget_grab_focus(widget);
        settle();
        int changed = 0;
        for (int y = 0; y < part.bottom - part.top; ++y) {
            for (int x = 0; x < part.right - part.left; ++x)
                changed += contrast(colorAt(with, x, y), colorAt(without, x, y)) >= 3;
        }
        return changed;
    }

private:
    static GdkRGBA colorAt(const CairoSurface& image, int x, int y) {
        const std::uint32_t argb = pixel(image, x, y);
        const auto channel = [argb](unsigned shift) { return (argb >> shift & 0xFFU) / 255.0; };
        return {channel(16), channel(8), channel(0), 1};
    }
};

class KeyboardInLanguage : public Keyboard, public testing::WithParamInterface<const char*> {};

TEST_P(KeyboardInLanguage, TabGoesEverywhereInTheOrderOfReading) {
    make(GetParam(), true);
    forEachPage([](const std::string& page) {
        if (page == "colour sheet")
            return;  // the toolkit's own; its swatches are gone through with the arrows
        GtkWidget* before = nullptr;
        const auto stops = tour(GDK_KEY_Tab, 0, [&](GtkWidget* stop) {
            if (before != nullptr) {
                EXPECT_TRUE(comesAfter(boxOf(stop), boxOf(before)))
                    << page << ": " << called(stop) << " after " << called(before);
            }
            before = stop;
        });
        const auto all = focusable();
        for (GtkWidget* widget : all)
            EXPECT_EQ(std::ranges::count(stops, widget), 1) << page << ": " << called(widget);
        EXPECT_EQ(stops.size(), all.size()) << page;
        auto back = tour(GDK_KEY_ISO_Left_Tab, GDK_SHIFT_MASK);
        std::ranges::reverse(back);
        EXPECT_EQ(back, stops) << page;
    });
}

INSTANTIATE_TEST_SUITE_P(Languages, KeyboardInLanguage, testing::Values("en", "ar"),
                         [](const auto& test) { return std::string(test.param); });

class KeyboardInLook : public Keyboard, public testing::WithParamInterface<bool> {};

TEST_P(KeyboardInLook, OneSeesWhereTheFocusIs) {
    make("en", GetParam());
    forEachPage([](const std::string& page) {
        takeKeyboard();
        tour(GDK_KEY_Tab, 0, [&](GtkWidget* stop) {
            gtk_window_set_focus_visible(GTK_WINDOW(shownPopup()), TRUE);
            settle();
            const int side =
                std::min(gtk_widget_get_allocated_width(stop), gtk_widget_get_allocated_height(stop));
            EXPECT_GE(changedPixels(stop), 2 * side) << page << ": " << called(stop);
        });
    });
}

INSTANTIATE_TEST_SUITE_P(Looks, KeyboardInLook, testing::Bool(),
                         [](const auto& test) { return test.param ? "dark" : "light"; });

}  // namespace
