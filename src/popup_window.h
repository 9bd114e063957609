#pragma once

#include <gtk/gtk.h>

#include <memory>
#include <string>
#include <string_view>

#include "about_view.h"
#include "cpu_view.h"
#include "gpu_view.h"
#include "help_view.h"
#include "popup_grab.h"
#include "process_view.h"
#include "settings.h"
#include "settings_view.h"
#include "system_info.h"
#include "widgets.h"

/// The one window of the program: a borderless popup with a page for each entry of the indicator's menu. It
/// hangs from the upper edge of the screen near the pointer, holds pointer and keyboard while it is shown,
/// and goes away with Escape, its button, or a click beside it.
///
/// A page that is higher than its usual window makes the window higher; what the screen has no room for
/// scrolls.
class PopupWindow {
public:
    /// Shows nothing. A page is built when it is first wanted: most of them are never looked at. Both
    /// references must outlive the object.
    PopupWindow(SystemInfo& info, Settings& settings);
    ~PopupWindow();
    PopupWindow(const PopupWindow&) = delete;
    PopupWindow& operator=(const PopupWindow&) = delete;

    /// Shows a page for a pointer at (x, y), in pixels of the whole screen: 0 CPU, 1 GPU, 2 all processes,
    /// 3 own processes, 4 help, 5 about; any other number shows the page that was last shown. Fetches what
    /// the page needs at once.
    void showTab(int tab, int x, int y);
    void showSettings(int x, int y);

    /// Changes from any page to the settings, and from there to the CPU page. Title and size stay.
    void toggleSettings();

    /// Shows the present readings on the page that is showing, if any.
    void updateViews();
    void onTabChanged() { updateViews(); }

    /// Gives back pointer and keyboard, and hides the window.
    void hide();
    bool isVisible() const { return gtk_widget_get_visible(window_) != FALSE; }

private:
    GtkWidget* window() const { return window_; }
    void buildUI();
    GtkWidget* buildHeader();
    GtkWidget* buildPages();
    GtkWidget* buildFooter();
    GtkWidget* buildPage(std::string_view name);
    GtkWidget* buildProcessPage(std::unique_ptr<ProcessView>& view, bool own_only);

    void showPage(const char* name);
    void setTitleAndSize(const char* title, int width, int height);
    std::string visiblePage() const;
    void recordPage();
    void fetchSamples();
    void refreshPage();
    void positionAndShow(int x, int y);
    void place(int x, int y);
    void fitHeight();
    void growToFit();
    int width() const;
    int neededHeight();
    int measuredHeight() const;
    GtkWidget* innerScroller() const;
    /// Closes what is open on top of the settings page, if anything.
    bool stepBack();
    bool isInside(const GdkEvent* event) const;
    gboolean onPress(GdkEvent* event);

    static gboolean onButtonPress(GtkWidget* window, GdkEvent* event, gpointer self);
    static gboolean onTouch(GtkWidget* window, GdkEvent* event, gpointer self);
    static gboolean onKeyPress(GtkWidget* window, GdkEventKey* event, gpointer self);
    static void onHidden(GtkWidget* window, gpointer self);
    static gboolean onIdleResize(gpointer self);

    SystemInfo& info_;
    Settings& settings_;
    OwnedWidget window_;
    GtkWidget* main_stack_ = nullptr;
    GtkWidget* scroller_ = nullptr;  ///< around the stack
    GtkWidget* view_title_ = nullptr;
    GtkWidget* settings_btn_ = nullptr;
    PopupGrab grab_;
    // Null until their page is first shown.
    std::unique_ptr<CPUView> cpu_view_;
    std::unique_ptr<GPUView> gpu_view_;
    std::unique_ptr<ProcessView> all_proc_view_;
    std::unique_ptr<ProcessView> my_proc_view_;
    std::unique_ptr<HelpView> help_view_;
    std::unique_ptr<AboutView> about_view_;
    std::unique_ptr<SettingsView> settings_view_;
    bool show_settings_ = false;
    int current_width_ = 420;   ///< pixels, of the next show
    int current_height_ = 500;  ///< the least height; 0 and below: as high as the page
    int least_height_ = 500;    ///< the same, of the present show
    int height_limit_ = G_MAXINT;
    int fitted_height_ = 0;  ///< last asked for, 0 = not yet
    guint idle_resize_id_ = 0;
};
