#pragma once

#include <vector>

#include "color_sheet.h"
#include "settings.h"
#include "widgets.h"

/// The rows of the panel's items on the settings page: each with its place, its colour and whether it is
/// shown.
class ItemRows {
public:
    /// More than any panel has room for. A settings file may repeat its items without end, and no window can
    /// hold that many rows (X11 ends at 32767 pixels).
    static constexpr int kMostRows = 256;

    /// The fixed colour of an item's dot, 0..1, whatever the user's colour is.
    struct TypeColor {
        double r = 0, g = 0, b = 0;
    };

    /// Starts empty.
    ItemRows(Settings& settings, ColorSheet& sheet);

    GtkWidget* widget() const { return items_box_; }

    /// Makes all rows anew.
    void rebuild();

private:
    GtkWidget* newItemRow(int index);
    void addMoveButton(GtkWidget* row, int index, int step);
    void addColorButton(GtkWidget* row, MenuBarItemType type);
    GtkWidget* addCheck(GtkWidget* row, int index);
    void showColor(GtkWidget* button) const;
    void move(int from, int to);
    void focusMoveButton(int index, int step);

    static void onUp(GtkButton* button, gpointer self);
    static void onDown(GtkButton* button, gpointer self);
    static void onPlaced(GtkWidget* row, GdkRectangle* place, gpointer button);
    static void onColorClicked(GtkButton* button, gpointer self);
    static void onColorSet(GtkColorButton* button, gpointer self);
    static void onToggled(GtkToggleButton* check, gpointer self);
    static gboolean drawColorDot(GtkWidget* dot, cairo_t* context, gpointer data);

    Settings& settings_;
    ColorSheet& sheet_;
    std::vector<GtkWidget*> color_buttons_;
    OwnedWidget items_box_;
};
