#include "desktop_look.h"

#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "cairo_handles.h"
#include "descriptors.h"
#include "icon_helper.h"
#include "theme.h"

namespace {

constexpr const char* kPortalName = "org.freedesktop.portal.Desktop";
constexpr const char* kPortalPath = "/org/freedesktop/portal/desktop";
constexpr const char* kPortalSettings = "org.freedesktop.portal.Settings";
constexpr const char* kLookNamespace = "org.freedesktop.appearance";
constexpr const char* kLookKey = "color-scheme";
constexpr int kPortalPatienceMs = 500;
constexpr int kDescriptorsNeeded = 4;  // to wait for an answer

constexpr const char* kPreferDark = "gtk-application-prefer-dark-theme";
constexpr const char* kDesktopValue = "korvalune-desktop-prefers-dark";  // attached to the GTK settings

using Variant = std::unique_ptr<GVariant, FreeWith<g_variant_unref>>;

/// The portal's answer, freed of the variants around it; null when there is none.
Variant portalColorScheme() {
    if (!descriptorsLeft(kDescriptorsNeeded)) return nullptr;
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (!bus) return nullptr;
    const Variant reply(g_dbus_connection_call_sync(bus, kPortalName, kPortalPath, kPortalSettings, "Read",
                                                    g_variant_new("(ss)", kLookNamespace, kLookKey),
                                                    G_VARIANT_TYPE("(v)"), G_DBUS_CALL_FLAGS_NONE,
                                                    kPortalPatienceMs, nullptr, nullptr));
    g_object_unref(bus);
    if (!reply) return nullptr;
    Variant value(g_variant_get_child_value(reply.get(), 0));
    while (g_variant_is_of_type(value.get(), G_VARIANT_TYPE_VARIANT))
        value.reset(g_variant_get_variant(value.get()));
    return value;
}

/// None when the portal does not answer or has no preference.
std::optional<bool> portalPrefersDark() {
    constexpr guint32 kDark = 1;
    constexpr guint32 kLight = 2;
    const Variant value = portalColorScheme();
    if (!value || !g_variant_is_of_type(value.get(), G_VARIANT_TYPE_UINT32)) return std::nullopt;
    const guint32 scheme = g_variant_get_uint32(value.get());
    if (scheme != kDark && scheme != kLight) return std::nullopt;
    return scheme == kDark;
}

bool preferDarkProperty(GtkSettings* settings) {
    gboolean dark = FALSE;
    g_object_get(settings, kPreferDark, &dark, nullptr);
    return dark;
}

/// The value from the user's settings files. Our own look is set in the same property, so what it held before
/// is kept beside it.
bool userPrefersDark(GtkSettings* settings) {
    const gpointer kept = g_object_get_data(G_OBJECT(settings), kDesktopValue);
    return kept ? *static_cast<bool*>(kept) : preferDarkProperty(settings);
}

void setPreferDark(GtkSettings* settings, bool dark) {
    if (!g_object_get_data(G_OBJECT(settings), kDesktopValue)) {
        g_object_set_data_full(G_OBJECT(settings), kDesktopValue, new bool(preferDarkProperty(settings)),
                               [](gpointer value) { delete static_cast<bool*>(value); });
    }
    // Setting it to what it is would load the whole theme anew.
    if (preferDarkProperty(settings) != dark) {
        g_object_set(settings, kPreferDark, static_cast<gboolean>(dark), nullptr);
    }
}

bool gtkPrefersDark() {
    GtkSettings* settings = gtk_settings_get_default();
    if (!settings) return false;
    if (userPrefersDark(settings)) return true;
    char* theme = nullptr;
    g_object_get(settings, "gtk-theme-name", &theme, nullptr);
    if (!theme) return false;
    char* lower = g_ascii_strdown(theme, -1);
    const bool dark = std::strstr(lower, "dark") != nullptr;
    g_free(lower);
    g_free(theme);
    return dark;
}

GtkCssProvider* newScreenProvider() {
    GtkCssProvider* provider = gtk_css_provider_new();
    gtk_style_context_add_provider_for_screen(gdk_screen_get_default(), GTK_STYLE_PROVIDER(provider),
                                              GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    return provider;
}

}  // namespace

bool desktopPrefersDark() {
    const auto portal = portalPrefersDark();
    return portal ? *portal : gtkPrefersDark();
}

GtkCssProvider* applyLook(bool dark, GtkCssProvider* provider) {
    set_active_dark(dark);
    const std::string css = build_css(dark ? Palette::dark_() : Palette::light()) + focus_css();
    if (!provider) provider = newScreenProvider();
    gtk_css_provider_load_from_data(provider, css.c_str(), -1, nullptr);
    if (GtkSettings* settings = gtk_settings_get_default()) setPreferDark(settings, dark);
    refresh_recolorable_icons();
    return provider;
}

guint watchDesktopLook(GDBusSignalCallback handler, gpointer data) {
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);  // kept
    if (!bus) return 0;
    return g_dbus_connection_signal_subscribe(bus, kPortalName, kPortalSettings, "SettingChanged",
                                              kPortalPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE, handler, data,
                                              nullptr);
}

bool isDesktopLookChange(GVariant* parameters) {
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ssv)"))) return false;
    const char* name_space = nullptr;
    const char* key = nullptr;
    g_variant_get(parameters, "(&s&sv)", &name_space, &key, nullptr);
    return std::strcmp(name_space, kLookNamespace) == 0 && std::strcmp(key, kLookKey) == 0;
}
