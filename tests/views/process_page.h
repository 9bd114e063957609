#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "fake_kernel.h"
#include "process_view.h"
#include "theme.h"
#include "widget_tree.h"

/// How a label's text is drawn: "8pt 400 monospace", with its colour behind ("8080 8080 8080") if it has one.
inline std::string styleOf(GtkWidget* label) {
    PangoAttrIterator* start = pango_attr_list_get_iterator(gtk_label_get_attributes(GTK_LABEL(label)));
    const auto get = [start](PangoAttrType type) { return pango_attr_iterator_get(start, type); };
    std::ostringstream style;
    if (const auto* size = get(PANGO_ATTR_SIZE))
        style << reinterpret_cast<const PangoAttrSize*>(size)->size / double{PANGO_SCALE} << "pt";
    const auto* weight = get(PANGO_ATTR_WEIGHT);
    style << ' ' << (weight ? reinterpret_cast<const PangoAttrInt*>(weight)->value : 400);
    if (const auto* family = get(PANGO_ATTR_FAMILY))
        style << ' ' << reinterpret_cast<const PangoAttrString*>(family)->value;
    if (const auto* foreground = get(PANGO_ATTR_FOREGROUND)) {
        const PangoColor color = reinterpret_cast<const PangoAttrColor*>(foreground)->color;
        style << std::hex << ' ' << color.red << ' ' << color.green << ' ' << color.blue;
    }
    pango_attr_iterator_destroy(start);
    return style.str();
}

/// A process page with invented processes, in a popup on the screen.
class ProcessViewTest : public testing::Test {
protected:
    /// A pid beyond the kernel's greatest, so that nothing here can reach a real process.
    static constexpr int kNobody = 2'000'000'000;

    ProcessViewTest() : info_(kernel_.root()), window_(gtk_window_new(GTK_WINDOW_POPUP)) {}
    ~ProcessViewTest() override {
        view_.reset();
        gtk_widget_destroy(window_);
        set_active_dark(false);
    }

    /// Makes the view and shows it with the snapshot's rows.
    void open(bool user_only = false) {
        view_.emplace(info_, user_only);
        gtk_container_set_border_width(GTK_CONTAINER(window_), 6);
        gtk_container_add(GTK_CONTAINER(window_), view_->container());
        gtk_window_resize(GTK_WINDOW(window_), 520, 1);
        gtk_widget_show_all(window_);
        view_->update();
        settle();
    }

    void openWith(std::vector<ProcessUsage> processes) {
        info_.top_processes = std::move(processes);
        open();
    }

    static ProcessUsage process(int pid, const std::string& name, double cpu = 0, double memory = 0) {
        return {.pid = pid, .name = name, .user = "root", .cpu_usage = cpu, .memory_mb = memory, .uid = 0};
    }

    /// Runs the main loop until that is so, for some seconds at most.
    static bool comesTrue(const std::function<bool()>& condition) {
        const gint64 end = g_get_monotonic_time() + 5 * G_TIME_SPAN_SECOND;
        while (!condition() && g_get_monotonic_time() < end) {
            if (!g_main_context_iteration(nullptr, FALSE)) g_usleep(1000);
        }
        return condition();
    }

    std::vector<GtkWidget*> rows() const { return widgetsOfType(view_->container(), GTK_TYPE_EVENT_BOX); }
    GtkWidget* scrolled() const {
        return widgetsOfType(view_->container(), GTK_TYPE_SCROLLED_WINDOW).front();
    }
    /// Rank, name, user, memory, CPU usage.
    static std::vector<GtkWidget*> cells(GtkWidget* row) { return widgetsOfType(row, GTK_TYPE_LABEL); }
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (GtkWidget* row : rows())
            found.push_back(labelTexts(row).at(1));
        return found;
    }

    GtkWidget* part(int index) const {
        GList* children = gtk_container_get_children(GTK_CONTAINER(view_->container()));
        GtkWidget* child = GTK_WIDGET(g_list_nth_data(children, static_cast<guint>(index)));
        g_list_free(children);
        return child;
    }
    /// The header's buttons, by column.
    std::vector<GtkWidget*> titles() const { return widgetsOfType(part(0), GTK_TYPE_BUTTON); }
    std::vector<std::string> titleTexts() const {
        std::vector<std::string> texts;
        for (GtkWidget* title : titles())
            texts.push_back(labelTexts(title).front());
        return texts;
    }
    void clickTitle(ProcessView::SortColumn column) const {
        gtk_button_clicked(GTK_BUTTON(titles().at(static_cast<std::size_t>(column))));
    }

    GtkWidget* bar() const { return part(4); }
    std::string barText() const { return labelTexts(bar()).front(); }
    GtkWidget* button(const char* key) const { return GTK_WIDGET(g_object_get_data(G_OBJECT(bar()), key)); }
    void clickButton(const char* key) const { gtk_button_clicked(GTK_BUTTON(button(key))); }
    /// The bar's buttons that can be seen, from left to right.
    std::vector<std::string> offers() const {
        std::vector<std::string> found;
        if (!gtk_widget_get_visible(bar())) return found;
        for (const char* key : {"yes_btn", "no_btn", "term_btn", "kill_btn"}) {
            if (gtk_widget_get_visible(button(key))) found.emplace_back(key);
        }
        return found;
    }

    /// A press of a mouse button on a row; what the row's handler answers.
    static bool press(GtkWidget* row, GdkEventType type = GDK_BUTTON_PRESS, guint number = 1) {
        GdkEvent* event = gdk_event_new(type);
        event->button.window = GDK_WINDOW(g_object_ref(gtk_widget_get_window(row)));
        event->button.button = number;
        gdk_event_set_device(event,
                             gdk_seat_get_pointer(gdk_display_get_default_seat(gdk_display_get_default())));
        const bool handled = gtk_widget_event(row, event) == TRUE;
        gdk_event_free(event);
        return handled;
    }
    /// A click with the pointer, as the window system reports it; where on the screen is for the test to say.
    static void click(GtkWidget* button, double x_root = 0) {
        for (const GdkEventType type : {GDK_BUTTON_PRESS, GDK_BUTTON_RELEASE}) {
            GdkEvent* event = gdk_event_new(type);
            event->button.window = GDK_WINDOW(g_object_ref(gtk_button_get_event_window(GTK_BUTTON(button))));
            event->button.button = GDK_BUTTON_PRIMARY;
            event->button.x = event->button.y = 5;
            event->button.x_root = x_root;
            gdk_event_set_device(
                event, gdk_seat_get_pointer(gdk_display_get_default_seat(gdk_display_get_default())));
            gtk_widget_event(button, event);
            gdk_event_free(event);
        }
    }
    /// The pids of the rows that stand out.
    std::vector<int> highlighted() const {
        std::vector<int> pids;
        for (GtkWidget* row : rows()) {
            if (gtk_style_context_has_class(gtk_widget_get_style_context(row), "selected-process"))
                pids.push_back(GPOINTER_TO_INT(g_object_get_data(G_OBJECT(row), "pid")));
        }
        return pids;
    }

    FakeKernel kernel_;
    SystemInfo info_;
    GtkWidget* window_;
    std::optional<ProcessView> view_;
};
