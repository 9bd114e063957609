#pragma once

#include <string>

#include "system_info.h"
#include "widgets.h"

/// What a utilization bar shows; attached to it as "ubar".
struct UtilBarData {
    int value = 0;               ///< percent
    double r = 0, g = 0, b = 0;  ///< colour of the fill, fractions 0..1
};

/// A row with a name, a bar of this colour (fractions 0..1) and the value in percent; `text` is valid UTF-8.
GtkWidget* createUtilRow(const std::string& text, int value, double r, double g, double b);

/// The GPU page: for every device bars for its load, its memory and its video encoder, and the processes
/// that use it.
class GPUView {
public:
    explicit GPUView(SystemInfo& info);
    GPUView(const GPUView&) = delete;
    GPUView& operator=(const GPUView&) = delete;

    GtkWidget* container() const { return container_; }

    /// Shows the snapshot's present readings; makes all rows anew.
    void update();

    /// Draws a utilization bar; FALSE when the widget has no data to draw.
    static gboolean drawUtilBar(GtkWidget* bar, cairo_t* context, gpointer);

private:
    void addGPU(const GPUUsage& gpu);
    void addProcesses(const std::vector<GPUProcessUsage>& processes);

    SystemInfo& info_;
    OwnedWidget container_;
    GtkWidget* model_label_;
    GtkWidget* bars_box_;
};
