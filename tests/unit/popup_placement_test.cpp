#include "popup_placement.h"

#include <gtest/gtest.h>

namespace {

constexpr ScreenArea kMonitor{0, 0, 1920, 1080};
constexpr ScreenArea kBelowTopPanel{0, 32, 1920, 1048};
constexpr ScreenArea kAboveBottomPanel{0, 0, 1920, 1048};

int leftFor(int pointer_x, int width = 420, const ScreenArea& monitor = kMonitor) {
    return popupPosition(pointer_x, width, monitor, monitor).x;
}

TEST(PopupPlacement, IsCentredBelowThePointer) {
    EXPECT_EQ(leftFor(960), 750);
    EXPECT_EQ(leftFor(961, 421), 751);
}

TEST(PopupPlacement, KeepsFourPixelsFromTheSides) {
    EXPECT_EQ(leftFor(5), 4);
    EXPECT_EQ(leftFor(1915), 1496);
    EXPECT_EQ(leftFor(0), 4);
    EXPECT_EQ(leftFor(1919), 1496);
}

TEST(PopupPlacement, FourPixelsAreLeftAloneAndThreeAreNot) {
    EXPECT_EQ(leftFor(210 + 4), 4);
    EXPECT_EQ(leftFor(210 + 3), 4);
    EXPECT_EQ(leftFor(210 + 5), 5);
    EXPECT_EQ(leftFor(1496 + 210), 1496);
    EXPECT_EQ(leftFor(1497 + 210), 1496);
    EXPECT_EQ(leftFor(1495 + 210), 1495);
}

TEST(PopupPlacement, TheLeftEdgeCountsForAPopupWiderThanTheMonitor) {
    EXPECT_EQ(leftFor(200, 420, {0, 0, 400, 300}), 4);
}

TEST(PopupPlacement, HangsFromTheUpperEdgeOfTheWorkArea) {
    EXPECT_EQ(popupPosition(960, 420, kMonitor, kBelowTopPanel).y, 32);
    EXPECT_EQ(popupPosition(960, 420, kMonitor, kAboveBottomPanel).y, 4);
    EXPECT_EQ(popupPosition(960, 420, kMonitor, {0, 3, 1920, 1077}).y, 4);
    EXPECT_EQ(popupPosition(960, 420, kMonitor, {0, 4, 1920, 1076}).y, 4);
}

TEST(PopupPlacement, StaysOnASecondMonitor) {
    const ScreenArea second{1920, 200, 1280, 1024};
    EXPECT_EQ(popupPosition(1925, 420, second, second).x, 1924);
    EXPECT_EQ(popupPosition(3199, 420, second, second).x, 3200 - 420 - 4);
    EXPECT_EQ(popupPosition(2500, 420, second, second).y, 204);
    EXPECT_EQ(popupPosition(2500, 420, second, {1920, 230, 1280, 994}).y, 230);
}

TEST(PopupPlacement, IsNeverHigherThanTheWorkArea) {
    EXPECT_EQ(popupHeightLimit(kMonitor, kBelowTopPanel), 1080 - 32 - 4);
    EXPECT_EQ(popupHeightLimit(kMonitor, kAboveBottomPanel), 1048 - 4);
    EXPECT_EQ(popupHeightLimit(kMonitor, {0, 32, 1920, 1000}), 1000);
    EXPECT_EQ(popupHeightLimit(kMonitor, kMonitor), 1072);
    EXPECT_EQ(popupHeightLimit({0, 0, 10, 5}, {0, 0, 10, 0}), 1);
}

}  // namespace
