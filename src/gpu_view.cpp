#include "gpu_view.h"

#include <algorithm>
#include <cinttypes>

#include "accessible.h"
#include "display_text.h"
#include "l10n.h"
#include "short_text.h"
#include "usage_bar.h"

namespace {

constexpr const char* kBarData = "ubar";
constexpr const char* kNotAvailable = "na_label";
constexpr std::size_t kShownProcesses = 5;  // of each device

const TextStyle kRowName{.points = 9, .family = FontFamily::Interface};
const TextStyle kRowText{.points = 9, .family = FontFamily::Monospace};
const TextStyle kProcessText{.points = 8, .family = FontFamily::Monospace};

std::string joinedNames(const std::vector<GPUUsage>& gpus) {
    std::string names;
    for (const GPUUsage& gpu : gpus) {
        if (&gpu != &gpus.front()) names += " | ";
        names += displayText(gpu.model_name);
    }
    return names;
}

/// A bar is called what the label before it says.
UsageReading readingOf(GtkWidget* bar) {
    const auto* const data = attached<UtilBarData>(bar, kBarData);
    GList* const labels = gtk_widget_list_mnemonic_labels(bar);
    if (data == nullptr || labels == nullptr) return {};
    UsageReading reading{gtk_label_get_text(GTK_LABEL(labels->data)), static_cast<double>(data->value)};
    g_list_free(labels);
    return reading;
}

GtkWidget* newBar(const UtilBarData& data) {
    GtkWidget* bar = newUsageBar(readingOf);
    gtk_widget_set_hexpand(bar, TRUE);
    gtk_widget_set_size_request(bar, -1, 14);
    attach(bar, kBarData, data);
    g_signal_connect(bar, "draw", G_CALLBACK(GPUView::drawUtilBar), nullptr);
    return bar;
}

GtkWidget* newHeading(const std::string& model) {
    const TextStyle style{
        .points = 9, .weight = PANGO_WEIGHT_SEMIBOLD, .color = TextColor{0, 0xCCCC, 0xCCCC}};
    GtkWidget* heading = newLabel(displayText(model), style);
    ellipsize(heading);
    return heading;
}

GtkWidget* newProcessRow(const GPUProcessUsage& process) {
    GtkWidget* row = newRow(4);
    gtk_widget_set_size_request(row, -1, 14);
    GtkWidget* name = newLabel(displayText(process.name), kProcessText);
    ellipsize(name);
    gtk_widget_set_hexpand(name, TRUE);
    packFilling(row, name);
    packAtEnd(row, newLabel(shortText("%" PRIu64 "M", process.vram_mb), kProcessText, kCentered));
    return row;
}

}  // namespace

GtkWidget* createUtilRow(const std::string& text, int value, double r, double g, double b) {
    GtkWidget* row = newRow(6);
    gtk_widget_set_size_request(row, -1, 18);
    GtkWidget* name = newColumn(text, kRowName, 70, kAtStart);
    GtkWidget* bar = newBar({value, r, g, b});
    labelControl(name, bar);
    pack(row, name);
    packFilling(row, bar);
    packAtEnd(row, newColumn(shortText("%d%%", value), kRowText, 35, kAtEnd));
    return row;
}

GPUView::GPUView(SystemInfo& info)
    : info_(info),
      container_(newColumnBox(6)),
      model_label_(newLabel("", TextStyle{.weight = PANGO_WEIGHT_MEDIUM})),
      bars_box_(newColumnBox(4)) {
    setPageMargins(container_, 8, 4);
    ellipsizeToRoom(model_label_);
    pack(container_, model_label_);
    packSeparator(container_, 2);
    pack(container_, bars_box_);
    GtkWidget* not_available = newLabel(L10n::tr("gpu.not.available"), TextStyle{}, kCentered);
    pack(container_, not_available, 4);
    g_object_set_data(G_OBJECT(static_cast<GtkWidget*>(container_)), kNotAvailable, not_available);
    gtk_widget_show_all(container_);
    // From here on only update() knows whether it belongs there, whoever shows the page.
    gtk_widget_set_no_show_all(not_available, TRUE);
}

void GPUView::update() {
    const std::vector<GPUUsage>& gpus = info_.gpu_usages;
    auto* not_available = attached<GtkWidget>(container_, kNotAvailable);
    gtk_widget_set_visible(not_available, gpus.empty());
    gtk_widget_set_visible(bars_box_, !gpus.empty());
    setText(model_label_, joinedNames(gpus));
    if (gpus.empty()) return;

    destroyChildren(bars_box_);
    for (const GPUUsage& gpu : gpus) {
        if (gpus.size() > 1) pack(bars_box_, newHeading(gpu.model_name));
        addGPU(gpu);
        if (&gpu != &gpus.back()) packSeparator(bars_box_, 4);
    }
    gtk_widget_show_all(bars_box_);
}

void GPUView::addGPU(const GPUUsage& gpu) {
    pack(bars_box_, createUtilRow("GPU", gpu.utilization, 0.0, 0.8, 0.8));
    if (gpu.memory_utilization > 0) {
        pack(bars_box_, createUtilRow(L10n::tr("gpu.memory"), gpu.memory_utilization, 0.2, 0.4, 1.0));
    }
    if (gpu.video_utilization > 0) {
        pack(bars_box_, createUtilRow("Video", gpu.video_utilization, 0.6, 0.2, 0.8));
    }
    if (!gpu.processes.empty()) addProcesses(gpu.processes);
}

void GPUView::addProcesses(const std::vector<GPUProcessUsage>& processes) {
    packSeparator(bars_box_, 2);
    const TextStyle style{.points = 9, .weight = PANGO_WEIGHT_MEDIUM};
    pack(bars_box_, newLabel(L10n::tr("gpu.processes"), style));
    for (std::size_t i = 0; i < std::min(processes.size(), kShownProcesses); ++i)
        pack(bars_box_, newProcessRow(processes[i]));
}

gboolean GPUView::drawUtilBar(GtkWidget* bar, cairo_t* context, gpointer) {
    const auto* data = attached<UtilBarData>(bar, kBarData);
    if (data == nullptr) return FALSE;
    drawUsageBar(context, gtk_widget_get_allocated_width(bar), gtk_widget_get_allocated_height(bar),
                 data->value, UsageColor{data->r, data->g, data->b}, SliverShape::Tucked);
    return TRUE;
}
