#pragma once

#include <string>
#include <vector>

#include "system_info.h"
#include "usage_bar.h"
#include "widgets.h"

/// The sizes of one core's row, smaller the more cores there are. Pixels, but for the font.
struct CoreLayout {
    int row_height = 0;  ///< at least
    int bar_height = 0;  ///< at least
    int font_size = 0;   ///< of the number and the percentage, points
    int num_width = 0;   ///< of the number
    int row_gap = 0;     ///< between number, bar and percentage
};

/// What a core's bar shows; attached to it as "bar_data".
struct BarData {
    double usage = 0;    ///< percent
    int perf_level = 0;  ///< CoreUsage::perfLevel
};

/// The widgets of a core's row that change with its usage.
struct CoreRow {
    GtkWidget* bar = nullptr;
    GtkWidget* percent = nullptr;
};

/// The sizes that suit a page of this many cores.
CoreLayout coreLayoutFor(std::size_t cores);

/// Appends the row of one core to a vertical box: its number, its bar, its usage in whole percent.
CoreRow addCoreRow(GtkWidget* box, const CoreUsage& core, int number, const CoreLayout& layout);

/// The CPU page: model, number of cores, temperature, average usage, and a bar for every logical core, the
/// first hardware threads of the physical cores apart from the others.
class CPUView {
public:
    explicit CPUView(SystemInfo& info);
    CPUView(const CPUView&) = delete;
    CPUView& operator=(const CPUView&) = delete;

    GtkWidget* container() const { return container_; }

    /// Shows the snapshot's present readings.
    void update();

    /// Brings the rows of all cores up to date. They are made anew only when cores have come or gone or the
    /// language has changed: with 128 cores that takes longer than a frame of the screen.
    void rebuildBars();

    /// Draws a core's bar; FALSE when the widget has no data to draw.
    static gboolean drawBar(GtkWidget* bar, cairo_t* context, gpointer);

private:
    /// What rows are made for and stay good for.
    struct RowPlan {
        std::vector<bool> siblings;  ///< for every core whether it is an SMT sibling
        std::string language;

        bool operator==(const RowPlan&) const = default;
    };

    void addHeadline();
    void addReadings();
    void showTemperature();
    void makeRows();
    void addGroup(const char* title, const UsageColor& color, bool siblings);

    SystemInfo& info_;
    OwnedWidget container_;
    GtkWidget* model_label_;
    GtkWidget* cores_label_;
    GtkWidget* temp_label_;
    GtkWidget* avg_label_;
    GtkWidget* bars_box_;
    RowPlan plan_;
    std::vector<CoreRow> rows_;  ///< in the order of the snapshot
};
