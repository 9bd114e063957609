#include "panel_image.h"

#include <gdk/gdk.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr const char* kLabelColor = "#4090FF";
constexpr int kLabelSpace = 3;    ///< pixels behind a label
constexpr int kSegmentSpace = 8;  ///< pixels between segments
constexpr int kTallestPanel = 79;
constexpr std::int64_t kWidestImage = 32767;  ///< cairo's limit

bool isPanelHeight(std::int64_t height) {
    return height > 0 && height <= kTallestPanel;
}

/// Copies a text's pixels to where nothing is yet. What lies beyond the image's edges is left out.
void copyPixels(const TextPicture& text, int x, cairo_surface_t* image) {
    cairo_surface_flush(image);
    const int image_width = cairo_image_surface_get_width(image);
    auto* const pixels = reinterpret_cast<std::uint32_t*>(cairo_image_surface_get_data(image));
    const int left = std::max(x + text.left, 0);
    const int right = std::min(x + text.left + text.columns, image_width);
    for (int row = 0; row < text.rows && left < right; ++row) {
        const auto* from = text.pixels.data() + std::ptrdiff_t{row} * text.columns + (left - x - text.left);
        auto* to = pixels + std::ptrdiff_t{text.top + row} * image_width + left;
        std::memcpy(to, from, static_cast<std::size_t>(right - left) * sizeof *to);
    }
    cairo_surface_mark_dirty(image);
}

}  // namespace

int panelFontSize(int height) {
    return height * 40 >= 800 ? std::min(height * 40 / 100, 14) : 8;
}

PanelMetrics panelMetrics(const MonitorExtents& monitor) {
    const std::int64_t above = std::int64_t{monitor.work_top} - monitor.top;
    const std::int64_t below =
        std::int64_t{monitor.top} + monitor.height - monitor.work_top - monitor.work_height;
    const std::int64_t height = isPanelHeight(above) ? above : below;
    if (!isPanelHeight(height)) return {};
    return {.height = static_cast<int>(height), .font_size = panelFontSize(static_cast<int>(height))};
}

PanelMetrics detectPanelMetrics() {
    GdkDisplay* display = gdk_display_get_default();
    if (display == nullptr) return {};
    GdkMonitor* monitor = gdk_display_get_primary_monitor(display);
    if (monitor == nullptr) monitor = gdk_display_get_monitor(display, 0);
    if (monitor == nullptr) return {};
    GdkRectangle whole;
    GdkRectangle work;
    gdk_monitor_get_geometry(monitor, &whole);
    gdk_monitor_get_workarea(monitor, &work);
    return panelMetrics(
        {.top = whole.y, .height = whole.height, .work_top = work.y, .work_height = work.height});
}

cairo_surface_t* PanelImage::draw(std::span<const LabelSegment> segments, std::span<const CoreUsage> cores,
                                  const PanelMetrics& metrics) {
    if (segments.empty() || metrics.height <= 0 || metrics.height > kWidestImage) return nullptr;
    texts_.beginFrame(metrics);
    const std::int64_t width = lockWidth(measure(segments, barsWidth(cores.size())), segments.size());
    if (width <= 0 || width > kWidestImage) return nullptr;
    if (!prepareSurface(static_cast<int>(width), metrics.height)) return nullptr;

    int x = 0;
    for (const SegMeasure& segment : measures_) {
        if (segment.label != nullptr) drawText(*segment.label, x);
        x += segment.label_width;
        if (segment.value != nullptr) {
            drawText(*segment.value, x + segment.locked_value_width - segment.value_width);
        } else {
            bars_.draw(context_.get(), cores, x, x >= painted_until_);
            painted_until_ = std::max(painted_until_, x + segment.value_width);
        }
        x += segment.locked_value_width + kSegmentSpace;
    }
    cairo_surface_flush(surface_.get());
    return surface_.get();
}

/// Looks up all texts, widens the value columns and returns the width that the segments need.
std::int64_t PanelImage::measure(std::span<const LabelSegment> segments, std::int64_t bars_width) {
    if (locked_value_widths_.size() != segments.size()) locked_value_widths_.assign(segments.size(), 0);
    measures_.clear();
    std::int64_t total = -kSegmentSpace;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const LabelSegment& segment = segments[i];
        SegMeasure measure;
        if (!segment.label.empty()) {
            measure.label = &texts_.get(segment.label, kLabelColor);
            measure.label_width = measure.label->width + kLabelSpace;
        }
        if (segment.value == kBarMarker) {
            measure.value_width = static_cast<int>(std::min(bars_width, kWidestImage + 1));
            measure.locked_value_width = measure.value_width;
        } else {
            measure.value = &texts_.get(segment.value, segment.color_hex);
            measure.value_width = measure.value->width;
            measure.locked_value_width = std::max(locked_value_widths_[i], measure.value_width);
            locked_value_widths_[i] = measure.locked_value_width;
        }
        total += measure.label_width + measure.locked_value_width + kSegmentSpace;
        measures_.push_back(measure);
    }
    return total;
}

std::int64_t PanelImage::lockWidth(std::int64_t total, std::size_t segment_count) {
    locked_width_ = segment_count == locked_seg_count_ ? std::max(locked_width_, total) : total;
    locked_seg_count_ = segment_count;
    return locked_width_;
}

/// An empty image of this size. The surface of the last one is used again if it has the same size.
bool PanelImage::prepareSurface(int width, int height) {
    painted_until_ = 0;
    if (surface_ && cairo_status(context_.get()) == CAIRO_STATUS_SUCCESS &&
        cairo_image_surface_get_width(surface_.get()) == width &&
        cairo_image_surface_get_height(surface_.get()) == height) {
        cairo_set_operator(context_.get(), CAIRO_OPERATOR_CLEAR);
        cairo_paint(context_.get());
        cairo_set_operator(context_.get(), CAIRO_OPERATOR_OVER);
        return true;
    }
    context_.reset();
    surface_.reset(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
    context_.reset(cairo_create(surface_.get()));
    return cairo_status(context_.get()) == CAIRO_STATUS_SUCCESS;
}

void PanelImage::drawText(const TextPicture& text, int x) {
    if (text.columns == 0) return;
    const int left = x + text.left;
    if (left >= painted_until_ && !text.pixels.empty()) {
        copyPixels(text, x, surface_.get());
    } else {
        texts_.drawAfresh(context_.get(), text, x);
    }
    painted_until_ = std::max(painted_until_, left + text.columns);
}
