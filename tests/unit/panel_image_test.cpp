#include "panel_image.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "picture_matchers.h"
#include "plain_panel_image.h"
#include "png_writer.h"

namespace {

using Segments = std::vector<LabelSegment>;
using Cores = std::vector<CoreUsage>;

constexpr PanelMetrics kPanel28{.height = 28, .font_size = 11};

LabelSegment bars() {
    return {"", std::string(kBarMarker), "#00CC00"};
}

Cores coresWith(std::initializer_list<double> usages) {
    Cores cores;
    for (const double usage : usages)
        cores.push_back({.id = static_cast<int>(cores.size()), .usage = usage});
    return cores;
}

/// Draws each frame in both ways with the same history and compares.
class BothWays {
public:
    testing::AssertionResult agree(const Segments& segments, const Cores& cores,
                                   const PanelMetrics& metrics) {
        last_ = image_.draw(segments, cores, metrics);
        plain_last_ = plain_.draw(segments, cores, metrics);
        return samePixels(last_, plain_last_.get());
    }
    cairo_surface_t* image() { return last_; }
    int width() { return cairo_image_surface_get_width(last_); }

private:
    PanelImage image_;
    PlainPanelImage plain_;
    CairoSurface plain_last_;
    cairo_surface_t* last_ = nullptr;
};

/// First and last column with ink from column `from` on; {-1, -1} without any.
std::pair<int, int> inkColumns(cairo_surface_t* image, int from = 0) {
    std::pair<int, int> columns{-1, -1};
    for (int x = from; x < cairo_image_surface_get_width(image); ++x) {
        for (int y = 0; y < cairo_image_surface_get_height(image); ++y) {
            if (pixelAt(image, x, y) != 0) {
                if (columns.first < 0) columns.first = x;
                columns.second = x;
            }
        }
    }
    return columns;
}

int widthOf(PanelImage& image, const Segments& segments, const Cores& cores = {}) {
    cairo_surface_t* surface = image.draw(segments, cores, kPanel28);
    return surface ? cairo_image_surface_get_width(surface) : -1;
}

int widthOf(const Segments& segments, const Cores& cores = {}) {
    PanelImage image;
    return widthOf(image, segments, cores);
}

}  // namespace

TEST(PanelFontSize, FollowsTheHeight) {
    for (const auto& [height, size] : {std::pair{1, 8},
                                       {19, 8},
                                       {20, 8},
                                       {22, 8},
                                       {23, 9},
                                       {24, 9},
                                       {26, 10},
                                       {28, 11},
                                       {34, 13},
                                       {35, 14},
                                       {40, 14},
                                       {79, 14}})
        EXPECT_EQ(panelFontSize(height), size) << height;
}

TEST(PanelMetrics, ComeFromThePanelAtTheTopOrElseAtTheBottom) {
    struct Case {
        const char* story;
        MonitorExtents monitor;
        PanelMetrics metrics;
    };
    const PanelMetrics fallback{.height = 26, .font_size = 10};
    for (const auto& [story, monitor, metrics] : {
             Case{"panel at the top", {0, 1080, 28, 1052}, {28, 11}},
             Case{"panel at the bottom", {0, 1080, 0, 1056}, {24, 9}},
             Case{"both: the top counts", {0, 1080, 24, 1016}, {24, 9}},
             Case{"tallest panel", {0, 1080, 79, 1001}, {79, 14}},
             Case{"one pixel", {0, 1080, 1, 1079}, {1, 8}},
             Case{"monitor below another", {1080, 1080, 1112, 1048}, {32, 12}},
             Case{"monitor above another", {-1080, 1080, -1080, 1045}, {35, 14}},
             Case{"no panel", {0, 1080, 0, 1080}, fallback},
             Case{"panel of 80 pixels at the top", {0, 1080, 80, 1000}, fallback},
             Case{"panel of 80 pixels at the bottom", {0, 1080, 0, 1000}, fallback},
             Case{"too tall at the top, likely at the bottom", {0, 1080, 80, 970}, {30, 12}},
             Case{"work area larger than the monitor", {0, 1080, -10, 1200}, fallback},
             Case{"nothing known", {0, 0, 0, 0}, fallback},
             Case{"nonsense", {INT_MAX, INT_MAX, INT_MIN, INT_MIN}, fallback},
         }) {
        EXPECT_EQ(panelMetrics(monitor), metrics) << story;
    }
}

