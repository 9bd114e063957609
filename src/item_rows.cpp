#include "item_rows.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "accessible.h"
#include "color.h"
#include "color_button.h"
#include "icon_helper.h"
#include "quietly.h"

namespace {

constexpr int kUp = -1;
constexpr int kDown = 1;
constexpr int kDotSide = 12;   // pixels
constexpr int kDotRadius = 5;  // pixels
constexpr unsigned kPadding = 2;
constexpr unsigned kLabelPadding = 4;

const TextStyle kLabelStyle{.points = 10};

ItemRows::TypeColor dotColor(MenuBarItemType type) {
    switch (type) {
        case MenuBarItemType::CpuPercent:
            return {0.267, 0.533, 1.0};
        case MenuBarItemType::CpuBars:
            return {0.0, 0.8, 0.8};
        case MenuBarItemType::Temperature:
            return {1.0, 0.533, 0.0};
        case MenuBarItemType::GpuPercent:
            return {0.667, 0.267, 1.0};
        case MenuBarItemType::NetworkSpeed:
            return {0.267, 0.8, 0.267};
        case MenuBarItemType::MemoryFree:
            return {0.267, 0.8, 0.8};
        case MenuBarItemType::SwapUsed:
            return {1.0, 0.267, 0.267};
    }
    return {0.5, 0.5, 0.5};
}

void setNumber(GtkWidget* widget, const char* key, int number) {
    g_object_set_data(G_OBJECT(widget), key, GINT_TO_POINTER(number));
}

int numberOf(gpointer widget, const char* key) {
    return GPOINTER_TO_INT(g_object_get_data(G_OBJECT(widget), key));
}

MenuBarItemType typeOf(gpointer color_button) {
    return static_cast<MenuBarItemType>(numberOf(color_button, "item_type"));
}

/// What an item's colour is called.
std::string colorName(MenuBarItemType type, const GdkRGBA& color) {
    const auto nearest = [](double channel) { return std::round(channel * 255.0) / 255.0; };
    return itemTypeDisplayName(type) + " " +
           hexText(nearest(color.red), nearest(color.green), nearest(color.blue));
}

GtkWidget* newDot(MenuBarItemType type, GCallback draw) {
    GtkWidget* const dot = gtk_drawing_area_new();
    gtk_widget_set_size_request(dot, kDotSide, kDotSide);
    gtk_widget_set_valign(dot, GTK_ALIGN_CENTER);
    const ItemRows::TypeColor color = dotColor(type);
    attach(dot, "color", color);
    setDecorative(dot, colorName(type, {color.r, color.g, color.b, 1}));
    g_signal_connect(dot, "draw", draw, nullptr);
    return dot;
}

}  // namespace

ItemRows::ItemRows(Settings& settings, ColorSheet& sheet)
    : settings_(settings), sheet_(sheet), items_box_(newColumnBox(0)) {}

void ItemRows::rebuild() {
    color_buttons_.clear();
    destroyChildren(items_box_);
    const std::size_t rows = std::min<std::size_t>(settings_.items_.size(), kMostRows);
    for (std::size_t i = 0; i < rows; ++i)
        pack(items_box_, newItemRow(static_cast<int>(i)));
}

GtkWidget* ItemRows::newItemRow(int index) {
    const MenuBarItem item = settings_.items_[static_cast<std::size_t>(index)];
    GtkWidget* const row = newRow(4);
    g_object_set(row, "margin-start", 4, "margin-end", 4, "margin-top", 3, "margin-bottom", 3, nullptr);
    gtk_style_context_add_class(gtk_widget_get_style_context(row),
                                item.enabled ? "setting-row-on" : "setting-row-off");
    addMoveButton(row, index, kUp);
    addMoveButton(row, index, kDown);
    pack(row, newDot(item.type, G_CALLBACK(drawColorDot)), kPadding);
    GtkWidget* const label = newLabel(itemTypeDisplayName(item.type), kLabelStyle);
    ellipsize(label);
    pack(row, label, kLabelPadding);
    packFilling(row, gtk_label_new(nullptr));
    if (item.type != MenuBarItemType::CpuBars) addColorButton(row, item.type);
    labelControl(label, addCheck(row, index));
    return row;
}

void ItemRows::addMoveButton(GtkWidget* row, int index, int step) {
    const int target = index + step;
    GtkWidget* const button =
        icon_button(step == kUp ? "go-up-symbolic" : "go-down-symbolic", GTK_ICON_SIZE_MENU);
    const MenuBarItemType type = settings_.items_[static_cast<std::size_t>(index)].type;
    setAccessibleName(button, itemTypeDisplayName(type) + (step == kUp ? " ↑" : " ↓"));
    gtk_button_set_relief(GTK_BUTTON(button), GTK_RELIEF_NONE);
    gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
    gtk_widget_set_sensitive(button, target >= 0 && target < static_cast<int>(settings_.items_.size()));
    setNumber(button, "idx", index);
    g_signal_connect(button, "clicked", G_CALLBACK(step == kUp ? onUp : onDown), this);
    pack(row, button);
}

