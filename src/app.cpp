#include "app.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "image_directory.h"
#include "l10n.h"
#include "panel_label.h"

namespace {

constexpr const char* kImageNames[] = {"Korvalune_a", "Korvalune_b"};

bool isOwnFile(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

}  // namespace

App::App() : settings_(std::make_unique<Settings>()) {
    if (!settings_->language_.empty()) L10n::setLanguage(settings_->language_);
    system_info_ = std::make_unique<SystemInfo>();
    if (!settings_->selected_net_.empty()) {
        system_info_->network_service_.setInterface(settings_->selected_net_);
    }
    image_dir_ = imageDirectory();
    icon_path_ = imagePath("Korvalune_icon");
    setupIndicator();
    system_info_->on_fast_update = [this] { renderLabelIcon(); };
    settings_->on_change = [this] { renderLabelIcon(); };
}

App::~App() {
    system_info_->stop();
    system_info_->on_fast_update = nullptr;
    system_info_->on_slow_update = nullptr;
    settings_->on_change = nullptr;
    unlink(icon_path_.c_str());
    for (const char* name : kImageNames)
        unlink(imagePath(name).c_str());
    settings_.reset();
    system_info_.reset();
}

void App::run() {
    system_info_->start();
    gtk_main();
}

void App::setupIndicator() {
    indicator_ = app_indicator_new("korva-lune", "korvalune", APP_INDICATOR_CATEGORY_SYSTEM_SERVICES);
    app_indicator_set_status(indicator_, APP_INDICATOR_STATUS_ACTIVE);
    app_indicator_set_label(indicator_, "", "");
    app_indicator_set_icon_theme_path(indicator_, image_dir_.c_str());
    buildMenu();
}

void App::buildMenu() {
    menu_ = gtk_menu_new();
    appendMenuItem("CPU");
    appendMenuItem("GPU");
    for (const char* key : {"tab.all.short", "tab.my.short", "tab.help", "tab.about"}) {
        appendMenuItem(L10n::tr(key));
    }
    appendSeparator();
    appendMenuItem(L10n::tr("tab.settings"));
    appendSeparator();
    appendMenuItem(L10n::tr("quit"), G_CALLBACK(onQuit));
    gtk_widget_show_all(menu_);
    app_indicator_set_menu(indicator_, GTK_MENU(menu_));
}

void App::appendMenuItem(const std::string& text, GCallback on_activate) {
    GtkWidget* item = gtk_menu_item_new_with_label(text.c_str());
    if (on_activate) g_signal_connect(item, "activate", on_activate, this);
    gtk_menu_shell_append(GTK_MENU_SHELL(menu_), item);
}

void App::appendSeparator() {
    gtk_menu_shell_append(GTK_MENU_SHELL(menu_), gtk_separator_menu_item_new());
}

void App::onQuit(GtkMenuItem* /*item*/, gpointer /*data*/) {
    gtk_main_quit();
}

void App::updateLabel() {
    renderLabelIcon();
}

std::vector<App::LabelSegment> App::buildSegments() const {
    return buildLabelSegments(*settings_, *system_info_);
}

void App::renderLabelIcon() {
    const auto segments = buildSegments();
    app_indicator_set_label(indicator_, segments.empty() ? "Korvalune" : "", "");
    if (segments.empty()) return;

    if (!panel_metrics_) panel_metrics_ = detectPanelMetrics();
    cairo_surface_t* surface = panel_image_.draw(segments, system_info_->core_usages, *panel_metrics_);
    const bool written = surface && png_writer_.write(surface, icon_path_);

    // The indicator's host looks at the picture again only when its name changes.
    const std::string name = kImageNames[++icon_counter_ % 2];
    const std::string target = imagePath(name);
    const bool replaced = written && std::rename(icon_path_.c_str(), target.c_str()) == 0;
    // A name without a picture would leave the panel's slot blank, and in a directory that others may write
    // to the picture may be theirs.
    if (!replaced && !isOwnFile(target)) return;
    app_indicator_set_icon_full(indicator_, name.c_str(), "Korvalune");
}

std::string App::imagePath(const std::string& name) const {
    return image_dir_ + "/" + name + ".png";
}