TEST(PanelMetrics, TheFallbackHasTheFontSizeOfItsHeight) {
    EXPECT_EQ(PanelMetrics{}.font_size, panelFontSize(PanelMetrics{}.height));
}

TEST(PanelMetrics, WithoutADisplayAreTheFallback) {
    EXPECT_EQ(detectPanelMetrics(), PanelMetrics{});
}

TEST(PanelImage, WithoutSegmentsThereIsNone) {
    PanelImage image;
    EXPECT_EQ(image.draw({}, {}, kPanel28), nullptr);
}

TEST(PanelImage, IsAsTallAsThePanelAndTransparentBehindItsInk) {
    PanelImage image;
    cairo_surface_t* surface = image.draw(Segments{{"CPU:", "7%", "#FFFFFF"}}, {}, kPanel28);
    EXPECT_EQ(cairo_image_surface_get_height(surface), 28);
    EXPECT_EQ(cairo_image_surface_get_format(surface), CAIRO_FORMAT_ARGB32);
    EXPECT_EQ(pixelAt(surface, 0, 0), 0U);
}

TEST(PanelImage, AddsUpTheWidthsOfItsSegments) {
    const int value = widthOf({{"", "12%", ""}});
    const int label = widthOf({{"12%", "", ""}});
    EXPECT_EQ(label, value + 3) << "3 pixels behind a label";
    EXPECT_EQ(widthOf({{"12%", "12%", ""}}), label + value);
    EXPECT_EQ(widthOf({{"", "12%", ""}, {"", "12%", ""}}), 2 * value + 8) << "8 pixels between segments";
    EXPECT_EQ(widthOf({{"", "12%", ""}, {"", "", ""}}), value + 8);
    EXPECT_EQ(widthOf({bars()}, Cores(8)), 8 * 5 - 1 + 4);
    EXPECT_EQ(widthOf({bars(), {"", "12%", ""}}, Cores(8)), 43 + 8 + value);
    EXPECT_EQ(widthOf({{"12%", std::string(kBarMarker), ""}}, Cores(8)), label + 43);
    EXPECT_EQ(widthOf({bars()}), 3) << "no cores";
}

TEST(PanelImage, LabelsAreBlueAndValuesHaveTheirOwnColour) {
    PanelImage image;
    // A full block has pixels of the plain colour.
    cairo_surface_t* surface = image.draw(Segments{{"█", "█", "#FF8000"}}, {}, kPanel28);
    const auto [first, last] = inkColumns(surface);
    EXPECT_EQ(pixelAt(surface, first + 2, 14), 0xFF4090FFU);
    EXPECT_EQ(pixelAt(surface, last - 2, 14), 0xFFFF8000U);
}

TEST(PanelImage, AColumnNeverShrinksAndItsValueStaysAtTheRight) {
    PanelImage image;
    const int width = widthOf(image, {{"", "100%", "#FFFFFF"}});
    const auto wide = inkColumns(image.draw(Segments{{"", "100%", "#FFFFFF"}}, {}, kPanel28));
    const auto narrow = inkColumns(image.draw(Segments{{"", "5%", "#FFFFFF"}}, {}, kPanel28));
    EXPECT_EQ(narrow.second, wide.second);
    EXPECT_GE(narrow.first, width / 2);
    EXPECT_EQ(widthOf(image, {{"", "5%", "#FFFFFF"}}), width);
    EXPECT_LT(widthOf({{"", "5%", "#FFFFFF"}}), width);
    EXPECT_GT(widthOf(image, {{"", "1000%", "#FFFFFF"}}), width);
}