void ItemRows::addColorButton(GtkWidget* row, MenuBarItemType type) {
    GtkWidget* const button = newColorButton();
    setNumber(button, "item_type", static_cast<int>(type));
    showColor(button);
    g_signal_connect(button, "clicked", G_CALLBACK(onColorClicked), this);
    g_signal_connect(button, "color-set", G_CALLBACK(onColorSet), this);
    pack(row, button);
    color_buttons_.push_back(button);
}

GtkWidget* ItemRows::addCheck(GtkWidget* row, int index) {
    const MenuBarItem item = settings_.items_[static_cast<std::size_t>(index)];
    GtkWidget* const check = gtk_check_button_new();
    setAccessibleName(check, itemTypeDisplayName(item.type));
    gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(check), item.enabled);
    setNumber(check, "idx", index);
    g_signal_connect(check, "toggled", G_CALLBACK(onToggled), this);
    pack(row, check);
    return check;
}

void ItemRows::showColor(GtkWidget* button) const {
    GdkRGBA color{0, 0, 0, 1};
    parseHex(settings_.hexColor(typeOf(button)), color.red, color.green, color.blue);
    gtk_color_chooser_set_rgba(GTK_COLOR_CHOOSER(button), &color);
    setAccessibleName(button, colorName(typeOf(button), color));
}

void ItemRows::move(int from, int to) {
    quietly([&] { settings_.moveItem(from, to); });
    rebuild();
    gtk_widget_show_all(items_box_);
    focusMoveButton(to, to - from);
}

/// Lets the same button be pressed again, as soon as its new row has its place.
void ItemRows::focusMoveButton(int index, int step) {
    GtkWidget* const row = childAt(items_box_, index);
    if (!row) return;
    GtkWidget* button = childAt(row, step == kUp ? 0 : 1);
    if (!gtk_widget_get_sensitive(button)) button = childAt(row, step == kUp ? 1 : 0);
    g_signal_connect_after(row, "size-allocate", G_CALLBACK(onPlaced), button);
}

void ItemRows::onPlaced(GtkWidget* row, GdkRectangle* /*place*/, gpointer button) {
    g_signal_handlers_disconnect_by_func(row, reinterpret_cast<gpointer>(onPlaced), button);
    gtk_widget_grab_focus(static_cast<GtkWidget*>(button));
}

void ItemRows::onUp(GtkButton* button, gpointer self) {
    const int index = numberOf(button, "idx");
    static_cast<ItemRows*>(self)->move(index, index + kUp);
}

void ItemRows::onDown(GtkButton* button, gpointer self) {
    const int index = numberOf(button, "idx");
    static_cast<ItemRows*>(self)->move(index, index + kDown);
}

void ItemRows::onColorClicked(GtkButton* button, gpointer self) {
    static_cast<ItemRows*>(self)->sheet_.open(GTK_WIDGET(button), itemTypeDisplayName(typeOf(button)));
}

void ItemRows::onColorSet(GtkColorButton* button, gpointer self) {
    const auto* const rows = static_cast<ItemRows*>(self);
    GdkRGBA color{};
    gtk_color_chooser_get_rgba(GTK_COLOR_CHOOSER(button), &color);
    quietly([&] { rows->settings_.setColor(typeOf(button), hexText(color.red, color.green, color.blue)); });
    // The settings file may have put the same reading into several places.
    for (GtkWidget* each : rows->color_buttons_)
        rows->showColor(each);
}

void ItemRows::onToggled(GtkToggleButton* check, gpointer self) {
    Settings& settings = static_cast<ItemRows*>(self)->settings_;
    const bool active = gtk_toggle_button_get_active(check);
    const auto index = static_cast<std::size_t>(numberOf(check, "idx"));
    if (index >= settings.items_.size()) return;
    settings.items_[index].enabled = active;
    quietly([&] { settings.save(); });
}

gboolean ItemRows::drawColorDot(GtkWidget* dot, cairo_t* context, gpointer /*data*/) {
    const auto* const color = static_cast<const TypeColor*>(g_object_get_data(G_OBJECT(dot), "color"));
    if (!color) return FALSE;
    constexpr double kCenter = kDotSide / 2.0;
    cairo_set_source_rgb(context, color->r, color->g, color->b);
    cairo_arc(context, kCenter, kCenter, kDotRadius, 0, 2 * std::numbers::pi);
    cairo_fill(context);
    return TRUE;
}
