#include "color_sheet.h"

#include <array>
#include <cmath>
#include <string_view>
#include <utility>
#include <vector>

#include "accessible.h"
#include "color.h"
#include "l10n.h"

namespace {

constexpr int kMargin = 8;       // pixels
constexpr int kPlaneSide = 260;  // pixels; at its usual 300 the editor is wider than the popup
constexpr int kColumns = 7;

const TextStyle kTitleStyle{.points = 10, .weight = PANGO_WEIGHT_SEMIBOLD};

/// Pale, bright, strong and deep tones, then greys: for dark panels and for bright ones. The items' default
/// colours are among them, so that there is a way back.
constexpr std::array<unsigned, 5UL * kColumns> kPalette{
    0xFFB8BF, 0xFFD9A8, 0xFFF3A6, 0xB8F0B8, 0xB0F4F4, 0xB5D4FF, 0xFFC4E1,  //
    0xFF6070, 0xFFA040, 0xFFE040, 0x60D060, 0x40E0E0, 0x4090FF, 0xFF6EB4,  //
    0xE02030, 0xD08020, 0xD8B400, 0x20A020, 0x00A8A8, 0x2060E0, 0xB050F0,  //
    0x901018, 0x8A4A00, 0x8A7000, 0x0A6010, 0x006A70, 0x103090, 0x601090,  //
    0xFFFFFF, 0xD9D9D9, 0xB0B0B0, 0x888888, 0x606060, 0x303030, 0x000000,
};

GdkRGBA colorOf(unsigned rgb) {
    const auto channel = [rgb](unsigned shift) { return static_cast<double>(rgb >> shift & 0xFFU) / 255.0; };
    return {channel(16), channel(8), channel(0), 1};
}

/// The editor reckons in hue, saturation and value, and a channel (0..1) comes back off by a hair. Where
/// colours are cut off to 8 bits, that would be a whole step.
double withoutError(double channel) {
    const double steps = std::round(channel * 255.0);
    return std::abs(channel * 255.0 - steps) < 1e-6 ? steps / 255.0 : channel;
}

/// Where the keyboard starts: at the palette's chosen colour, or at the text in the editor.
void findStart(GtkWidget* widget, gpointer found) {
    if (!gtk_widget_get_visible(widget)) return;
    const bool chosen = gtk_widget_get_state_flags(widget) & GTK_STATE_FLAG_SELECTED;
    if (GTK_IS_ENTRY(widget) || (chosen && gtk_widget_get_can_focus(widget))) {
        *static_cast<GtkWidget**>(found) = widget;
    } else if (GTK_IS_CONTAINER(widget)) {
        gtk_container_forall(GTK_CONTAINER(widget), findStart, found);
    }
}

void focusInside(GtkWidget* chooser) {
    GtkWidget* start = nullptr;
    findStart(chooser, &start);
    if (start) gtk_widget_grab_focus(start);
}

/// The editor starts with the colour chosen so far, and not with one of its own.
void editChosen(GtkWidget* /*add_button*/, gpointer chooser) {
    g_object_set(chooser, "show-editor", TRUE, nullptr);
}

/// As the settings have it. The toolkit has names for some colours only, and in the desktop's language.
void nameSwatch(GtkWidget* swatch) {
    GdkRGBA* color = nullptr;
    g_object_get(swatch, "rgba", &color, nullptr);
    setAccessibleName(swatch, hexText(color->red, color->green, color->blue));
    gdk_rgba_free(color);
}

/// The chooser is made for a dialog, and what it consists of has no interface of its own.
void fitIntoPopup(GtkWidget* widget, gpointer chooser) {
    const std::string_view type = G_OBJECT_TYPE_NAME(widget);
    if (type == "GtkColorPlane") gtk_widget_set_size_request(widget, kPlaneSide, kPlaneSide);
    if (type == "GtkColorSwatch") {
        gtk_drag_source_unset(widget);  // a drag would take the popup's grab away
        if (g_strcmp0(gtk_widget_get_name(widget), "add-color-button") == 0) {
            g_signal_connect_after(widget, "activate", G_CALLBACK(editChosen), chooser);
        } else {
            nameSwatch(widget);
        }
    }
    if (GTK_IS_CONTAINER(widget)) gtk_container_forall(GTK_CONTAINER(widget), fitIntoPopup, chooser);
}

GtkWidget* newChooser(const GdkRGBA& color) {
    GtkWidget* const chooser = gtk_color_chooser_widget_new();
    std::vector<GdkRGBA> palette;
    palette.reserve(kPalette.size());
    for (const unsigned rgb : kPalette)
        palette.push_back(colorOf(rgb));
    gtk_color_chooser_set_use_alpha(GTK_COLOR_CHOOSER(chooser), FALSE);
    gtk_color_chooser_add_palette(GTK_COLOR_CHOOSER(chooser), GTK_ORIENTATION_HORIZONTAL, kColumns,
                                  static_cast<int>(palette.size()), palette.data());
    gtk_color_chooser_set_rgba(GTK_COLOR_CHOOSER(chooser), &color);
    fitIntoPopup(chooser, chooser);
    g_signal_connect(chooser, "notify::show-editor", G_CALLBACK(focusInside), nullptr);
    gtk_widget_set_halign(chooser, GTK_ALIGN_CENTER);
    return chooser;
}

}  // namespace

