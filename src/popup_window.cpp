#include "popup_window.h"

#include <gdk/gdkkeysyms.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "accessible.h"
#include "icon_helper.h"
#include "l10n.h"
#include "popup_placement.h"
#include "rounded_corners.h"
#include "widgets.h"

namespace {

constexpr int kBorder = 6;
constexpr int kCornerRadius = 10;  ///< as in the style sheet
constexpr int kNatural = -1;
constexpr int kPanelRoom = 64;          ///< pixels left to panels whose place nobody tells us
constexpr int kLeastInnerHeight = 120;  ///< of a page's own scrolled part on a low monitor
constexpr unsigned kCrossfadeMs = 100;
constexpr const char* kCpuPage = "cpu";
constexpr const char* kGpuPage = "gpu";
constexpr const char* kProcessesPage = "processes";
constexpr const char* kMyProcessesPage = "myProcesses";
constexpr const char* kHelpPage = "help";
constexpr const char* kAboutPage = "about";
constexpr const char* kSettingsPage = "settings";
constexpr const char* kSettingsTitle = "tab.settings";

struct Tab {
    const char* page;
    const char* title;  ///< a key, or the text itself when it is the same in all languages
    int width, height;
};

constexpr std::array<Tab, 6> kTabs = {{
    {kCpuPage, "CPU", 420, 550},
    {kGpuPage, "GPU", 420, kNatural},
    {kProcessesPage, "tab.all.short", 520, 550},
    {kMyProcessesPage, "tab.my.short", 520, 550},
    {kHelpPage, "tab.help", 420, 500},
    {kAboutPage, "tab.about", 450, kNatural},
}};

/// On X11 a popup that no window manager touches. Wayland knows such windows only as menus of others: there
/// it is an ordinary one, whose fixed size (see fixSize()) makes tiling compositors let it float.
GtkWidget* newPopupWindow() {
    // Pages keep their layout where the desktop's language is written from right to left; texts turn by
    // themselves.
    gtk_widget_set_default_direction(GTK_TEXT_DIR_LTR);
    if (isX11(gdk_display_get_default())) {
        GtkWidget* window = gtk_window_new(GTK_WINDOW_POPUP);
        gtk_window_set_type_hint(GTK_WINDOW(window), GDK_WINDOW_TYPE_HINT_POPUP_MENU);
        return window;
    }
    GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    // A title bar of our own, which is never shown, keeps compositors from adding theirs.
    gtk_window_set_titlebar(GTK_WINDOW(window), gtk_label_new(nullptr));
    gtk_window_set_decorated(GTK_WINDOW(window), FALSE);
    gtk_window_set_title(GTK_WINDOW(window), "Korvalune");
    g_signal_connect(window, "delete-event", G_CALLBACK(gtk_widget_hide_on_delete), nullptr);
    return window;
}

void fixSize(GtkWidget* window, int width, int height) {
    GdkGeometry size{};
    size.min_width = size.max_width = width;
    size.min_height = size.max_height = height;
    gtk_window_set_geometry_hints(GTK_WINDOW(window), nullptr, &size,
                                  static_cast<GdkWindowHints>(GDK_HINT_MIN_SIZE | GDK_HINT_MAX_SIZE));
}

ScreenArea toArea(const GdkRectangle& area) {
    return {area.x, area.y, area.width, area.height};
}

/// The arrow points out of the page, whichever way the word behind it is written.
std::string backText() {
    constexpr const char* left_to_right_mark = "\u200E";
    return (L10n::isRTL() ? left_to_right_mark : "") + ("◀ " + L10n::tr("settings.back"));
}

int minimumHeight(GtkWidget* widget) {
    int minimum = 0;
    gtk_widget_get_preferred_height(widget, &minimum, nullptr);
    return minimum;
}

template <class View, class... Arguments>
View& built(std::unique_ptr<View>& view, Arguments&&... arguments) {
    view = std::make_unique<View>(std::forward<Arguments>(arguments)...);
    return *view;
}

/// Whether a widget is to be drawn with one of the style sheet's looks.
void setStyleClass(GtkWidget* widget, const char* name, bool on) {
    GtkStyleContext* const style = gtk_widget_get_style_context(widget);
    if (on) {
        gtk_style_context_add_class(style, name);
    } else {
        gtk_style_context_remove_class(style, name);
    }
}

}  // namespace

