#include "process_view.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <utility>

#include "accessible.h"
#include "display_text.h"
#include "l10n.h"
#include "row_focus.h"
#include "short_text.h"

namespace {

constexpr std::array<const char*, kSortColumns.size()> kTitleKeys{"header.process", "header.user",
                                                                  "header.mem", "header.cpu"};

constexpr const char* kTerminateButton = "term_btn";
constexpr const char* kKillButton = "kill_btn";
constexpr const char* kYesButton = "yes_btn";
constexpr const char* kNoButton = "no_btn";

constexpr std::size_t kMaxSelectionBytes = 255;

const TextStyle kHeaderStyle{.points = 8, .weight = PANGO_WEIGHT_MEDIUM, .family = FontFamily::Interface};

/// Figures stand at the end of their column.
float alignmentOf(SortColumn column) {
    return column == SortColumn::Mem || column == SortColumn::Cpu ? kAtEnd : kAtStart;
}

/// The keys that press a button.
bool isActivation(const GdkEventKey& event) {
    constexpr std::array keys{GDK_KEY_Return, GDK_KEY_KP_Enter, GDK_KEY_ISO_Enter, GDK_KEY_space,
                              GDK_KEY_KP_Space};
    return (event.state & gtk_accelerator_get_default_mod_mask()) == 0 &&
           std::ranges::find(keys, static_cast<int>(event.keyval)) != keys.end();
}

}  // namespace

ProcessView::ProcessView(SystemInfo& info, bool user_only)
    : info_(info), user_only_(user_only), container_(newColumnBox(4)) {
    setPageMargins(container_, 4, 4);
    pack(container_, newTableHeader());
    packSeparator(container_);
    packFilling(container_, newScrolledList());
    packSeparator(container_);
    pack(container_, newActionBar());
    updateSortIndicators();
    gtk_widget_show_all(container_);
}

ProcessView::~ProcessView() {
    cancelQueuedRebuild();
}

GtkWidget* ProcessView::newTableHeader() {
    GtkWidget* header = newRow(4);
    pack(header, newColumn("#", kHeaderStyle, ProcessColumns::kRankWidth, kCentered));
    for (const SortColumn column : kSortColumns) {
        header_base_[indexOf(column)] = L10n::tr(kTitleKeys[indexOf(column)]);
        pack(header, newHeaderButton(column));
    }
    return header;
}

GtkWidget* ProcessView::newHeaderButton(SortColumn column) {
    GtkWidget* button = gtk_button_new();
    gtk_button_set_relief(GTK_BUTTON(button), GTK_RELIEF_NONE);
    gtk_widget_set_size_request(button, ProcessColumns::kWidths[indexOf(column)], -1);
    g_object_set_data(G_OBJECT(button), "col", GINT_TO_POINTER(static_cast<int>(column)));
    g_signal_connect(button, "clicked", G_CALLBACK(onHeaderClicked), this);
    columns_.align(column, button);
    header_btns_[indexOf(column)] = button;
    return button;
}

GtkWidget* ProcessView::newScrolledList() {
    list_box_ = newRowBox();
    scroller_ = newScroller(list_box_);
    gtk_widget_set_vexpand(scroller_, TRUE);
    gtk_widget_set_size_request(scroller_, -1, kScrolledHeight);
    setAccessibleName(scroller_, L10n::tr(user_only_ ? "tab.my.short" : "tab.all.short"));
    return scroller_;
}

/// What is packed at the end stands there in reverse: yes, no, terminate, kill.
GtkWidget* ProcessView::newActionBar() {
    action_bar_ = newRow(4);
    action_label_ = newLabel("", TextStyle{.points = 9, .family = FontFamily::Interface});
    ellipsize(action_label_);
    gtk_widget_set_hexpand(action_label_, TRUE);
    packFilling(action_bar_, action_label_);
    addActionButton("kill", kKillButton, [](GtkButton*, ProcessView* view) { view->askOrSignal(true); });
    addActionButton("terminate", kTerminateButton,
                    [](GtkButton*, ProcessView* view) { view->askOrSignal(false); });
    addActionButton("no", kNoButton, [](GtkButton*, ProcessView* view) {
        view->confirm_mode_ = false;
        view->showActionBar();
    });
    addActionButton("yes", kYesButton, [](GtkButton*, ProcessView* view) { view->signalSelected(); });
    for (const char* const button : {kTerminateButton, kKillButton, kYesButton, kNoButton})
        g_signal_connect(actionButton(button), "event", G_CALLBACK(onActionEvent), this);
    gtk_widget_show(action_label_);
    gtk_widget_set_no_show_all(action_bar_, TRUE);
    gtk_widget_hide(action_bar_);
    return action_bar_;
}