ColorSheet::ColorSheet(GtkWidget* page) : page_(page), sheet_(newColumnBox(0)) {
    packFilling(page_, sheet_);
    gtk_widget_set_no_show_all(sheet_, TRUE);
    // A page that is left and come back to shows what it usually shows.
    g_signal_connect_swapped(sheet_, "unmap", G_CALLBACK(+[](ColorSheet* self) { self->close(); }), this);
}

ColorSheet::~ColorSheet() {
    g_signal_handlers_disconnect_by_data(sheet_, this);
    g_clear_weak_pointer(&button_);
}

void ColorSheet::open(GtkWidget* color_button, const std::string& title) {
    if (isOpen()) return;
    g_set_weak_pointer(&button_, color_button);
    content_ = newContent(title);
    packFilling(sheet_, content_);
    gtk_widget_show_all(content_);
    cover(true);
    focusInside(chooser_);
}

GtkWidget* ColorSheet::newContent(const std::string& title) {
    GdkRGBA color{};
    gtk_color_chooser_get_rgba(GTK_COLOR_CHOOSER(button_), &color);
    chooser_ = newChooser(color);
    setAccessibleName(chooser_, title);
    g_signal_connect_swapped(chooser_, "color-activated", G_CALLBACK(+[](ColorSheet* self) { self->take(); }),
                             this);

    GtkWidget* const content = newColumnBox(kMargin);
    setPageMargins(content, kMargin, kMargin);
    gtk_widget_set_margin_bottom(content, kMargin);
    pack(content, newLabel(title, kTitleStyle));
    packSeparator(content);
    packFilling(content, chooser_);
    GtkWidget* const buttons = newRow(kMargin);
    gtk_widget_set_halign(buttons, GTK_ALIGN_END);
    addButton(buttons, "settings.back", [](ColorSheet* self) { self->leave(); });
    addButton(buttons, "settings.apply", [](ColorSheet* self) { self->take(); });
    pack(content, buttons);
    return content;
}

void ColorSheet::addButton(GtkWidget* row, const char* text_key, void (*on_click)(ColorSheet*)) {
    GtkWidget* const button = newTextButton(L10n::tr(text_key));
    g_signal_connect_swapped(button, "clicked", G_CALLBACK(on_click), this);
    pack(row, button);
}

/// Shows the sheet instead of the rest of the page or the other way round, and keeps it so when the window is
/// shown with all that is in it.
void ColorSheet::cover(bool covered) {
    GList* const children = gtk_container_get_children(GTK_CONTAINER(page_));
    for (const GList* child = children; child; child = child->next) {
        auto* const widget = static_cast<GtkWidget*>(child->data);
        if (widget == sheet_) continue;
        gtk_widget_set_no_show_all(widget, covered);
        gtk_widget_set_visible(widget, !covered);
    }
    g_list_free(children);
    gtk_widget_set_visible(sheet_, covered);
}

void ColorSheet::close() {
    if (!isOpen()) return;
    chooser_ = nullptr;
    gtk_widget_destroy(std::exchange(content_, nullptr));
    cover(false);
}

void ColorSheet::leave() {
    close();
    if (button_) gtk_widget_grab_focus(button_);
    g_clear_weak_pointer(&button_);
}

void ColorSheet::take() {
    // A text that is still being typed counts when the focus leaves it.
    GtkWidget* const window = gtk_widget_get_toplevel(sheet_);
    if (GTK_IS_WINDOW(window)) gtk_window_set_focus(GTK_WINDOW(window), nullptr);
    GdkRGBA color{};
    gtk_color_chooser_get_rgba(GTK_COLOR_CHOOSER(chooser_), &color);
    for (double* channel : {&color.red, &color.green, &color.blue})
        *channel = withoutError(*channel);
    GtkWidget* const button = button_;
    leave();
    if (!button) return;
    gtk_color_chooser_set_rgba(GTK_COLOR_CHOOSER(button), &color);
    g_signal_emit_by_name(button, "color-set");
}
