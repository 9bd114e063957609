#include "core_bars.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int kMargin = 2;    ///< pixels around all bars
constexpr int kClassGap = 0;  ///< pixels before the first SMT sibling
constexpr std::size_t kManyCores = 64;

/// cairo's coordinates count in 1/256 pixel.
constexpr int kFixedOne = 256;

/// Where a bar lies; `filled` is the height of its filled part.
struct Bar {
    int x;
    int width;
    int height;
    double filled;

    double filledTop() const { return kMargin + height - filled; }
};

double filledHeight(double usage, int bar_height) {
    // What exceeds the image by more than a pixel would only overflow cairo's coordinates.
    return std::min(std::max(1.0, usage / 100.0 * bar_height), bar_height + kMargin + 1.0);
}

std::size_t usageLevel(double usage) {
    if (usage < 50) return 0;
    return usage < 80 ? 1 : 2;
}

int toFixed(double pixels) {
    return static_cast<int>(std::nearbyint(pixels * kFixedOne));
}

void drawTrough(cairo_t* context, const Bar& bar) {
    cairo_set_source_rgba(context, 0.5, 0.5, 0.5, 0.3);
    cairo_rectangle(context, bar.x, kMargin, bar.width, bar.height);
    cairo_fill(context);
}

void drawFilled(cairo_t* context, const Bar& bar, const BarColor& color) {
    cairo_set_source_rgba(context, color.r, color.g, color.b, 1.0);
    cairo_rectangle(context, bar.x, bar.filledTop(), bar.width, bar.filled);
    cairo_fill(context);
}

/// Whether the filled part lies within the trough and ends with it. By the rounding of cairo's coordinates it
/// may end 1/256 pixel off.
bool isPlain(const Bar& bar) {
    const int top = toFixed(bar.filledTop());
    return top >= kMargin * kFixedOne && top + toFixed(bar.filled) == (kMargin + bar.height) * kFixedOne;
}

/// What cairo makes of a pixel of the trough whose lower `coverage` / 256 are filled.
std::uint32_t samplePixel(const BarColor& color, int coverage) {
    const CairoSurface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, kMargin + 2));
    const CairoContext context(cairo_create(surface.get()));
    const Bar bar{.x = 0, .width = 1, .height = 2, .filled = 1 + coverage / double{kFixedOne}};
    drawTrough(context.get(), bar);
    if (coverage > 0) drawFilled(context.get(), bar, color);
    cairo_surface_flush(surface.get());
    return reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(surface.get()))[kMargin];
}

}  // namespace

BarGeometry barGeometry(std::size_t cores) {
    if (cores < kManyCores) return {.width = 4, .gap = 1};
    return {.width = 2, .gap = 0};
}

std::int64_t barsWidth(std::size_t cores) {
    const auto [width, gap] = barGeometry(cores);
    return static_cast<std::int64_t>(cores) * (width + gap) - gap + std::int64_t{2} * kMargin;
}

BarColor barColor(const CoreUsage& core) {
    constexpr std::array<BarColor, 3> kFirstThreads = {{{0.0, 0.8, 0.8}, {0.2, 0.4, 1.0}, {0.6, 0.2, 0.8}}};
    constexpr std::array<BarColor, 3> kSiblings = {{{0.2, 0.8, 0.2}, {0.9, 0.8, 0.0}, {1.0, 0.6, 0.0}}};
    return (core.perfLevel == 0 ? kFirstThreads : kSiblings)[usageLevel(core.usage)];
}

void CoreBars::draw(cairo_t* context, std::span<const CoreUsage> cores, int x, bool blank) {
    cairo_surface_t* const image = cairo_get_target(context);
    cairo_surface_flush(image);
    const int image_width = cairo_image_surface_get_width(image);
    auto* const pixels = reinterpret_cast<std::uint32_t*>(cairo_image_surface_get_data(image));

    const auto [width, gap] = barGeometry(cores.size());
    Bar bar{x + kMargin, width, cairo_image_surface_get_height(image) - 2 * kMargin, 0};
    bool sibling_seen = false;
    for (const CoreUsage& core : cores) {
        if (core.perfLevel == 1 && !sibling_seen) {
            sibling_seen = true;
            bar.x += kClassGap;
        }
        bar.filled = filledHeight(core.usage, bar.height);
        if (blank && isPlain(bar)) {
            const int top = toFixed(bar.filledTop());
            for (int y = kMargin; y < kMargin + bar.height; ++y) {
                const int coverage = std::clamp((y + 1) * kFixedOne - top, 0, kFullCoverage);
                std::fill_n(pixels + std::ptrdiff_t{y} * image_width + bar.x, width, pixel(core, coverage));
            }
        } else {
            drawTrough(context, bar);
            drawFilled(context, bar, barColor(core));
        }
        bar.x += width + gap;
    }
    cairo_surface_mark_dirty(image);
}

std::uint32_t CoreBars::pixel(const CoreUsage& core, int coverage) {
    const std::size_t palette = (core.perfLevel == 0 ? 0 : 3) + usageLevel(core.usage);
    std::uint32_t& known = palettes_[palette][static_cast<std::size_t>(coverage)];
    if (known == 0) known = samplePixel(barColor(core), coverage);
    return known;
}