void ProcessView::addActionButton(const char* key, const char* data_key,
                                  void (*handler)(GtkButton*, ProcessView*)) {
    GtkWidget* button = newTextButton(L10n::tr(key));
    g_object_set_data(G_OBJECT(action_bar_), data_key, button);
    g_signal_connect(button, "clicked", G_CALLBACK(handler), this);
    packAtEnd(action_bar_, button);
}

GtkWidget* ProcessView::actionButton(const char* data_key) const {
    return static_cast<GtkWidget*>(g_object_get_data(G_OBJECT(action_bar_), data_key));
}

void ProcessView::rebuildList() {
    cancelQueuedRebuild();
    const RowFocus focus(list_box_);
    destroyChildren(list_box_);
    shown_ = user_only_ ? info_.user_processes : info_.top_processes;
    if (shown_.empty()) {
        pack(list_box_, newLabel(L10n::tr("collecting.data"), TextStyle{.points = 9}, kCentered), 4);
    }
    sortProcesses(shown_, sort_col_, sort_ascending_);
    const ProcessRowStyles styles;
    int rank = 0;
    for (const ProcessUsage& process : shown_) {
        GtkWidget* row = newProcessRow(++rank, process, styles, columns_);
        g_signal_connect(row, "button-press-event", G_CALLBACK(onRowPressed), this);
        g_signal_connect(row, "key-press-event", G_CALLBACK(onRowKey), this);
        g_signal_connect(row, "activate", G_CALLBACK(onRowActivated), this);
        if (process.pid == selected_pid_) markSelected(row);
        pack(list_box_, row);
    }
    gtk_widget_show_all(list_box_);
    focus.giveBack();
}

void ProcessView::updateSortIndicators() {
    for (const SortColumn column : kSortColumns) {
        const char* const arrow = sort_ascending_ ? " ▲" : " ▼";
        setHeaderText(column, header_base_[indexOf(column)] + (column == sort_col_ ? arrow : ""));
    }
}

/// A button makes itself a new label for a new text, in the theme's style.
void ProcessView::setHeaderText(SortColumn column, const std::string& text) {
    GtkWidget* button = header_btns_[indexOf(column)];
    gtk_button_set_label(GTK_BUTTON(button), text.c_str());
    GtkWidget* label = gtk_bin_get_child(GTK_BIN(button));
    TextAttributes(kHeaderStyle).applyTo(label);
    gtk_label_set_xalign(GTK_LABEL(label), alignmentOf(column));
}

void ProcessView::onHeaderClicked(GtkButton* button, ProcessView* view) {
    const auto column = static_cast<SortColumn>(GPOINTER_TO_INT(g_object_get_data(G_OBJECT(button), "col")));
    view->sort_ascending_ = column == view->sort_col_ && !view->sort_ascending_;
    view->sort_col_ = column;
    view->updateSortIndicators();
    view->rebuildList();
}

/// GTK reports the second click of two as a click and, once more, as a double click.
gboolean ProcessView::onRowPressed(GtkWidget* row, GdkEventButton* event, ProcessView* view) {
    if (event->type != GDK_BUTTON_PRESS) return TRUE;
    view->chooseRow(row);
    return TRUE;
}

gboolean ProcessView::onRowKey(GtkWidget* row, GdkEventKey* event, ProcessView* view) {
    if (!isActivation(*event)) return GDK_EVENT_PROPAGATE;
    view->chooseRow(row);
    return GDK_EVENT_STOP;
}

void ProcessView::onRowActivated(GtkWidget* row, ProcessView* view) {
    view->chooseRow(row);
}

void ProcessView::chooseRow(GtkWidget* row) {
    onProcessSelected(pidOfRow(row), static_cast<const char*>(g_object_get_data(G_OBJECT(row), "pname")));
}

void ProcessView::onProcessSelected(int pid, const std::string& name) {
    if (pid == selected_pid_) {
        hideActionBar();
        return;
    }
    selected_process_.emplace(pid, "/", startTimeOf(pid));
    setSelection(pid, name);
    showActionBar();
}

