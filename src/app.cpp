#include "app.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "desktop_look.h"
#include "image_directory.h"
#include "indicator_start.h"
#include "l10n.h"
#include "panel_label.h"
#include "popup_placement.h"
#include "restart.h"
#include "text_style.h"
#include "theme.h"

namespace {

constexpr const char* kName = "Korvalune";
/// A host that is told of a new title asks for the whole item anew, and some load its picture a second time.
constexpr unsigned kDrawingsPerTitle = 5;
constexpr const char* kImageNames[] = {"Korvalune_a", "Korvalune_b"};

/// What a menu entry knows: whose page it opens.
struct TabRecord {
    App* app;
    guint8 tab;
};

/// Where the pointer is on the whole screen.
std::optional<ScreenPoint> pointerPosition() {
    GdkDisplay* const display = gdk_display_get_default();
    GdkSeat* const seat = display != nullptr ? gdk_display_get_default_seat(display) : nullptr;
    GdkDevice* const pointer = seat != nullptr ? gdk_seat_get_pointer(seat) : nullptr;
    if (pointer == nullptr) return std::nullopt;
    ScreenPoint at;
    gdk_device_get_position(pointer, nullptr, &at.x, &at.y);
    return at;
}

bool isOwnFile(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

}  // namespace

App::App(const std::string& root) : settings_(std::make_unique<Settings>()) {
    if (!settings_->language_.empty()) L10n::setLanguage(settings_->language_);
    dark_ = resolveDark();
    set_active_dark(dark_);
    system_info_ = std::make_unique<SystemInfo>(root);
    if (!settings_->selected_net_.empty()) {
        system_info_->network_service_.setInterface(settings_->selected_net_);
    }
    image_dir_ = imageDirectory();
    icon_path_ = imagePath("Korvalune_icon");
    setupIndicator();
    system_info_->on_fast_update = [this] {
        renderLabelIcon();
        if (popup_) popup_->updateViews();
    };
    system_info_->on_slow_update = [this] {
        if (popup_) popup_->updateViews();
    };
    settings_->on_change = [this] { renderLabelIcon(); };
    settings_->on_theme_change = [this] { queueApplyTheme(); };
    applyTheme();
    watchSystemTheme();
}

App::~App() {
    system_info_->stop();
    if (queued_theme_ != 0) g_source_remove(queued_theme_);
    if (queued_watch_ != 0) g_source_remove(queued_watch_);
    system_info_->on_fast_update = nullptr;
    system_info_->on_slow_update = nullptr;
    settings_->on_change = nullptr;
    settings_->on_theme_change = nullptr;
    unlink(icon_path_.c_str());
    for (const char* name : kImageNames)
        unlink(imagePath(name).c_str());
    popup_.reset();
    settings_.reset();
    system_info_.reset();
}

void App::run() {
    system_info_->start();
    gtk_main();
}

void App::setupIndicator() {
    indicator_ = newIndicator(bus_watch_.connection(), "korva-lune", "korvalune");
    app_indicator_set_status(indicator_, APP_INDICATOR_STATUS_ACTIVE);
    app_indicator_set_label(indicator_, "", "");
    app_indicator_set_title(indicator_, kName);
    app_indicator_set_icon_theme_path(indicator_, image_dir_.c_str());
    buildMenu();
}

void App::buildMenu() {
    menu_ = gtk_menu_new();
    guint8 tab = 0;
    GtkWidget* const cpu = appendTabItem("CPU", tab++);
    for (const char* key : {"GPU", "tab.all.short", "tab.my.short", "tab.help", "tab.about"}) {
        appendTabItem(L10n::tr(key), tab++);  // "GPU" is no key and stays as it is
    }
    appendSeparator();
    g_signal_connect(appendMenuItem(L10n::tr("tab.settings")), "activate", G_CALLBACK(onShowSettings), this);
    appendSeparator();
    g_signal_connect(appendMenuItem(L10n::tr("quit")), "activate", G_CALLBACK(onQuit), this);
    gtk_widget_show_all(menu_);
    app_indicator_set_menu(indicator_, GTK_MENU(menu_));
    queueMenuWatch();
    app_indicator_set_secondary_activate_target(indicator_, cpu);  // what a middle click chooses
}

GtkWidget* App::appendMenuItem(const std::string& text) {
    GtkWidget* item = gtk_menu_item_new_with_label(text.c_str());
    gtk_menu_shell_append(GTK_MENU_SHELL(menu_), item);
    return item;
}

GtkWidget* App::appendTabItem(const std::string& text, guint8 tab) {
    GtkWidget* item = appendMenuItem(text);
    auto* const record = new TabRecord{this, tab};
    g_object_set_data_full(G_OBJECT(item), "td", record,
                           [](gpointer data) { delete static_cast<TabRecord*>(data); });
    g_signal_connect(item, "activate", G_CALLBACK(onShowTab), record);
    return item;
}

void App::appendSeparator() {
    gtk_menu_shell_append(GTK_MENU_SHELL(menu_), gtk_separator_menu_item_new());
}

/// The library shows and hides the menu once when the program is first idle, for programs that fill theirs
/// only then. On a busy machine an entry may have been chosen before, whose page would close at once. The
/// library queued its doing when it got the menu, so that ours comes after it.
void App::queueMenuWatch() {
    queued_watch_ = g_idle_add(
        [](gpointer self) -> gboolean {
            auto* const app = static_cast<App*>(self);
            app->queued_watch_ = 0;
            g_signal_connect(app->menu_, "show", G_CALLBACK(onMenuShown), app);
            return G_SOURCE_REMOVE;
        },
        this);
}

bool App::resolveDark() const {
    if (settings_->theme_ == "dark") return true;
    return settings_->theme_ != "light" && systemPrefersDark();
}

bool App::systemPrefersDark() {
    return desktopPrefersDark();
}

void App::applyTheme() {
    dark_ = resolveDark();
    css_provider_ = applyLook(dark_, css_provider_);
    if (popup_) popup_->updateViews();
}

void App::queueApplyTheme() {
    if (queued_theme_ != 0) return;
    queued_theme_ = g_idle_add(
        [](gpointer self) -> gboolean {
            auto* const app = static_cast<App*>(self);
            app->queued_theme_ = 0;
            app->applyTheme();
            return G_SOURCE_REMOVE;
        },
        this);
}

void App::watchSystemTheme() {
    portal_sub_ = watchDesktopLook(onPortalSettingChanged, this);
}

void App::onPortalSettingChanged(GDBusConnection* /*connection*/, const char* /*sender*/,
                                 const char* /*path*/, const char* /*interface*/, const char* /*signal*/,
                                 GVariant* parameters, gpointer self) {
    auto* const app = static_cast<App*>(self);
    if (isDesktopLookChange(parameters) && app->settings_->theme_ == "auto") app->applyTheme();
}

void App::onBusReturned() {
    if (restartAfterEnd()) gtk_main_quit();
}

PopupWindow& App::popup() {
    if (std::exchange(popup_outdated_, false)) popup_.reset();
    if (!popup_) popup_ = std::make_unique<PopupWindow>(*system_info_, *settings_);
    return *popup_;
}

void App::onMenuShown(GtkWidget* /*menu*/, gpointer self) {
    const auto* const app = static_cast<App*>(self);
    if (app->popup_) app->popup_->hide();
}

void App::onShowTab(GtkMenuItem* /*item*/, gpointer record) {
    const auto* const tab = static_cast<const TabRecord*>(record);
    if (const auto at = pointerPosition()) tab->app->popup().showTab(tab->tab, at->x, at->y);
}

void App::onShowSettings(GtkMenuItem* /*item*/, gpointer self) {
    if (const auto at = pointerPosition()) static_cast<App*>(self)->popup().showSettings(at->x, at->y);
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

void App::updateTitle(const std::vector<LabelSegment>& segments) {
    if (segments.empty()) {
        app_indicator_set_title(indicator_, kName);
        title_age_ = 0;
        return;
    }
    if (title_age_++ % kDrawingsPerTitle != 0) return;
    // Whether it is a new one, the library sees.
    app_indicator_set_title(indicator_, panelTitle(segments, system_info_->average_cpu).c_str());
}

void App::renderLabelIcon() {
    // Nobody would see it, and the library behind the indicator would complain each time.
    if (bus_watch_.lost()) return;
    const auto segments = buildSegments();
    app_indicator_set_label(indicator_, segments.empty() ? kName : "", "");
    updateTitle(segments);
    if (segments.empty()) return;

    if (!panel_metrics_) panel_metrics_ = detectPanelMetrics();
    cairo_surface_t* surface = panel_image_.draw(segments, system_info_->core_usages, *panel_metrics_);
    const bool before = std::exchange(written_, surface && png_writer_.write(surface, icon_path_));
    if (written_ && !before) catchUp();

    // The indicator's host looks at the picture again only when its name changes.
    const std::string name = kImageNames[++icon_counter_ % 2];
    const std::string target = imagePath(name);
    const bool replaced = written_ && std::rename(icon_path_.c_str(), target.c_str()) == 0;
    // A name without a picture would leave the panel's slot blank, and in a directory that others may write
    // to the picture may be theirs.
    if (!replaced && !isOwnFile(target)) return;
    app_indicator_set_icon_full(indicator_, name.c_str(), kName);
}

void App::catchUp() {
    forgetFonts();
    popup_outdated_ = true;
    queueApplyTheme();
}

std::string App::imagePath(const std::string& name) const {
    return image_dir_ + "/" + name + ".png";
}
