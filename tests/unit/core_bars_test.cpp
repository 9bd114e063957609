#include "core_bars.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "picture_matchers.h"

namespace {

/// The bars of these cores alone in an image.
CairoSurface drawn(const std::vector<CoreUsage>& cores, int height) {
    CairoSurface surface(
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(barsWidth(cores.size())), height));
    const CairoContext context(cairo_create(surface.get()));
    CoreBars bars;
    bars.draw(context.get(), cores, 0, true);
    return surface;
}

std::tuple<double, double, double> colorOf(int perf_level, double usage) {
    const BarColor color = barColor({.id = 0, .usage = usage, .perfLevel = perf_level});
    return {color.r, color.g, color.b};
}

}  // namespace

TEST(BarGeometry, ManyCoresGetThinBarsWithoutGaps) {
    for (const std::size_t n : {0U, 1U, 8U, 63U}) {
        EXPECT_EQ(barGeometry(n).width, 4) << n;
        EXPECT_EQ(barGeometry(n).gap, 1) << n;
    }
    for (const std::size_t n : {64U, 65U, 512U}) {
        EXPECT_EQ(barGeometry(n).width, 2) << n;
        EXPECT_EQ(barGeometry(n).gap, 0) << n;
    }
}

TEST(BarGeometry, WidthOfAllBars) {
    for (const auto& [cores, width] :
         {std::pair{0, 3}, {1, 8}, {2, 13}, {8, 43}, {63, 318}, {64, 132}, {200, 404}})
        EXPECT_EQ(barsWidth(static_cast<std::size_t>(cores)), width) << cores;
    EXPECT_EQ(barsWidth(4'000'000'000), 8'000'000'004);
}

TEST(BarColor, FollowsTheUsageAndTheKindOfThread) {
    const auto cyan = std::tuple(0.0, 0.8, 0.8);
    const auto blue = std::tuple(0.2, 0.4, 1.0);
    const auto purple = std::tuple(0.6, 0.2, 0.8);
    const auto green = std::tuple(0.2, 0.8, 0.2);
    const auto yellow = std::tuple(0.9, 0.8, 0.0);
    const auto orange = std::tuple(1.0, 0.6, 0.0);
    EXPECT_EQ(colorOf(0, 0), cyan);
    EXPECT_EQ(colorOf(0, 49.999), cyan);
    EXPECT_EQ(colorOf(0, 50), blue);
    EXPECT_EQ(colorOf(0, 79.99), blue);
    EXPECT_EQ(colorOf(0, 80), purple);
    EXPECT_EQ(colorOf(0, 100), purple);
    for (const int perf_level : {1, 2, -1}) {
        EXPECT_EQ(colorOf(perf_level, 0), green);
        EXPECT_EQ(colorOf(perf_level, 49.999), green);
        EXPECT_EQ(colorOf(perf_level, 50), yellow);
        EXPECT_EQ(colorOf(perf_level, 79.99), yellow);
        EXPECT_EQ(colorOf(perf_level, 80), orange);
        EXPECT_EQ(colorOf(perf_level, 100), orange);
    }
    EXPECT_EQ(colorOf(0, std::nan("")), purple) << "not less than anything";
}

TEST(CoreBars, StandInTheirTroughs) {
    const CairoSurface image = drawn({{.usage = 50}, {.usage = 0}}, 24);
    const std::uint32_t trough = 0x4C262626;
    const std::uint32_t blue = 0xFF3366FF;
    const std::uint32_t cyan = 0xFF00CCCC;
    for (const int x : {0, 1, 6, 11, 12})
        EXPECT_EQ(pixelAt(image.get(), x, 12), 0U) << x;
    for (const int x : {2, 3, 4, 5}) {
        EXPECT_EQ(pixelAt(image.get(), x, 1), 0U);
        EXPECT_EQ(pixelAt(image.get(), x, 2), trough);
        EXPECT_EQ(pixelAt(image.get(), x, 11), trough);
        EXPECT_EQ(pixelAt(image.get(), x, 12), blue);
        EXPECT_EQ(pixelAt(image.get(), x, 21), blue);
        EXPECT_EQ(pixelAt(image.get(), x, 22), 0U);
    }
    EXPECT_EQ(pixelAt(image.get(), 7, 20), trough);
    EXPECT_EQ(pixelAt(image.get(), 10, 21), cyan) << "one pixel at least";
}

TEST(CoreBars, AFullBarHidesItsTrough) {
    const CairoSurface image = drawn({{.usage = 100, .perfLevel = 1}}, 24);
    for (int y = 2; y < 22; ++y)
        EXPECT_EQ(pixelAt(image.get(), 2, y), 0xFFFF9900U) << y;
}

TEST(CoreBars, NoGapBetweenTheKindsOfThreads) {
    const CairoSurface image = drawn({{.perfLevel = 0}, {.perfLevel = 1}, {.perfLevel = 1}}, 24);
    for (const int x : {6, 11})
        EXPECT_EQ(pixelAt(image.get(), x, 12), 0U) << x;
    for (const int x : {5, 7, 10, 12, 15})
        EXPECT_NE(pixelAt(image.get(), x, 12), 0U) << x;
}

TEST(CoreBars, ThinBarsTouch) {
    const CairoSurface image = drawn(std::vector<CoreUsage>(64), 24);
    for (int x = 2; x < 2 + 128; ++x)
        ASSERT_NE(pixelAt(image.get(), x, 12), 0U) << x;
    EXPECT_EQ(pixelAt(image.get(), 130, 12), 0U);
}