PopupWindow::PopupWindow(SystemInfo& info, Settings& settings)
    : info_(info), settings_(settings), window_(newPopupWindow()), grab_(window_) {
    gtk_container_set_border_width(GTK_CONTAINER(window()), kBorder);
    roundCorners(window_, kCornerRadius);
    g_signal_connect(window_, "button-press-event", G_CALLBACK(onButtonPress), this);
    g_signal_connect(window_, "touch-event", G_CALLBACK(onTouch), this);
    g_signal_connect(window_, "key-press-event", G_CALLBACK(onKeyPress), this);
    g_signal_connect(window_, "hide", G_CALLBACK(onHidden), this);
    buildUI();
    showPage(kCpuPage);
}

PopupWindow::~PopupWindow() {
    if (idle_resize_id_ != 0) g_source_remove(idle_resize_id_);
    g_signal_handlers_disconnect_by_data(window_, this);
    grab_.release();
}

void PopupWindow::buildUI() {
    GtkWidget* outer = newColumnBox(4);
    pack(outer, buildHeader());
    packSeparator(outer);
    packFilling(outer, buildPages());
    packSeparator(outer);
    pack(outer, buildFooter());
    gtk_container_add(GTK_CONTAINER(window()), outer);
    gtk_widget_show_all(outer);
}

GtkWidget* PopupWindow::buildHeader() {
    GtkWidget* header = newRow(4);
    GtkWidget* back = newTextButton(backText());
    gtk_button_set_relief(GTK_BUTTON(back), GTK_RELIEF_NONE);
    g_signal_connect_swapped(back, "clicked", G_CALLBACK(+[](PopupWindow* self) { self->hide(); }), this);
    pack(header, back);

    view_title_ = newLabel("CPU", TextStyle{.points = 11, .weight = 600}, kAtEnd);
    ellipsize(view_title_);
    gtk_widget_set_hexpand(view_title_, TRUE);
    gtk_box_pack_end(GTK_BOX(header), view_title_, TRUE, TRUE, 0);
    return header;
}

GtkWidget* PopupWindow::buildPages() {
    main_stack_ = gtk_stack_new();
    gtk_stack_set_transition_type(GTK_STACK(main_stack_), GTK_STACK_TRANSITION_TYPE_CROSSFADE);
    gtk_stack_set_transition_duration(GTK_STACK(main_stack_), kCrossfadeMs);
    gtk_stack_set_hhomogeneous(GTK_STACK(main_stack_), FALSE);
    gtk_stack_set_vhomogeneous(GTK_STACK(main_stack_), FALSE);
    scroller_ = newScroller(main_stack_);
    return scroller_;
}

GtkWidget* PopupWindow::buildPage(std::string_view name) {
    if (name == kCpuPage) return built(cpu_view_, info_).container();
    if (name == kGpuPage) return built(gpu_view_, info_).container();
    if (name == kProcessesPage) return buildProcessPage(all_proc_view_, false);
    if (name == kMyProcessesPage) return buildProcessPage(my_proc_view_, true);
    if (name == kHelpPage) return built(help_view_).container();
    if (name == kSettingsPage) return built(settings_view_, settings_, info_).page();
    built(about_view_).on_link = [this] { hide(); };
    return about_view_->container();
}

GtkWidget* PopupWindow::buildProcessPage(std::unique_ptr<ProcessView>& view, bool own_only) {
    built(view, info_, own_only).on_resize = [this] { growToFit(); };
    return view->container();
}

GtkWidget* PopupWindow::buildFooter() {
    GtkWidget* footer = newRow(4);
    packFilling(footer, gtk_label_new(""));
    settings_btn_ = icon_button("emblem-system-symbolic", GTK_ICON_SIZE_MENU);
    gtk_button_set_relief(GTK_BUTTON(settings_btn_), GTK_RELIEF_NONE);
    setStyleClass(settings_btn_, "settings-btn", true);
    setAccessibleName(settings_btn_, L10n::tr(kSettingsTitle));
    g_signal_connect_swapped(settings_btn_, "clicked",
                             G_CALLBACK(+[](PopupWindow* self) { self->toggleSettings(); }), this);
    packAtEnd(footer, settings_btn_);
    return footer;
}

void PopupWindow::showTab(int tab, int x, int y) {
    show_settings_ = false;
    if (tab >= 0 && static_cast<std::size_t>(tab) < kTabs.size()) {
        const Tab& chosen = kTabs[static_cast<std::size_t>(tab)];
        showPage(chosen.page);
        setTitleAndSize(chosen.title, chosen.width, chosen.height);
    }
    // Before the window is there: a graphics card's program may take its time, and meanwhile nobody would
    // hear the keys and clicks that the window grabs.
    gtk_widget_hide(window_);
    fetchSamples();
    refreshPage();
    positionAndShow(x, y);
}

