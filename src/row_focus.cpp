#include "row_focus.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>
#include <vector>

#include "process_row.h"

namespace {

std::vector<GtkWidget*> rowsOf(GtkWidget* list) {
    std::vector<GtkWidget*> rows;
    GList* const children = gtk_container_get_children(GTK_CONTAINER(list));
    for (const GList* entry = children; entry != nullptr; entry = entry->next)
        rows.push_back(static_cast<GtkWidget*>(entry->data));
    g_list_free(children);
    return rows;
}

/// What scrolls to a widget when it takes the focus are the adjustments of the containers around it. A new
/// row has no place yet to which to scroll, and the user may have scrolled elsewhere.
void grabFocusInPlace(GtkWidget* widget) {
    std::vector<std::pair<GtkContainer*, GtkAdjustment*>> scrolling;
    for (GtkWidget* parent = gtk_widget_get_parent(widget); parent; parent = gtk_widget_get_parent(parent)) {
        auto* const container = GTK_CONTAINER(parent);
        GtkAdjustment* const adjustment = gtk_container_get_focus_vadjustment(container);
        if (!adjustment) continue;
        scrolling.emplace_back(container, static_cast<GtkAdjustment*>(g_object_ref(adjustment)));
        gtk_container_set_focus_vadjustment(container, nullptr);
    }
    gtk_widget_grab_focus(widget);
    for (const auto& [container, adjustment] : scrolling) {
        gtk_container_set_focus_vadjustment(container, adjustment);
        g_object_unref(adjustment);
    }
}

}  // namespace

RowFocus::RowFocus(GtkWidget* list) : list_(list) {
    GtkWidget* const window = gtk_widget_get_toplevel(list);
    GtkWidget* const focus = GTK_IS_WINDOW(window) ? gtk_window_get_focus(GTK_WINDOW(window)) : nullptr;
    if (!focus || gtk_widget_get_parent(focus) != list) return;
    const auto rows = rowsOf(list);
    place_ = static_cast<int>(std::ranges::find(rows, focus) - rows.begin());
    pid_ = pidOfRow(focus);
}

void RowFocus::giveBack() const {
    const auto rows = rowsOf(list_);
    if (place_ < 0 || rows.empty()) return;
    auto row = std::ranges::find(rows, pid_, pidOfRow);
    if (row == rows.end()) row = rows.begin() + std::min<std::ptrdiff_t>(place_, std::ssize(rows) - 1);
    grabFocusInPlace(*row);
}
