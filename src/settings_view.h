#pragma once

#include <string>
#include <vector>

#include "color_sheet.h"
#include "device_choice.h"
#include "item_rows.h"
#include "settings.h"
#include "system_info.h"
#include "widgets.h"

/// The settings page. Every control writes the settings at once; only a new language has to be applied, since
/// the program restarts with it.
class SettingsView {
public:
    SettingsView(Settings& settings, SystemInfo& info);
    SettingsView(const SettingsView&) = delete;
    SettingsView& operator=(const SettingsView&) = delete;

    /// The whole page: the scrolled content with the footer below, or the sheet on which a colour is chosen.
    GtkWidget* page() const { return page_; }
    /// The page's scrolled content. Its size request, which says how low it may be, is there to be lowered on
    /// a screen that has less room.
    GtkWidget* scroller() const { return scroller_; }
    /// Makes the rows of the panel's items anew.
    void rebuild();
    /// Offers the devices that there are now.
    void refreshDevices();
    /// Steps back from a part of the page that covers the rest; false when there is none.
    bool stepBack();

private:
    /// What the Apply button works with.
    struct LangApplyData {
        Settings* settings;
        GtkComboBox* combo;
    };

    void addPanelSection();
    void addAutostartSection();
    GtkWidget* addLanguageSection();
    void addThemeSection();
    void addDevicesSection();
    void addFooter(GtkWidget* language_combo);
    GtkWidget* addChoice(const char* icon, const char* label_key, const std::vector<std::string>& texts,
                         int active);
    void addDeviceRow(const char* label_key, GtkWidget* combo);
    void showAutostart();
    void chooseGpu(const std::string& name);
    void chooseInterface(const std::string& name);

    static void onAutostartToggled(GtkToggleButton* check, gpointer self);
    static void onThemeChanged(GtkComboBox* combo, gpointer self);
    static void onApplyLanguage(GtkButton* button, gpointer data);

    Settings& settings_;
    SystemInfo& info_;
    OwnedWidget container_;
    OwnedWidget apply_footer_;
    GtkWidget* scroller_;
    OwnedWidget page_;
    ColorSheet sheet_;
    ItemRows items_;
    GtkWidget* autostart_icon_;  ///< the box around it
    DeviceChoice gpu_choice_;
    DeviceChoice net_choice_;
};