void PopupWindow::showSettings(int x, int y) {
    show_settings_ = true;
    showPage(kSettingsPage);
    settings_view_->refreshDevices();
    setTitleAndSize(kSettingsTitle, 420, 600);
    positionAndShow(x, y);
}

void PopupWindow::toggleSettings() {
    show_settings_ = !show_settings_;
    showPage(show_settings_ ? kSettingsPage : kCpuPage);
    if (show_settings_) settings_view_->refreshDevices();
    growToFit();
    updateViews();
}

void PopupWindow::showPage(const char* name) {
    GtkStack* const stack = GTK_STACK(main_stack_);
    if (gtk_stack_get_child_by_name(stack, name) == nullptr) {
        GtkWidget* const page = buildPage(name);
        gtk_widget_show_all(page);
        gtk_stack_add_named(stack, page, name);
    }
    gtk_stack_set_visible_child_name(stack, name);
    gtk_adjustment_set_value(gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(scroller_)), 0);
    setStyleClass(settings_btn_, "settings-btn-active", show_settings_);
    const auto* const tab = std::ranges::find(kTabs, std::string_view(name), &Tab::page);
    setAccessibleName(scroller_, L10n::tr(tab != kTabs.end() ? tab->title : kSettingsTitle));
    recordPage();
}

void PopupWindow::setTitleAndSize(const char* title, int width, int height) {
    const std::string text = L10n::tr(title);
    gtk_label_set_text(GTK_LABEL(view_title_), text.c_str());
    setAccessibleName(window_, text);
    current_width_ = width;
    current_height_ = height;
}

std::string PopupWindow::visiblePage() const {
    return gtk_stack_get_visible_child_name(GTK_STACK(main_stack_));
}

void PopupWindow::recordPage() {
    // A hidden page needs no samples of its own.
    info_.active_tab = isVisible() ? visiblePage() : kCpuPage;
}

void PopupWindow::fetchSamples() {
    info_.active_tab = visiblePage();
    if (info_.active_tab == kGpuPage) info_.loadGPUProcesses();
    info_.updateSlow();  // does nothing but for the process pages
}

void PopupWindow::refreshPage() {
    const std::string page = visiblePage();
    if (page == kCpuPage) cpu_view_->update();
    if (page == kGpuPage) gpu_view_->update();
    if (page == kProcessesPage) all_proc_view_->rebuildList();
    if (page == kMyProcessesPage) my_proc_view_->rebuildList();
}

void PopupWindow::updateViews() {
    if (!isVisible()) return;
    refreshPage();
    growToFit();
}

void PopupWindow::hide() {
    grab_.release();
    gtk_widget_hide(window_);
}

void PopupWindow::positionAndShow(int x, int y) {
    grab_.release();  // Escape hides the window without
    gtk_widget_hide(window_);
    place(x, y);
    least_height_ = current_height_;
    fitted_height_ = 0;
    fitHeight();
    gtk_widget_show_all(window_);
    recordPage();
    grab_.take();
    if (idle_resize_id_ != 0) g_source_remove(idle_resize_id_);
    idle_resize_id_ = g_idle_add(onIdleResize, this);
}

void PopupWindow::place(int x, int y) {
    GdkMonitor* const monitor = gdk_display_get_monitor_at_point(gtk_widget_get_display(window_), x, y);
    if (monitor == nullptr) return;
    GdkRectangle geometry{};
    GdkRectangle work_area{};
    gdk_monitor_get_geometry(monitor, &geometry);
    gdk_monitor_get_workarea(monitor, &work_area);
    height_limit_ = popupHeightLimit(toArea(geometry), toArea(work_area));
    // There the work area is the whole monitor, whatever panels cover of it.
    if (!isX11(gtk_widget_get_display(window_))) height_limit_ = std::max(1, height_limit_ - kPanelRoom);
    const ScreenPoint corner = popupPosition(x, width(), toArea(geometry), toArea(work_area));
    gtk_window_move(GTK_WINDOW(window()), corner.x, corner.y);
}

/// Large fonts may need more than the usual width.
int PopupWindow::width() const {
    int needed = 0;
    gtk_widget_get_preferred_width(window_, &needed, nullptr);
    return std::max(current_width_, needed);
}

