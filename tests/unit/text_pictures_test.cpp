#include "text_pictures.h"

#include <gtest/gtest.h>
#include <pango/pangocairo.h>

namespace {

constexpr PanelMetrics kPanel28{.height = 28, .font_size = 11};

}  // namespace

TEST(TextPictures, AreKeptWhileTheFontStays) {
    TextPictures pictures;
    pictures.beginFrame(kPanel28);
    const TextPicture* first = &pictures.get("37%", "#FFFFFF");
    pictures.beginFrame(kPanel28);
    EXPECT_EQ(&pictures.get("37%", "#FFFFFF"), first);
    EXPECT_EQ(pictures.size(), 1U);
    const int width = first->width;
    pictures.beginFrame({.height = 40, .font_size = 14});
    EXPECT_GT(pictures.get("37%", "#FFFFFF").width, width);
    EXPECT_EQ(pictures.size(), 1U);
    pango_font_map_changed(pango_cairo_font_map_get_default());
    pictures.beginFrame({.height = 40, .font_size = 14});
    EXPECT_EQ(pictures.size(), 0U) << "the system's fonts have changed";
}

TEST(TextPictures, TheColourIsPartOfThePicture) {
    TextPictures pictures;
    pictures.beginFrame(kPanel28);
    const TextPicture& red = pictures.get("█", "#FF0000");
    const TextPicture& blue = pictures.get("█", "#0000FF");
    EXPECT_EQ(red.width, blue.width);
    EXPECT_NE(red.pixels, blue.pixels);
}

TEST(TextPictures, WaysToWriteAColourMakeNoDifference) {
    TextPictures pictures;
    pictures.beginFrame(kPanel28);
    const TextPicture& picture = pictures.get("37%", "#FF0000");
    EXPECT_EQ(&pictures.get("37%", "FF0000"), &picture);
    EXPECT_EQ(&pictures.get("37%", "#" + std::string(1'000'000, '0') + "FF0000"), &picture);
}

TEST(TextPictures, StayBoundedOverManyFrames) {
    TextPictures pictures;
    for (int frame = 0; frame < 5000; ++frame) {
        pictures.beginFrame(kPanel28);
        pictures.get("CPU:", "#4090FF");
        for (int i = 0; i < 3; ++i)
            pictures.get(std::to_string(frame * 3 + i), "#FFFFFF");
        ASSERT_LE(pictures.size(), 1000U);
    }
}

TEST(TextPictures, ThoseNotUsedForLongestGoFirst) {
    TextPictures pictures;
    pictures.beginFrame(kPanel28);
    const TextPicture* label = &pictures.get("CPU:", "#4090FF");
    const auto* pixels = label->pixels.data();
    for (int frame = 0; frame < 2000; ++frame) {
        pictures.beginFrame(kPanel28);
        ASSERT_EQ(pictures.get("CPU:", "#4090FF").pixels.data(), pixels);
        pictures.get(std::to_string(frame), "#FFFFFF");
    }
    EXPECT_LT(pictures.size(), 1000U);
    EXPECT_GT(pictures.size(), 100U);
}

TEST(TextPictures, StayBoundedInAFrameOfManyAndWithLargeTexts) {
    TextPictures pictures;
    for (int frame = 0; frame < 20; ++frame) {
        pictures.beginFrame({.height = 79, .font_size = 14});
        EXPECT_LE(pictures.size(), frame == 4 ? 1000U : 10U);
        for (int i = 0; i < (frame == 3 ? 1000 : 2); ++i) {
            pictures.get(std::to_string(frame * 1000 + i) + std::string(frame == 3 ? 1 : 2000, 'x'),
                         "#FFFFFF");
        }
    }
}

TEST(TextPictures, ALongTextIsJustTooWide) {
    TextPictures pictures;
    pictures.beginFrame(kPanel28);
    EXPECT_EQ(pictures.get(std::string(32'768, 'x'), "").width, TextPictures::kTooWide);
    EXPECT_LT(pictures.get("x", "").width, TextPictures::kTooWide);
}