TEST(PanelImage, LockedColumnsMakeRoomForEachOther) {
    // Each value was wide once, though never both at a time.
    PanelImage image;
    widthOf(image, {{"", "100%", ""}, {"", "5%", ""}});
    const int both = widthOf({{"", "100%", ""}, {"", "100%", ""}});
    EXPECT_EQ(widthOf(image, {{"", "5%", ""}, {"", "100%", ""}}), both);
}

TEST(PanelImage, AnotherNumberOfSegmentsStartsAfresh) {
    PanelImage image;
    const LabelSegment small{"", "5%", "#FFFFFF"};
    const LabelSegment large{"", "100%", "#FFFFFF"};
    const int narrow_pair = widthOf({small, small});
    EXPECT_GT(widthOf(image, {large, large}), narrow_pair);
    EXPECT_EQ(widthOf(image, {small}), widthOf({small}));
    EXPECT_EQ(widthOf(image, {small, small}), narrow_pair);
}

TEST(PanelImage, TheWidthIsKeptWhenItemsChangeButNotTheirNumber) {
    PanelImage image;
    const int width = widthOf(image, {bars()}, Cores(40));
    EXPECT_EQ(widthOf(image, {{"", "5%", "#FFFFFF"}}), width);
    EXPECT_EQ(widthOf(image, {bars()}, Cores(4)), width);
}

TEST(PanelImage, NoSegmentsLeaveTheLocksAlone) {
    PanelImage image;
    const int width = widthOf(image, {{"", "100%", ""}});
    EXPECT_EQ(image.draw({}, {}, kPanel28), nullptr);
    EXPECT_EQ(widthOf(image, {{"", "5%", ""}}), width);
}

TEST(PanelImage, ATextOfOtherBytesIsNoBarMarker) {
    BothWays ways;
    EXPECT_TRUE(ways.agree({{"", "\x01\x01", "#FFFFFF"}}, Cores(3), kPanel28));
    EXPECT_TRUE(ways.agree({{"\x01", "1", "#FFFFFF"}}, Cores(3), kPanel28));
}

TEST(PanelImage, EqualsThePlainWayForEachUsage) {
    const Cores cores = coresWith({0,   0.001,  1,    4.16,  4.17,         12.5,   33.3333,    49.999,
                                   50,  50.001, 66.6, 79.99, 80,           99.9,   100,        100.1,
                                   107, 109,    250,  -5,    std::nan(""), 1e-300, 100 / 48.0, 100 / 3.0});
    Cores siblings = cores;
    for (auto& core : siblings)
        core.perfLevel = 1 + core.id % 2;
    for (int height = 1; height <= 79; ++height) {
        BothWays ways;
        const PanelMetrics metrics{.height = height, .font_size = panelFontSize(height)};
        ASSERT_TRUE(ways.agree({bars(), bars()}, cores, metrics)) << "height " << height;
        ASSERT_TRUE(ways.agree({bars(), bars()}, siblings, metrics)) << "height " << height;
    }
}

TEST(PanelImage, UsagesBeyondAllBoundsFillTheBar) {
    const double inf = std::numeric_limits<double>::infinity();
    PanelImage wild;
    PanelImage tame;
    for (int height = 5; height <= 79; ++height) {
        const PanelMetrics metrics{.height = height, .font_size = panelFontSize(height)};
        EXPECT_TRUE(
            samePixels(wild.draw(Segments{bars()}, coresWith({inf, 1e300, 1e9, -inf, -1e300}), metrics),
                       tame.draw(Segments{bars()}, coresWith({400, 400, 400, 0, 0}), metrics)))
            << height;
    }
}

TEST(PanelImage, EqualsThePlainWayWhereCairoRoundsHalves) {
    // Filled heights of k/512 pixel lie between two of cairo's coordinates.
    for (const int height : {20, 28, 36}) {
        Cores cores;
        for (int k = 1; k < 400; ++k)
            cores.push_back({.id = k, .usage = 100.0 * (3 + k / 512.0) / (height - 4)});
        BothWays ways;
        ASSERT_TRUE(ways.agree({bars()}, cores, {.height = height, .font_size = 10})) << height;
    }
}