void PopupWindow::fitHeight() {
    const int height = std::min(std::max(least_height_, neededHeight()), height_limit_);
    if (height == fitted_height_) return;
    fitted_height_ = height;
    if (!isX11(gtk_widget_get_display(window_))) fixSize(window_, width(), height);
    gtk_window_resize(GTK_WINDOW(window()), width(), height);
}

/// A window that shrank would move its buttons away from under the pointer.
void PopupWindow::growToFit() {
    if (!isVisible()) return;
    least_height_ = fitted_height_;
    fitHeight();
}

/// The height at which the page is seen whole. A page with a scrolled part of its own lets that be lower
/// where the monitor is too low, so that what is below it stays in sight.
int PopupWindow::neededHeight() {
    GtkWidget* const inner = innerScroller();
    if (inner != nullptr) gtk_widget_set_size_request(inner, -1, kScrolledHeight);
    const int needed = measuredHeight();
    if (inner == nullptr || needed <= height_limit_) return needed;
    gtk_widget_set_size_request(inner, -1,
                                std::max(kLeastInnerHeight, kScrolledHeight - (needed - height_limit_)));
    return measuredHeight();
}

int PopupWindow::measuredHeight() const {
    int page = 0;
    gtk_widget_get_preferred_height_for_width(gtk_stack_get_visible_child(GTK_STACK(main_stack_)),
                                              width() - 2 * kBorder, nullptr, &page);
    return minimumHeight(window_) - minimumHeight(scroller_) + page;
}

GtkWidget* PopupWindow::innerScroller() const {
    const std::string page = visiblePage();
    if (page == kProcessesPage) return all_proc_view_->scroller();
    if (page == kMyProcessesPage) return my_proc_view_->scroller();
    return page == kSettingsPage ? settings_view_->scroller() : nullptr;
}

bool PopupWindow::stepBack() {
    return settings_view_ && settings_view_->stepBack();
}

bool PopupWindow::isInside(const GdkEvent* event) const {
    double x = 0;
    double y = 0;
    gdk_event_get_root_coords(event, &x, &y);
    // The event's own coordinates count in the window it happened in, which may be the inside of a page
    // that is scrolled and much higher than ours.
    int left = 0;
    int top = 0;
    gdk_window_get_origin(gtk_widget_get_window(window_), &left, &top);
    x -= left;
    y -= top;
    return x >= 0 && y >= 0 && x <= gtk_widget_get_allocated_width(window_) &&
           y <= gtk_widget_get_allocated_height(window_);
}

/// A press of a button or a finger beside the popup closes it.
gboolean PopupWindow::onPress(GdkEvent* event) {
    if (isInside(event)) return GDK_EVENT_PROPAGATE;
    hide();
    return GDK_EVENT_STOP;
}

gboolean PopupWindow::onButtonPress(GtkWidget* /*window*/, GdkEvent* event, gpointer self) {
    return static_cast<PopupWindow*>(self)->onPress(event);
}

gboolean PopupWindow::onTouch(GtkWidget* /*window*/, GdkEvent* event, gpointer self) {
    // The grab asks for touches, so that the toolkit makes no button presses of them.
    if (gdk_event_get_event_type(event) != GDK_TOUCH_BEGIN) return GDK_EVENT_PROPAGATE;
    return static_cast<PopupWindow*>(self)->onPress(event);
}

gboolean PopupWindow::onKeyPress(GtkWidget* window, GdkEventKey* event, gpointer self) {
    if (event->keyval != GDK_KEY_Escape) return GDK_EVENT_PROPAGATE;
    // The grab ends with the window that holds it.
    if (!static_cast<PopupWindow*>(self)->stepBack()) gtk_widget_hide(window);
    return GDK_EVENT_STOP;
}

void PopupWindow::onHidden(GtkWidget* /*window*/, gpointer self) {
    auto* const popup = static_cast<PopupWindow*>(self);
    popup->stepBack();
    popup->recordPage();
}

gboolean PopupWindow::onIdleResize(gpointer self) {
    auto* const popup = static_cast<PopupWindow*>(self);
    popup->idle_resize_id_ = 0;
    int width = 0;
    int height = 0;
    gtk_window_get_size(GTK_WINDOW(popup->window()), &width, &height);
    if (width != popup->width()) gtk_window_resize(GTK_WINDOW(popup->window()), popup->width(), height);
    return G_SOURCE_REMOVE;
}
