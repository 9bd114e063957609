#pragma once

#include "settings.h"
#include "system_info.h"
#include "widgets.h"

/// The settings page: its scrolled content, and the footer below it.
class SettingsView {
public:
    SettingsView(Settings& settings, SystemInfo& info)
        : settings_(settings), info_(info), page_(newColumnBox(4)), container_(newColumnBox(6)) {}
    SettingsView(const SettingsView&) = delete;
    SettingsView& operator=(const SettingsView&) = delete;

    /// The whole page: the scrolled content with the footer below.
    GtkWidget* page() const { return page_; }
    /// Offers the devices that there are now.
    void refreshDevices() {}
    /// Steps back from a part of the page that covers the rest; false when there is none.
    bool stepBack() { return false; }

private:
    [[maybe_unused]] Settings& settings_;
    [[maybe_unused]] SystemInfo& info_;
    OwnedWidget page_;
    OwnedWidget container_;
};