TEST(PanelImage, EqualsThePlainWayForEachNumberOfCores) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> usage(0, 100);
    BothWays ways;
    for (std::size_t n = 0; n <= 200; ++n) {
        Cores cores(n);
        for (auto& core : cores)
            core = {.usage = usage(random), .perfLevel = static_cast<int>(random() % 2)};
        ASSERT_TRUE(ways.agree({bars(), {"", std::to_string(n), "#FFFFFF"}}, cores, kPanel28)) << n;
    }
}

TEST(PanelImage, EqualsThePlainWayAtEachHeight) {
    const Segments segments{{"CPU:", "37%", "#33CC33"},
                            bars(),
                            {"", "52°C", "#FFA500"},
                            {"NET:", "↑ 1.2K ↓ 34K", "#00CCCC"},
                            {"jgy_", "Åq|", "#FF0000"}};
    const Cores cores = coresWith({3, 55, 97});
    for (int height = 1; height <= 100; ++height) {
        BothWays ways;
        const PanelMetrics metrics{.height = height, .font_size = panelFontSize(height)};
        ASSERT_TRUE(ways.agree(segments, cores, metrics)) << height;
    }
}

TEST(PanelImage, EqualsThePlainWayForAwkwardTexts) {
    const std::string nul("a\0b", 3);
    const std::string zalgo = "Z\u0336\u0321\u034a\u030d\u0301\u0340\u0341\u0345\u0339";
    for (const std::string& text : {std::string(),
                                    std::string(" "),
                                    std::string("   7"),
                                    std::string("\n"),
                                    std::string("a\nb\nc"),
                                    std::string("\t1"),
                                    std::string("a\rb"),
                                    std::string("<b>&amp;</b>"),
                                    std::string("\xff\xfe"),
                                    std::string("5\xe2\x86"),
                                    nul,
                                    zalgo,
                                    std::string("\u0301\u0301"),
                                    std::string("\u05e9\u05dc\u05d5\u05dd 5"),
                                    std::string("\u0645\u0631\u062d"),
                                    std::string("\u4e2d\u6587"),
                                    std::string("\U0001F525"),
                                    std::string("\u202e12%"),
                                    std::string("\u200b"),
                                    std::string("\x7f\x1b[0m"),
                                    std::string("%s%n%d"),
                                    std::string(300, 'W')}) {
        BothWays ways;
        EXPECT_TRUE(ways.agree({{text, text, "#FFFFFF"}, {text, "1", "#FF00FF"}, bars()}, Cores(2), kPanel28))
            << text;
        EXPECT_TRUE(ways.agree({{"A", text, "#FFFFFF"}, bars(), {"", text, "junk"}}, Cores(2), kPanel28))
            << text;
    }
}

TEST(PanelImage, EqualsThePlainWayWhereInkOverlaps) {
    // Combining marks without a base reach out to the left of their text.
    std::string marks;
    for (int i = 0; i < 12; ++i)
        marks += "\u20e0\u20dd";
    BothWays ways;
    for (int turn = 0; turn < 3; ++turn) {
        EXPECT_TRUE(ways.agree(
            {{"CPU:", marks, "#FFFFFF80"}, {marks, marks, "#FF0000"}, bars(), {"", marks, "#00FF00"}, bars()},
            coresWith({10.5, 90.25}), {.height = 40, .font_size = 14}));
    }
}

