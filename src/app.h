#pragma once

#include <gtk/gtk.h>
#include <libayatana-appindicator/app-indicator.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bus_watch.h"
#include "panel_image.h"
#include "png_writer.h"
#include "popup_window.h"
#include "settings.h"
#include "system_info.h"

/// The one application object: owns the settings and the snapshot, shows the indicator with its menu
/// and the popup, and redraws the panel image after each refresh.
class App {
public:
    using LabelSegment = ::LabelSegment;

    /// Needs an initialised GTK and L10n. `root` is where the kernel's files are.
    explicit App(const std::string& root = "/");
    /// Stops the timers and removes the panel images. The indicator is left to the end of the process.
    ~App();
    App(const App&) = delete;
    App& operator=(const App&) = delete;

    /// Starts the timers and runs the main loop until Quit.
    void run();

    void updateLabel();
    /// Draws the enabled items into the panel image and has the indicator show it under a new name.
    void renderLabelIcon();
    std::vector<LabelSegment> buildSegments() const;

    /// Whether our windows are to be dark: as the settings say, or as the desktop does while they leave it to
    /// the desktop.
    bool resolveDark() const;
    /// What the desktop prefers; blocks while the portal thinks, for up to half a second once the bus is
    /// reached.
    static bool systemPrefersDark();
    /// Decides anew and dresses all windows.
    void applyTheme();
    /// The same as soon as the main loop is idle.
    void queueApplyTheme();

private:
    void setupIndicator();
    void buildMenu();
    GtkWidget* appendMenuItem(const std::string& text);
    GtkWidget* appendTabItem(const std::string& text, guint8 tab);
    void appendSeparator();
    /// Lets the menu hide the popup as soon as the indicator's library has done with it.
    void queueMenuWatch();
    std::string imagePath(const std::string& name) const;
    /// For the end of a time in which files could not be written: fonts and icons may not have been opened
    /// meanwhile, nor the desktop been asked.
    void catchUp();
    /// Says the figures in the item's title, now and then.
    void updateTitle(const std::vector<LabelSegment>& segments);
    void watchSystemTheme();
    static void onBusReturned();
    static void onPortalSettingChanged(GDBusConnection* connection, const char* sender, const char* path,
                                       const char* interface, const char* signal, GVariant* parameters,
                                       gpointer self);
    /// Built when it is first wanted: many a session never opens it, and its pages take more memory than all
    /// the rest of the program.
    PopupWindow& popup();
    static void onMenuShown(GtkWidget* menu, gpointer self);
    static void onShowTab(GtkMenuItem* item, gpointer record);
    static void onShowSettings(GtkMenuItem* item, gpointer self);
    static void onQuit(GtkMenuItem* item, gpointer data);

    BusWatch bus_watch_{onBusReturned};
    std::unique_ptr<Settings> settings_;
    std::unique_ptr<SystemInfo> system_info_;
    std::unique_ptr<PopupWindow> popup_;  ///< null until it is first opened
    bool popup_outdated_ = false;         ///< its pages may lack pictures
    std::string image_dir_;
    std::string icon_path_;  ///< scratch image, renamed when it is whole
    AppIndicator* indicator_ = nullptr;
    GtkWidget* menu_ = nullptr;
    GtkCssProvider* css_provider_ = nullptr;  ///< the one style sheet, kept by the screen
    bool dark_ = false;
    guint portal_sub_ = 0;    ///< D-Bus subscription, 0 = none
    guint queued_theme_ = 0;  ///< source id
    guint queued_watch_ = 0;  ///< source id
    PanelImage panel_image_;
    PngWriter png_writer_;
    std::optional<PanelMetrics> panel_metrics_;  ///< looked up at the first drawing, then kept
    unsigned icon_counter_ = 0;                  ///< images written
    unsigned title_age_ = 0;                     ///< drawings since it was only the name
    bool written_ = true;                        ///< the last one could be
};
