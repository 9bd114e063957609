#include "cpu_view.h"

#include <algorithm>

#include "accessible.h"
#include "core_bars.h"
#include "display_text.h"
#include "l10n.h"
#include "short_text.h"
#include "temperature_service.h"
#include "usage_bar.h"

namespace {

constexpr const char* kBarData = "bar_data";
constexpr const char* kCoreName = "core";
constexpr int kBarWidth = 80;         // pixels at least
constexpr int kBarMargin = 4;         // pixels between the number and the bar
constexpr int kPercentWidth = 35;     // pixels
constexpr double kMostPercent = 999;  // of a core, as a text

constexpr UsageColor kPrimaryHeader{0, 0.8, 0.8};
constexpr UsageColor kSiblingHeader{0.4, 0.2, 0.8};

constexpr int kHeaderWeight = 500;
const TextStyle kReading{.points = 10, .weight = kHeaderWeight, .family = FontFamily::Monospace};

const char* temperatureColor(double celsius) {
    if (celsius < 50) return "#4caf50";
    return celsius <= 80 ? "#ff9800" : "#f44336";
}

/// Cut to whole percent; what is no number becomes 0.
std::string percentText(double usage) {
    return shortText("%d%%", static_cast<int>(std::min(std::max(0.0, usage), kMostPercent)));
}

TextColor textColor(const UsageColor& color) {
    const auto component = [](double fraction) { return static_cast<guint16>(fraction * 65535); };
    return {component(color.r), component(color.g), component(color.b)};
}

/// What a core is called: attached to its bar.
struct CoreName {
    const char* group;  ///< its header's key
    int number;
};

/// A group's header without the count behind it.
std::string groupName(const char* title) {
    const std::string header = L10n::tr(title);
    const auto count = std::min(header.find('('), header.find("（"));
    const auto end = header.find_last_not_of(' ', count - 1);
    return header.substr(0, end + 1);
}

UsageReading readingOf(GtkWidget* bar) {
    const auto* const name = attached<CoreName>(bar, kCoreName);
    const auto* const data = attached<BarData>(bar, kBarData);
    if (name == nullptr || data == nullptr) return {};
    return {groupName(name->group) + " " + std::to_string(name->number), data->usage};
}

GtkWidget* newBar(const CoreUsage& core, const CoreLayout& layout) {
    GtkWidget* bar = newUsageBar(readingOf);
    gtk_widget_set_hexpand(bar, TRUE);
    gtk_widget_set_margin_start(bar, kBarMargin);
    gtk_widget_set_size_request(bar, kBarWidth, layout.bar_height);
    attach(bar, kBarData, BarData{core.usage, core.perfLevel});
    g_signal_connect(bar, "draw", G_CALLBACK(CPUView::drawBar), nullptr);
    return bar;
}

void refreshRow(const CoreRow& row, const CoreUsage& core) {
    *attached<BarData>(row.bar, kBarData) = {core.usage, core.perfLevel};
    gtk_widget_queue_draw(row.bar);
    setText(row.percent, percentText(core.usage));
}

}  // namespace

CoreLayout coreLayoutFor(std::size_t cores) {
    if (cores >= 96) return {4, 2, 5, 20, 0};
    if (cores >= 48) return {5, 3, 6, 20, 0};
    return {6, 3, 7, 18, cores >= 32 ? 0 : 1};
}

CoreRow addCoreRow(GtkWidget* box, const CoreUsage& core, int number, const CoreLayout& layout) {
    const TextAttributes text(TextStyle{.points = layout.font_size, .family = FontFamily::Monospace});
    const CoreRow made{newBar(core, layout), newColumn(percentText(core.usage), text, kPercentWidth, kAtEnd)};
    GtkWidget* row = newRow(layout.row_gap);
    gtk_widget_set_size_request(row, -1, layout.row_height);
    pack(row, newColumn(shortText("%3d", number), text, layout.num_width, kAtEnd));
    packFilling(row, made.bar);
    packAtEnd(row, made.percent);
    pack(box, row);
    return made;
}

