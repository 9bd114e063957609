#include "desktop_look.h"

#include <gtest/gtest.h>

#include <string>

#include "icon_helper.h"
#include "theme.h"
#include "widget_tree.h"

namespace {

/// The style provider that the program has on the screen, kept between tests as the program keeps it.
GtkCssProvider* g_provider = nullptr;

void apply(bool dark) {
    GtkCssProvider* provider = applyLook(dark, g_provider);
    EXPECT_TRUE(g_provider == nullptr || provider == g_provider);
    g_provider = provider;
}

/// Without a look, as other tests expect it.
class DesktopLook : public testing::Test {
protected:
    ~DesktopLook() override {
        if (g_provider != nullptr) {
            gtk_style_context_remove_provider_for_screen(gdk_screen_get_default(),
                                                         GTK_STYLE_PROVIDER(g_provider));
            g_object_unref(g_provider);
            g_provider = nullptr;
        }
        set_active_dark(false);
        g_object_set(gtk_settings_get_default(), "gtk-application-prefer-dark-theme", FALSE, nullptr);
    }
};

std::string colorOf(GtkWidget* widget) {
    GtkStyleContext* context = gtk_widget_get_style_context(widget);
    GdkRGBA color;
    gtk_style_context_get_color(context, gtk_style_context_get_state(context), &color);
    char* text = gdk_rgba_to_string(&color);
    std::string result = text;
    g_free(text);
    return result;
}

bool gtkIsDark() {
    gboolean dark = FALSE;
    g_object_get(gtk_settings_get_default(), "gtk-application-prefer-dark-theme", &dark, nullptr);
    return dark;
}

guint32 firstOpaquePixel(GtkWidget* image) {
    GdkPixbuf* picture = gtk_image_get_pixbuf(GTK_IMAGE(image));
    const guchar* pixels = gdk_pixbuf_get_pixels(picture);
    for (gsize at = 0; at + 3 < gdk_pixbuf_get_byte_length(picture); at += 4) {
        if (pixels[at + 3] == 255) return pixels[at] << 16 | pixels[at + 1] << 8 | pixels[at + 2];
    }
    return 0xFFFFFFFF;
}

TEST_F(DesktopLook, BothSheetsAreGoodCss) {
    for (const Palette& palette : {Palette::light(), Palette::dark_()}) {
        std::string complaints;
        GtkCssProvider* provider = gtk_css_provider_new();
        g_signal_connect(provider, "parsing-error",
                         G_CALLBACK(+[](GtkCssProvider*, GtkCssSection*, GError* error, std::string* text) {
                             *text += std::string(error->message) + "\n";
                         }),
                         &complaints);
        const std::string sheet = build_css(palette) + focus_css();
        EXPECT_TRUE(gtk_css_provider_load_from_data(provider, sheet.c_str(), -1, nullptr));
        EXPECT_EQ(complaints, "");
        g_object_unref(provider);
    }
}

TEST_F(DesktopLook, EverythingTurnsDarkAndLightAgain) {
    GtkWidget* window = gtk_window_new(GTK_WINDOW_POPUP);
    GtkWidget* icon = load_icon("go-up-symbolic", GTK_ICON_SIZE_MENU);
    gtk_container_add(GTK_CONTAINER(window), icon);
    gtk_widget_show_all(window);
    settle();
    const std::string light_text = colorOf(window);
    const guint32 light_icon = firstOpaquePixel(icon);

    apply(true);
    settle();
    EXPECT_TRUE(active_dark());
    EXPECT_TRUE(gtkIsDark());
    EXPECT_EQ(colorOf(window), "rgb(234,234,234)");
    EXPECT_EQ(firstOpaquePixel(icon), 0xEAEAEAU);

    apply(false);
    settle();
    EXPECT_FALSE(active_dark());
    EXPECT_FALSE(gtkIsDark());
    EXPECT_EQ(colorOf(window), light_text);
    EXPECT_EQ(firstOpaquePixel(icon), light_icon);
    gtk_widget_destroy(window);
}

/// What only our sheet makes 22 pixels.
int buttonHeight() {
    GtkWidget* button = GTK_WIDGET(g_object_ref_sink(gtk_button_new()));
    int height = 0;
    gtk_style_context_get(gtk_widget_get_style_context(button), GTK_STATE_FLAG_NORMAL, "min-height", &height,
                          nullptr);
    g_object_unref(button);
    return height;
}

TEST_F(DesktopLook, TheScreenNeverHoldsTwoSheets) {
    apply(true);
    apply(true);
    apply(false);
    EXPECT_EQ(buttonHeight(), 22);
    gtk_style_context_remove_provider_for_screen(gdk_screen_get_default(), GTK_STYLE_PROVIDER(g_provider));
    EXPECT_NE(buttonHeight(), 22) << "a second sheet is left";
}

TEST_F(DesktopLook, TheSheetOverridesTheThemeButNotTheUser) {
    apply(true);
    GtkCssProvider* users = gtk_css_provider_new();
    gtk_css_provider_load_from_data(users, "window { color: rgb(1,2,3); }", -1, nullptr);
    gtk_style_context_add_provider_for_screen(gdk_screen_get_default(), GTK_STYLE_PROVIDER(users), 601);
    GtkWidget* window = gtk_window_new(GTK_WINDOW_POPUP);
    EXPECT_EQ(colorOf(window), "rgb(1,2,3)");
    gtk_style_context_remove_provider_for_screen(gdk_screen_get_default(), GTK_STYLE_PROVIDER(users));
    gtk_style_context_add_provider_for_screen(gdk_screen_get_default(), GTK_STYLE_PROVIDER(users), 599);
    settle();
    EXPECT_EQ(colorOf(window), "rgb(234,234,234)");
    gtk_style_context_remove_provider_for_screen(gdk_screen_get_default(), GTK_STYLE_PROVIDER(users));
    g_object_unref(users);
    gtk_widget_destroy(window);
}

TEST_F(DesktopLook, WithoutABusNothingIsWatched) {
    const auto never = [](GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
                          gpointer) { FAIL(); };
    EXPECT_EQ(watchDesktopLook(never, nullptr), 0U);
}

TEST_F(DesktopLook, WithoutABusOurOwnLookIsNotTheDesktops) {
    const bool before = desktopPrefersDark();
    apply(true);
    EXPECT_EQ(desktopPrefersDark(), before);
    apply(false);
    EXPECT_EQ(desktopPrefersDark(), before);
}

bool isChange(GVariant* parameters) {
    g_variant_ref_sink(parameters);
    const bool change = isDesktopLookChange(parameters);
    g_variant_unref(parameters);
    return change;
}

TEST_F(DesktopLook, AReportIsOfTheLookOnlyWithItsNameAndKey) {
    const auto report = [](const char* name_space, const char* key) {
        return isChange(g_variant_new("(ssv)", name_space, key, g_variant_new_uint32(1)));
    };
    EXPECT_TRUE(report("org.freedesktop.appearance", "color-scheme"));
    EXPECT_FALSE(report("org.freedesktop.appearance", "contrast"));
    EXPECT_FALSE(report("org.freedesktop", "color-scheme"));
    EXPECT_FALSE(report("", ""));
}

TEST_F(DesktopLook, AReportOfAnotherShapeIsNone) {
    EXPECT_FALSE(isChange(g_variant_new("()")));
    EXPECT_FALSE(isChange(g_variant_new("(s)", "org.freedesktop.appearance")));
    EXPECT_FALSE(isChange(g_variant_new("(ssu)", "org.freedesktop.appearance", "color-scheme", 1)));
    EXPECT_FALSE(isChange(
        g_variant_new("(ssvu)", "org.freedesktop.appearance", "color-scheme", g_variant_new_uint32(1), 1)));
}

}  // namespace
