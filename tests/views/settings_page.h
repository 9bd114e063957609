#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "fake_kernel.h"
#include "fake_programs.h"
#include "settings_fixture.h"
#include "settings_view.h"
#include "widget_tree.h"

/// A settings page of a machine of fixture files, in a window of the popup's inner width.
class SettingsPageTest : public SettingsTest {
protected:
    static constexpr int kWidth = 408;   // pixels
    static constexpr int kHeight = 514;  // pixels

    ~SettingsPageTest() override {
        page_.reset();
        if (window_) gtk_widget_destroy(window_);
    }

    /// Reads the settings file anew and puts the page into a window that is shown.
    void show() {
        make();
        window_ = gtk_window_new(GTK_WINDOW_POPUP);
        outer_ = gtk_scrolled_window_new(nullptr, nullptr);
        gtk_container_add(GTK_CONTAINER(outer_), page());
        gtk_container_add(GTK_CONTAINER(window_), outer_);
        gtk_window_resize(GTK_WINDOW(window_), kWidth, kHeight);
        gtk_widget_show_all(window_);
        // As the popup's grab would do: widgets take the keys only of a window that has the focus.
        gdk_window_focus(gtk_widget_get_window(window_), GDK_CURRENT_TIME);
        settleFor(50);
    }
    /// The same, in no window.
    void make() {
        settings_ = std::make_unique<Settings>();
        info_ = std::make_unique<SystemInfo>(kernel_.root());
        page_ = std::make_unique<SettingsView>(*settings_, *info_);
        settings_->on_change = [this] { ++changes_; };
        settings_->on_theme_change = [this] { ++theme_changes_; };
    }

    GtkWidget* page() const { return page_->page(); }
    GtkWindow* window() const { return GTK_WINDOW(window_); }

    /// Layout waits for the next frame.
    static void settleFor(int ms) {
        const gint64 end = g_get_monotonic_time() + ms * 1000;
        do {
            settle();
            g_usleep(1000);
        } while (g_get_monotonic_time() < end);
    }

    static std::vector<GtkWidget*> children(GtkWidget* container) {
        GList* const list = gtk_container_get_children(GTK_CONTAINER(container));
        std::vector<GtkWidget*> found;
        for (const GList* child = list; child; child = child->next)
            found.push_back(GTK_WIDGET(child->data));
        g_list_free(list);
        return found;
    }
    GtkScrolledWindow* scrolled() const { return GTK_SCROLLED_WINDOW(children(page())[0]); }
    GtkAdjustment* position() const { return gtk_scrolled_window_get_vadjustment(scrolled()); }

    std::vector<GtkWidget*> rows() const {
        std::vector<GtkWidget*> found;
        for (GtkWidget* box : widgetsOfType(page(), GTK_TYPE_BOX)) {
            GtkStyleContext* const style = gtk_widget_get_style_context(box);
            if (gtk_style_context_has_class(style, "setting-row-on") ||
                gtk_style_context_has_class(style, "setting-row-off"))
                found.push_back(box);
        }
        return found;
    }
    GtkWidget* row(std::size_t index) const { return rows().at(index); }
    GtkWidget* up(std::size_t index) const { return children(row(index)).at(0); }
    GtkWidget* down(std::size_t index) const { return children(row(index)).at(1); }
    static GtkWidget* only(GtkWidget* root, GType type) {
        const auto found = widgetsOfType(root, type);
        EXPECT_EQ(found.size(), 1U);
        return found.empty() ? nullptr : found.at(0);
    }
    GtkWidget* colorButton(std::size_t index) const { return only(row(index), GTK_TYPE_COLOR_BUTTON); }
    GtkWidget* check(std::size_t index) const { return only(row(index), GTK_TYPE_CHECK_BUTTON); }
    static void click(GtkWidget* button) { gtk_button_clicked(GTK_BUTTON(button)); }
    static void toggle(GtkWidget* check) {
        GtkToggleButton* const button = GTK_TOGGLE_BUTTON(check);
        gtk_toggle_button_set_active(button, !gtk_toggle_button_get_active(button));
    }

    enum Combo { Language, Theme, Gpu, Net };
    GtkComboBox* combo(Combo which) const {
        return GTK_COMBO_BOX(widgetsOfType(page(), GTK_TYPE_COMBO_BOX).at(which));
    }
    static std::vector<std::string> entries(GtkComboBox* combo) {
        std::vector<std::string> texts;
        gtk_tree_model_foreach(
            gtk_combo_box_get_model(combo),
            [](GtkTreeModel* model, GtkTreePath*, GtkTreeIter* place, gpointer found) -> gboolean {
                gchar* text = nullptr;
                gtk_tree_model_get(model, place, 0, &text, -1);
                static_cast<std::vector<std::string>*>(found)->emplace_back(text);
                g_free(text);
                return FALSE;
            },
            &texts);
        return texts;
    }

    static GdkRGBA colorOf(GtkWidget* chooser) {
        GdkRGBA color{};
        gtk_color_chooser_get_rgba(GTK_COLOR_CHOOSER(chooser), &color);
        return color;
    }
    static std::string shownColor(GtkWidget* chooser) {
        const GdkRGBA color = colorOf(chooser);
        gchar* const text = gdk_rgba_to_string(&color);
        const std::string copy = text;
        g_free(text);
        return copy;
    }

    /// Takes away the place where the settings would be written, whoever asks.
    void blockConfig() const {
        std::filesystem::remove_all(home_ / ".config");
        writeFile(home_ / ".config", "in the way");
    }

    FakeKernel kernel_;
    FakePrograms programs_;
    std::unique_ptr<Settings> settings_;
    std::unique_ptr<SystemInfo> info_;
    std::unique_ptr<SettingsView> page_;
    GtkWidget* window_ = nullptr;
    GtkWidget* outer_ = nullptr;
    int changes_ = 0;
    int theme_changes_ = 0;
};