CPUView::CPUView(SystemInfo& info)
    : info_(info),
      container_(newColumnBox(6)),
      model_label_(newLabel("", TextStyle{.weight = kHeaderWeight})),
      cores_label_(newLabel("", TextStyle{.points = 9, .family = FontFamily::Interface}, kCentered)),
      temp_label_(newLabel("", kReading)),
      avg_label_(newLabel("", kReading, kAtEnd)),
      bars_box_(newColumnBox(2)) {
    setPageMargins(container_, 8, 4);
    addHeadline();
    addReadings();
    packSeparator(container_, 2);
    pack(container_, bars_box_);
    gtk_widget_show_all(container_);
    // A machine without a sensor keeps it hidden, whoever shows the page.
    gtk_widget_set_no_show_all(temp_label_, TRUE);
}

void CPUView::addHeadline() {
    GtkWidget* line = newRow(4);
    ellipsizeToRoom(model_label_);
    gtk_widget_set_hexpand(model_label_, TRUE);
    packFilling(line, model_label_);
    packAtEnd(line, cores_label_);
    pack(container_, line);
}

void CPUView::addReadings() {
    GtkWidget* line = newRow(4);
    gtk_label_set_use_markup(GTK_LABEL(temp_label_), TRUE);
    setAccessibleDescription(temp_label_, L10n::tr("settings.temperature"));
    packFilling(line, temp_label_);
    packAtEnd(line, avg_label_);
    pack(container_, line);
}

void CPUView::update() {
    const CPUService& cpu = info_.cpu_service_;
    setText(model_label_, displayText(cpu.modelName()));
    setText(cores_label_, L10n::tr("cores.suffix", cpu.totalCores()));
    showTemperature();
    setText(avg_label_, shortText("CPU: %.1f%%", info_.average_cpu));
    rebuildBars();
}

void CPUView::showTemperature() {
    const std::optional<double> celsius = info_.cpu_temperature;
    if (celsius) {
        const std::string markup = std::string("<span foreground=\"") + temperatureColor(*celsius) +
                                   "\">🌡️ " + TemperatureService::formatTemperature(*celsius) +
                                   "</span>";
        gtk_label_set_markup(GTK_LABEL(temp_label_), markup.c_str());
    }
    gtk_widget_set_visible(temp_label_, celsius.has_value());
}

void CPUView::rebuildBars() {
    const std::vector<CoreUsage>& cores = info_.core_usages;
    RowPlan plan{{}, L10n::currentLanguage()};
    for (const CoreUsage& core : cores)
        plan.siblings.push_back(core.perfLevel != 0);
    if (plan != plan_) {
        plan_ = std::move(plan);
        makeRows();
        return;
    }
    for (std::size_t i = 0; i < cores.size(); ++i)
        refreshRow(rows_[i], cores[i]);
}

void CPUView::makeRows() {
    destroyChildren(bars_box_);
    rows_.assign(plan_.siblings.size(), {});
    if (std::ranges::find(plan_.siblings, true) == plan_.siblings.end()) {
        addGroup("cpu.cores", kPrimaryHeader, false);
    } else {
        addGroup("cpu.physical", kPrimaryHeader, false);
        packSeparator(bars_box_, 1);
        addGroup("cpu.logical", kSiblingHeader, true);
    }
    gtk_widget_show_all(bars_box_);
}

/// A header that counts the cores below it, then their rows.
void CPUView::addGroup(const char* title, const UsageColor& color, bool siblings) {
    const TextStyle style{.points = 9, .weight = kHeaderWeight, .color = textColor(color)};
    const auto count = std::ranges::count(plan_.siblings, siblings);
    pack(bars_box_, newLabel(L10n::tr(title, static_cast<int>(count)), style));

    const CoreLayout layout = coreLayoutFor(rows_.size());
    int number = 0;
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        if (plan_.siblings[i] != siblings) continue;
        rows_[i] = addCoreRow(bars_box_, info_.core_usages[i], ++number, layout);
        attach(rows_[i].bar, kCoreName, CoreName{title, number});
    }
}

gboolean CPUView::drawBar(GtkWidget* bar, cairo_t* context, gpointer) {
    const auto* data = attached<BarData>(bar, kBarData);
    if (data == nullptr) return FALSE;
    const BarColor color = barColor({.usage = data->usage, .perfLevel = data->perf_level});
    drawUsageBar(context, gtk_widget_get_allocated_width(bar), gtk_widget_get_allocated_height(bar),
                 data->usage, {color.r, color.g, color.b}, SliverShape::Rounded);
    return TRUE;
}
