#include "usage_bar.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>

#include "cairo_handles.h"

namespace {

constexpr int kWidth = 100;
constexpr int kHeight = 14;
constexpr UsageColor kRed{1, 0, 0};

class Drawn {
public:
    explicit Drawn(double percent, SliverShape sliver = SliverShape::Rounded)
        : surface_(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kWidth, kHeight)) {
        const CairoContext context(cairo_create(surface_.get()));
        drawUsageBar(context.get(), kWidth, kHeight, percent, kRed, sliver);
        cairo_surface_flush(surface_.get());
    }

    std::uint32_t pixel(int x, int y = kHeight / 2) const {
        const auto* data = cairo_image_surface_get_data(surface_.get());
        return reinterpret_cast<const std::uint32_t*>(data)[y * kWidth + x];
    }

    bool isFilled(int x, int y = kHeight / 2) const { return pixel(x, y) == 0xFFFF0000; }

private:
    CairoSurface surface_;
};

/// Half-transparent grey.
constexpr std::uint32_t kTrack = 0x33191919;

TEST(UsageBar, FillsItsShareOfTheTrack) {
    const Drawn bar(40);
    EXPECT_TRUE(bar.isFilled(0));
    EXPECT_TRUE(bar.isFilled(39));
    EXPECT_EQ(bar.pixel(40), kTrack);
    EXPECT_EQ(bar.pixel(99), kTrack);
}

TEST(UsageBar, CornersAreRounded) {
    const Drawn bar(40);
    for (const int y : {0, kHeight - 1}) {
        EXPECT_LT(bar.pixel(0, y) >> 24, 0x80U);
        EXPECT_LT(bar.pixel(kWidth - 1, y) >> 24, 0x20U);
        EXPECT_FALSE(bar.isFilled(39, y));
        EXPECT_TRUE(bar.isFilled(20, y));
    }
}

TEST(UsageBar, NothingIsStillOnePixel) {
    const Drawn bar(0);
    EXPECT_TRUE(bar.isFilled(0));
    EXPECT_EQ(bar.pixel(3), kTrack);
}

TEST(UsageBar, ATuckedSliverLiesWithinTheRoundedEnd) {
    const Drawn bar(0, SliverShape::Tucked);
    EXPECT_TRUE(bar.isFilled(0));
    EXPECT_EQ(bar.pixel(1), kTrack);
    EXPECT_LT(bar.pixel(0, 0) >> 24, 0x80U);
}

TEST(UsageBar, WideFillsLookTheSameInBothShapes) {
    const Drawn rounded(30);
    const Drawn tucked(30, SliverShape::Tucked);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x)
            ASSERT_EQ(rounded.pixel(x, y), tucked.pixel(x, y)) << x << ',' << y;
    }
}

TEST(UsageBar, HundredAndMoreFillTheTrack) {
    for (const double percent : {100.0, 250.0, 1e300}) {
        const Drawn bar(percent);
        EXPECT_TRUE(bar.isFilled(0));
        EXPECT_TRUE(bar.isFilled(99));
    }
}

TEST(UsageBar, WhatIsNoNumberIsDrawnAsNothing) {
    const Drawn bar(std::nan(""));
    EXPECT_TRUE(bar.isFilled(0));
    EXPECT_EQ(bar.pixel(3), kTrack);
}

}  // namespace
