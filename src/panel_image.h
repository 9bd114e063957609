#pragma once

#include <cairo.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core_bars.h"
#include "cpu_service.h"
#include "text_pictures.h"

/// One item of the panel image.
struct LabelSegment {
    std::string label;      ///< prefix such as "CPU:", may be empty
    std::string value;      ///< text, or kBarMarker
    std::string color_hex;  ///< colour of the value
};

/// The value of a segment that shows a bar for each CPU core instead of a text.
inline constexpr std::string_view kBarMarker = "\x01";

/// Extents of a monitor and of its work area, which panels are not part of, in pixels.
struct MonitorExtents {
    int top = 0;
    int height = 0;
    int work_top = 0;
    int work_height = 0;
};

/// The font size that suits a panel of this height (pixels).
int panelFontSize(int height);

/// The panel's size on a monitor: what the work area leaves at the top or else at the bottom. Where that is
/// no likely height of a panel, the fallback of a default PanelMetrics.
PanelMetrics panelMetrics(const MonitorExtents& monitor);

/// The same for the primary monitor of the default display, else its first; the fallback without one. The
/// caller keeps the result.
PanelMetrics detectPanelMetrics();

/// Draws the panel image. As long as the number of segments stays, neither a value's column nor the whole
/// image becomes narrower, so that the panel does not jitter.
class PanelImage {
public:
    /// The picture, which is valid until the next call; none when there are no segments or the image would
    /// be too large for cairo. Texts that aren't UTF-8 are repaired.
    cairo_surface_t* draw(std::span<const LabelSegment> segments, std::span<const CoreUsage> cores,
                          const PanelMetrics& metrics);

private:
    struct SegMeasure {
        const TextPicture* label = nullptr;  ///< none when empty
        const TextPicture* value = nullptr;  ///< none for bars
        int label_width = 0;                 ///< pixels, with the space behind the label
        int locked_value_width = 0;          ///< the width of the value's column
        int value_width = 0;                 ///< the width of the value itself
    };

    std::int64_t measure(std::span<const LabelSegment> segments, std::int64_t bars_width);
    std::int64_t lockWidth(std::int64_t total, std::size_t segment_count);
    bool prepareSurface(int width, int height);
    void drawText(const TextPicture& text, int x);

    TextPictures texts_;
    CoreBars bars_;
    CairoSurface surface_;
    CairoContext context_;
    int painted_until_ = 0;  ///< right of this column the image is still empty

    std::vector<SegMeasure> measures_;
    std::vector<int> locked_value_widths_;
    std::int64_t locked_width_ = 0;
    std::size_t locked_seg_count_ = 0;
};
