#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "process_handle.h"
#include "process_order.h"
#include "process_row.h"
#include "system_info.h"
#include "widgets.h"

/// A page with a table of processes, those of everybody or those of the user. A click or a key on a row
/// selects its process, which a bar below the table then offers to terminate or kill, asking back once.
class ProcessView {
public:
    using SortColumn = ::SortColumn;

    /// `info` must outlive the view.
    ProcessView(SystemInfo& info, bool user_only);
    ~ProcessView();
    ProcessView(const ProcessView&) = delete;
    ProcessView& operator=(const ProcessView&) = delete;

    GtkWidget* container() const { return container_; }
    /// The scrolled part of the page, whose least height is set by a size request.
    GtkWidget* scroller() const { return scroller_; }

    /// Called when the bar has come or gone, and with it the page's height has changed.
    std::function<void()> on_resize;

    /// Shows the snapshot's present processes.
    void update() { rebuildList(); }
    /// Makes all rows anew. The selection, the scroll position and the keyboard's focus stay.
    void rebuildList();
    /// Puts an arrow behind the title of the column by which the table is sorted.
    void updateSortIndicators();

    /// A click on the row of a process: selects it, or deselects it if it is selected. `name` may be any
    /// bytes.
    void onProcessSelected(int pid, const std::string& name);
    /// Shows the bar as the present state asks for: the selected process or the question.
    void showActionBar();
    /// Drops the selection and hides the bar.
    void hideActionBar();

private:
    GtkWidget* newTableHeader();
    GtkWidget* newHeaderButton(SortColumn column);
    GtkWidget* newScrolledList();
    GtkWidget* newActionBar();
    void addActionButton(const char* key, const char* data_key, void (*handler)(GtkButton*, ProcessView*));
    GtkWidget* actionButton(const char* data_key) const;

    void setHeaderText(SortColumn column, const std::string& text);
    void askOrSignal(bool kill);
    void signalSelected();
    std::uint64_t startTimeOf(int pid) const;
    void setBarVisible(bool visible);
    void setSelection(int pid, const std::string& name);
    void chooseRow(GtkWidget* row);
    void queueRebuild();
    void cancelQueuedRebuild();

    static void onHeaderClicked(GtkButton* button, ProcessView* view);
    static gboolean onRowPressed(GtkWidget* row, GdkEventButton* event, ProcessView* view);
    static gboolean onRowKey(GtkWidget* row, GdkEventKey* event, ProcessView* view);
    static void onRowActivated(GtkWidget* row, ProcessView* view);
    static gboolean onActionEvent(GtkWidget* button, GdkEvent* event, ProcessView* view);
    static gboolean onQueuedRebuild(gpointer view);

    SystemInfo& info_;
    bool user_only_;
    OwnedWidget container_;
    GtkWidget* scroller_ = nullptr;
    GtkWidget* list_box_ = nullptr;
    GtkWidget* action_bar_ = nullptr;
    GtkWidget* action_label_ = nullptr;
    int selected_pid_ = -1;      ///< -1: none
    std::string selected_name_;  ///< as the kernel has it, any bytes
    bool confirm_mode_ = false;  ///< the bar asks whether to go on
    bool confirm_kill_ = false;  ///< with SIGKILL rather than SIGTERM
    SortColumn sort_col_ = SortColumn::Cpu;
    bool sort_ascending_ = false;
    std::array<GtkWidget*, kSortColumns.size()> header_btns_{};
    std::array<std::string, kSortColumns.size()> header_base_;

    ProcessColumns columns_;
    std::vector<ProcessUsage> shown_;  ///< the rows' processes, in their order
    std::optional<ProcessHandle> selected_process_;
    gint64 question_time_ = 0;            ///< when the bar began to ask, microseconds of the monotonic clock
    std::array<double, 2> last_press_{};  ///< of one of the bar's buttons, where on the screen
    guint rebuild_idle_ = 0;              ///< source id, 0 = none
};
