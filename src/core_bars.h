#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "cairo_handles.h"
#include "cpu_service.h"

/// Widths of the bars and of the gaps between them, in pixels.
struct BarGeometry {
    int width = 4;
    int gap = 1;
};

/// Many cores get thinner bars.
BarGeometry barGeometry(std::size_t cores);

/// Width of all bars together with 2 pixels on either side.
std::int64_t barsWidth(std::size_t cores);

/// The colour of a core's bar, 0..1 each.
struct BarColor {
    double r = 0, g = 0, b = 0;
};
BarColor barColor(const CoreUsage& core);

/// Draws a bar for each core's usage into the panel image. The pixels are cairo's own, but cairo is asked
/// only once for each kind of pixel.
class CoreBars {
public:
    /// Draws the bars with their left end in column `x` of an ARGB32 image. `blank` says that there is
    /// nothing yet where the bars go.
    void draw(cairo_t* context, std::span<const CoreUsage> cores, int x, bool blank);

private:
    static constexpr int kFullCoverage = 256;

    /// Pixels of one bar colour over the trough by coverage, from 0 (all trough) to kFullCoverage; 0 = not
    /// yet known.
    using Palette = std::array<std::uint32_t, kFullCoverage + 1>;

    std::uint32_t pixel(const CoreUsage& core, int coverage);

    std::array<Palette, 6> palettes_{};
};