/// A row may be some seconds old, and its pid another process's by now. 0 when the process is not shown.
std::uint64_t ProcessView::startTimeOf(int pid) const {
    const auto found = std::ranges::find(shown_, pid, &ProcessUsage::pid);
    return found == shown_.end() ? 0 : found->start_time;
}

/// The buttons take turns; one that had the keyboard's focus hands it on, to the harmless answer.
void ProcessView::showActionBar() {
    const std::string name = displayText(selected_name_);
    const bool has_focus = gtk_container_get_focus_child(GTK_CONTAINER(action_bar_)) != nullptr;
    std::string text = name + " (" + std::to_string(selected_pid_) + ")";
    cutAtCharacter(text, kMaxSelectionBytes);
    if (confirm_mode_) text = L10n::tr(confirm_kill_ ? "confirm.kill" : "confirm.terminate", name);
    gtk_label_set_text(GTK_LABEL(action_label_), text.c_str());
    for (const char* const button : {kTerminateButton, kKillButton, kYesButton, kNoButton})
        setAccessibleDescription(actionButton(button), text);
    for (const char* const button : {kTerminateButton, kKillButton})
        gtk_widget_set_visible(actionButton(button), !confirm_mode_);
    for (const char* const button : {kYesButton, kNoButton})
        gtk_widget_set_visible(actionButton(button), confirm_mode_);
    setBarVisible(true);
    if (has_focus) gtk_widget_grab_focus(actionButton(confirm_mode_ ? kNoButton : kTerminateButton));
}

void ProcessView::hideActionBar() {
    selected_process_.reset();
    setSelection(-1, {});
    setBarVisible(false);
}

void ProcessView::setBarVisible(bool visible) {
    gtk_widget_set_visible(action_bar_, visible);
    if (on_resize) on_resize();
}

void ProcessView::setSelection(int pid, const std::string& name) {
    selected_pid_ = pid;
    selected_name_ = name;
    confirm_mode_ = false;
    queueRebuild();
}

/// The first press asks and hides the button; should it be pressed all the same, that is a yes.
void ProcessView::askOrSignal(bool kill) {
    if (confirm_mode_) {
        if (kill == confirm_kill_) signalSelected();
        return;
    }
    confirm_mode_ = true;
    confirm_kill_ = kill;
    question_time_ = g_get_monotonic_time();
    showActionBar();
}

/// The answers appear where the actions were: the second press of a double click is not meant for them.
gboolean ProcessView::onActionEvent(GtkWidget* button, GdkEvent* event, ProcessView* view) {
    const GdkEventType type = gdk_event_get_event_type(event);
    if (type != GDK_BUTTON_PRESS && type != GDK_TOUCH_BEGIN) return GDK_EVENT_PROPAGATE;
    std::array<double, 2> place{};
    gdk_event_get_root_coords(event, &place[0], &place[1]);
    const std::array<double, 2> last = std::exchange(view->last_press_, place);
    if (!view->confirm_mode_) return GDK_EVENT_PROPAGATE;

    int double_click_ms = 0;
    int double_click_distance = 0;
    g_object_get(gtk_widget_get_settings(button), "gtk-double-click-time", &double_click_ms,
                 "gtk-double-click-distance", &double_click_distance, nullptr);
    const gint64 asked_for = g_get_monotonic_time() - view->question_time_;
    const bool is_second_press = asked_for < double_click_ms * G_TIME_SPAN_MILLISECOND &&
                                 std::abs(place[0] - last[0]) <= double_click_distance &&
                                 std::abs(place[1] - last[1]) <= double_click_distance;
    return is_second_press ? GDK_EVENT_STOP : GDK_EVENT_PROPAGATE;
}

/// Nobody is told when the process can't be signalled.
void ProcessView::signalSelected() {
    if (selected_process_) selected_process_->signal(confirm_kill_ ? SIGKILL : SIGTERM);
    hideActionBar();
}

/// The highlight follows once the event is through: the row that was clicked must not end in its own handler.
void ProcessView::queueRebuild() {
    if (rebuild_idle_ == 0) rebuild_idle_ = g_idle_add(onQueuedRebuild, this);
}

void ProcessView::cancelQueuedRebuild() {
    if (rebuild_idle_ != 0) g_source_remove(rebuild_idle_);
    rebuild_idle_ = 0;
}

gboolean ProcessView::onQueuedRebuild(gpointer view) {
    auto* self = static_cast<ProcessView*>(view);
    self->rebuild_idle_ = 0;
    self->rebuildList();
    return G_SOURCE_REMOVE;
}