TEST(PanelImage, EqualsThePlainWayOverRandomSequences) {
    std::mt19937 random(20);
    const auto upTo = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n + 1)); };
    const auto number = [&] { return std::to_string(upTo(upTo(1) ? 9 : 1200)); };
    const std::vector<std::string> labels{"", "CPU:", "GPU:", "NET:", "MEM:", "SWP:"};
    const std::vector<std::string> colors{"#33CC33", "#FFA500", "#000000",  "#FFFFFF",
                                          "#FFF",    "",        "no colour"};
    for (int sequence = 0; sequence < 12; ++sequence) {
        BothWays ways;
        Segments segments;
        Cores cores(1 + random() % (sequence % 3 ? 17 : 200));
        PanelMetrics metrics = kPanel28;
        for (int frame = 0; frame < 60; ++frame) {
            if (frame == 0 || upTo(14) == 0) {
                segments.resize(1 + random() % 7);
                for (auto& segment : segments) {
                    segment = {labels[static_cast<std::size_t>(upTo(5))],
                               upTo(5) ? "?" : std::string(kBarMarker),
                               colors[static_cast<std::size_t>(upTo(6))]};
                }
            }
            if (upTo(19) == 0) metrics.height = 1 + upTo(78);
            metrics.font_size = panelFontSize(metrics.height);
            for (auto& segment : segments) {
                if (segment.value == kBarMarker) continue;
                const std::vector<std::string> values{number() + "%", number() + "°C",
                                                      "↑" + number() + "K ↓" + number() + "M",
                                                      number() + "." + number() + "G", ""};
                segment.value = values[static_cast<std::size_t>(upTo(4))];
            }
            for (auto& core : cores)
                core = {.usage = upTo(100'000) / 1000.0, .perfLevel = upTo(1)};
            ASSERT_TRUE(ways.agree(segments, cores, metrics))
                << "sequence " << sequence << ", frame " << frame;
        }
    }
}

TEST(PanelImage, TooWideImagesFailQuietlyUntilTheSegmentsChange) {
    PanelImage image;
    const Segments wide{{"", std::string(10'000, 'W'), "#FFFFFF"}};
    EXPECT_EQ(image.draw(wide, {}, kPanel28), nullptr);
    EXPECT_EQ(image.draw(Segments{{"", "1", "#FFFFFF"}}, {}, kPanel28), nullptr) << "the width is locked";
    EXPECT_NE(image.draw(Segments{{"", "1", "#FFFFFF"}, {"", "2", "#FFFFFF"}}, {}, kPanel28), nullptr);
    for (const auto& text : {std::string(1'000'000, 'x'), std::string(1'000'000, '\xff')}) {
        EXPECT_EQ(image.draw(Segments{{"", text, ""}}, {}, kPanel28), nullptr);
        EXPECT_EQ(image.draw(Segments{{text, "1", ""}, {"", "2", ""}, bars()}, {}, kPanel28), nullptr);
    }
    EXPECT_EQ(image.draw(Segments{bars()}, Cores(32'767), kPanel28), nullptr);
    EXPECT_EQ(image.draw(Segments(40'000), {}, kPanel28), nullptr);
}

TEST(PanelImage, TheWidestImageIsDrawn) {
    BothWays ways;
    EXPECT_TRUE(ways.agree({bars()}, Cores(16'381), kPanel28));
    EXPECT_EQ(ways.width(), 32'766);
}

TEST(PanelImage, WithoutHeightThereIsNone) {
    PanelImage image;
    for (const int height : {0, -1, INT_MIN, 32'768, INT_MAX}) {
        EXPECT_EQ(image.draw(Segments{bars()}, Cores(2), {.height = height, .font_size = 10}), nullptr)
            << height;
    }
}

TEST(PanelImage, KeepsItsSurfaceWhileTheSizeStays) {
    PanelImage image;
    cairo_surface_t* first = image.draw(Segments{{"", "100%", "#FFFFFF"}}, {}, kPanel28);
    EXPECT_EQ(image.draw(Segments{{"", "7%", "#FFFFFF"}}, {}, kPanel28), first);
}

TEST(PanelImage, MakesAFileAsSmallAsTheToolkits) {
    PanelImage image;
    cairo_surface_t* strip = image.draw(Segments{{"CPU:", "37%", "#FF6EB4"},
                                                 bars(),
                                                 {"NET:", "↑ 1.2K ↓  34K", "#4090FF"},
                                                 {"MEM:", "5.1G/ 15G", "#40E0E0"}},
                                        coresWith({3, 50, 99, 12.5}), kPanel28);
    PngWriter writer;
    EXPECT_LE(writer.encode(strip).size(), cairoPng(strip).size() * 11 / 10);
}
