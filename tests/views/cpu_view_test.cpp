#include "cpu_view.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "fake_kernel.h"
#include "generated_machine.h"
#include "l10n.h"
#include "laid_out_page.h"
#include "steady_memory.h"
#include "text_style_of.h"

using testing::ElementsAre;

namespace {

constexpr TextColor kCyan{0, 52428, 52428};
constexpr TextColor kViolet{26214, 13107, 52428};

/// A page about a machine whose snapshot the test fills in.
class CPUViewTest : public testing::Test {
protected:
    CPUViewTest() : info(kernel.file("/proc/cpuinfo", "model name\t: Test CPU\n").root()), view(info) {}

    /// As many cores as there are levels.
    void cores(const std::vector<int>& levels) {
        info.core_usages.clear();
        for (const int level : levels)
            info.core_usages.push_back({static_cast<int>(info.core_usages.size()), 0, level});
    }

    /// The labels of the first line, then those of the second.
    GtkWidget* label(std::size_t place) { return widgetsOfType(view.container(), GTK_TYPE_LABEL).at(place); }
    GtkWidget* model() { return label(0); }
    GtkWidget* coreCount() { return label(1); }
    GtkWidget* temperature() { return label(2); }
    GtkWidget* average() { return label(3); }

    std::vector<GtkWidget*> bars() { return widgetsOfType(view.container(), GTK_TYPE_DRAWING_AREA); }
    const BarData& dataOf(std::size_t bar) { return *attached<BarData>(bars().at(bar), "bar_data"); }

    /// The texts below the two lines.
    std::vector<std::string> rowTexts() {
        std::vector<std::string> texts = labelTexts(view.container());
        return {texts.begin() + 4, texts.end()};
    }

    FakeKernel kernel;
    SystemInfo info;
    CPUView view;
};

/// The page's texts about a whole machine.
std::vector<std::string> textsOf(const std::string& root) {
    SystemInfo info(root);
    info.updateFast();
    CPUView view(info);
    view.update();
    return labelTexts(view.container());
}

}  // namespace

TEST_F(CPUViewTest, ShowsNothingBeforeItsFirstUpdate) {
    EXPECT_THAT(labelTexts(view.container()), ElementsAre("", "", "", ""));
    for (GtkWidget* widget : allWidgets(view.container()))
        EXPECT_TRUE(gtk_widget_get_visible(widget));
}

TEST_F(CPUViewTest, LooksItsPart) {
    EXPECT_EQ(textStyleOf(model()), (TextStyle{.points = 10, .weight = 500}));
    EXPECT_EQ(textStyleOf(coreCount()), (TextStyle{.points = 9, .family = FontFamily::Monospace}));
    EXPECT_EQ(textStyleOf(temperature()),
              (TextStyle{.points = 10, .weight = 500, .family = FontFamily::Monospace}));
    EXPECT_EQ(textStyleOf(average()),
              (TextStyle{.points = 10, .weight = 500, .family = FontFamily::Monospace}));
    EXPECT_EQ(gtk_label_get_xalign(GTK_LABEL(model())), 0);
    EXPECT_EQ(gtk_label_get_xalign(GTK_LABEL(temperature())), 0);
    EXPECT_EQ(gtk_label_get_xalign(GTK_LABEL(average())), 1);
    EXPECT_EQ(gtk_label_get_ellipsize(GTK_LABEL(model())), PANGO_ELLIPSIZE_END);
    EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(view.container())), 6);
    EXPECT_EQ(gtk_widget_get_margin_start(view.container()), 8);
    EXPECT_EQ(gtk_widget_get_margin_end(view.container()), 8);
    EXPECT_EQ(gtk_widget_get_margin_top(view.container()), 4);
}

TEST_F(CPUViewTest, NamesTheMachineAndItsAverage) {
    info.average_cpu = 12.34;
    view.update();
    EXPECT_THAT(labelTexts(view.container()),
                ElementsAre("Test CPU", "0 Cores", "", "CPU: 12.3%", "CPU Cores (0)"));
}

TEST_F(CPUViewTest, TheTemperatureHasItsColour) {
    const struct {
        double celsius;
        const char* markup;
    } cases[] = {
        {-3, "<span foreground=\"#4caf50\">🌡️ -3 °C</span>"},
        {49.9, "<span foreground=\"#4caf50\">🌡️ 50 °C</span>"},
        {50, "<span foreground=\"#ff9800\">🌡️ 50 °C</span>"},
        {80, "<span foreground=\"#ff9800\">🌡️ 80 °C</span>"},
        {80.1, "<span foreground=\"#f44336\">🌡️ 80 °C</span>"},
    };
    for (const auto& c : cases) {
        info.cpu_temperature = c.celsius;
        view.update();
        EXPECT_STREQ(gtk_label_get_label(GTK_LABEL(temperature())), c.markup);
        EXPECT_TRUE(gtk_widget_get_visible(temperature()));
    }
    EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(temperature())), "🌡️ 80 °C");
}

TEST_F(CPUViewTest, WithoutASensorTheTemperatureIsHidden) {
    info.cpu_temperature = 45;
    view.update();
    info.cpu_temperature.reset();
    view.update();
    EXPECT_FALSE(gtk_widget_get_visible(temperature()));
    gtk_widget_show_all(view.container());
    EXPECT_FALSE(gtk_widget_get_visible(temperature()));
}

TEST_F(CPUViewTest, CoresWithoutSiblingsAreOneGroup) {
    cores({0, 0, 0});
    view.update();
    EXPECT_THAT(rowTexts(), ElementsAre("CPU Cores (3)", "  1", "0%", "  2", "0%", "  3", "0%"));
    EXPECT_EQ(textStyleOf(labelWithText(view.container(), "CPU Cores (3)")),
              (TextStyle{.points = 9, .weight = 500, .color = kCyan}));
}

TEST_F(CPUViewTest, SiblingsAreAGroupOfTheirOwnCountedFromOne) {
    cores({0, 1, 0, 7, -1});
    for (CoreUsage& core : info.core_usages)
        core.usage = core.id * 10;
    view.update();
    EXPECT_THAT(rowTexts(), ElementsAre("Physical (2)", "  1", "0%", "  2", "20%",  //
                                        "Logical (3)", "  1", "10%", "  2", "30%", "  3", "40%"));
    EXPECT_EQ(textStyleOf(labelWithText(view.container(), "Physical (2)")).color, kCyan);
    EXPECT_EQ(textStyleOf(labelWithText(view.container(), "Logical (3)")).color, kViolet);
    EXPECT_EQ(dataOf(3).usage, 30);
    EXPECT_EQ(dataOf(3).perf_level, 7);
}

TEST_F(CPUViewTest, PercentagesAreCutAndAlwaysReadable) {
    const struct {
        double usage;
        const char* text;
    } cases[] = {{0.99, "0%"},  {99.99, "99%"},       {100, "100%"},
                 {-5, "0%"},    {std::nan(""), "0%"}, {std::numeric_limits<double>::infinity(), "999%"},
                 {-1e300, "0%"}};
    cores({0});
    const LaidOutPage page(view.container());
    for (const auto& c : cases) {
        info.core_usages[0].usage = info.average_cpu = c.usage;
        info.cpu_temperature = c.usage;
        view.update();
        EXPECT_EQ(rowTexts().back(), c.text) << c.usage;
        page.layOut();
        const CairoSurface bar = drawnBy(CPUView::drawBar, bars().at(0));
        EXPECT_EQ(cairo_surface_status(bar.get()), CAIRO_STATUS_SUCCESS);
        EXPECT_EQ(pixel(bar, 0, 5) >> 24, 0xFFU) << c.usage;
    }
}

TEST_F(CPUViewTest, MoreCoresMakeSmallerRows) {
    const struct {
        std::size_t cores;
        int row, bar, font, number, gap;
    } cases[] = {{1, 6, 3, 7, 18, 1},  {31, 6, 3, 7, 18, 1}, {32, 6, 3, 7, 18, 0}, {47, 6, 3, 7, 18, 0},
                 {48, 5, 3, 6, 20, 0}, {95, 5, 3, 6, 20, 0}, {96, 4, 2, 5, 20, 0}, {1024, 4, 2, 5, 20, 0}};
    for (const auto& c : cases) {
        cores(std::vector<int>(c.cores));
        view.update();
        ASSERT_EQ(bars().size(), c.cores);
        GtkWidget* bar = bars().back();
        GtkWidget* row = gtk_widget_get_parent(bar);
        const std::vector<GtkWidget*> labels = widgetsOfType(row, GTK_TYPE_LABEL);
        int width = 0;
        int height = 0;
        gtk_widget_get_size_request(bar, &width, &height);
        EXPECT_EQ(width, 80);
        EXPECT_EQ(height, c.bar);
        EXPECT_EQ(gtk_widget_get_margin_start(bar), 4);
        gtk_widget_get_size_request(row, nullptr, &height);
        EXPECT_EQ(height, c.row) << c.cores;
        EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(row)), c.gap) << c.cores;
        for (GtkWidget* label : labels) {
            EXPECT_EQ(textStyleOf(label), (TextStyle{.points = c.font, .family = FontFamily::Monospace}));
            EXPECT_EQ(gtk_label_get_xalign(GTK_LABEL(label)), 1);
        }
        gtk_widget_get_size_request(labels.at(0), &width, nullptr);
        EXPECT_EQ(width, c.number) << c.cores;
        gtk_widget_get_size_request(labels.at(1), &width, nullptr);
        EXPECT_EQ(width, 35);
    }
}

TEST_F(CPUViewTest, BarsHaveTheColourOfTheirUsage) {
    const struct {
        double usage;
        std::uint32_t primary, sibling;
    } cases[] = {{0, 0xFF00CCCC, 0xFF33CC33},  {49.99, 0xFF00CCCC, 0xFF33CC33},
                 {50, 0xFF3366FF, 0xFFE6CC00}, {79.99, 0xFF3366FF, 0xFFE6CC00},
                 {80, 0xFF9933CC, 0xFFFF9900}, {100, 0xFF9933CC, 0xFFFF9900}};
    cores({0, 1});
    view.update();
    const LaidOutPage page(view.container());
    for (const auto& c : cases) {
        info.core_usages[0].usage = info.core_usages[1].usage = c.usage;
        view.update();
        const int middle = gtk_widget_get_allocated_height(bars().at(0)) / 2;
        EXPECT_EQ(pixel(drawnBy(CPUView::drawBar, bars().at(0)), 0, middle), c.primary) << c.usage;
        EXPECT_EQ(pixel(drawnBy(CPUView::drawBar, bars().at(1)), 0, middle), c.sibling) << c.usage;
    }
}

TEST_F(CPUViewTest, ABarWithoutDataIsNotDrawn) {
    const OwnedWidget bar(gtk_drawing_area_new());
    EXPECT_FALSE(CPUView::drawBar(bar, nullptr, nullptr));
}

TEST_F(CPUViewTest, ARefreshReachesTheScreen) {
    cores({0, 1, 0, 1});
    view.update();
    const LaidOutPage page(view.container());
    info.core_usages[3].usage = 90;
    view.update();
    page.layOut();
    EXPECT_THAT(rowTexts(), ElementsAre("Physical (2)", "  1", "0%", "  2", "0%",  //
                                        "Logical (2)", "  1", "0%", "  2", "90%"));
    GtkWidget* bar = bars().at(3);
    int x = 0;
    int y = 0;
    gtk_widget_translate_coordinates(bar, page.window(), 0, 0, &x, &y);
    const CairoSurface picture = page.draw();
    EXPECT_EQ(pixel(picture, x + gtk_widget_get_allocated_width(bar) * 85 / 100, y + 5), 0xFFFF9900);
    EXPECT_NE(pixel(picture, x + gtk_widget_get_allocated_width(bar) * 95 / 100, y + 5), 0xFFFF9900);
}

TEST_F(CPUViewTest, CoresMayComeAndGo) {
    const LaidOutPage page(view.container());
    for (const std::vector<int>& levels : std::vector<std::vector<int>>{
             {0, 1, 0, 1}, {}, {0}, {1}, {1, 0}, {0, 1}, {0, 0}, std::vector<int>(200, 1), {0, 0}}) {
        cores(levels);
        view.update();
        page.layOut();
        ASSERT_EQ(bars().size(), levels.size());
        const auto siblings =
            static_cast<int>(std::ranges::count_if(levels, [](int level) { return level != 0; }));
        const int primary = static_cast<int>(levels.size()) - siblings;
        const bool grouped = siblings != 0;
        EXPECT_EQ(rowTexts().front(), L10n::tr(grouped ? "cpu.physical" : "cpu.cores", primary));
        EXPECT_EQ(labelWithText(view.container(), L10n::tr("cpu.logical", siblings)) != nullptr, grouped);
    }
}

TEST_F(CPUViewTest, HostileModelNamesDoNotWidenThePage) {
    for (const std::string& name :
         {std::string(10000, 'W'), std::string("<b>&amp;\x1b[31m"), std::string("\xff\xfe")}) {
        kernel.file("/proc/cpuinfo", "model name\t: " + name + "\n");
        SystemInfo hostile(kernel.root());
        CPUView hostile_view(hostile);
        hostile_view.update();
        EXPECT_EQ(LaidOutPage(hostile_view.container()).width(), 420);
    }
}

TEST_F(CPUViewTest, ManyRefreshesTakeNoMemory) {
    cores({0, 1, 0, 1});
    const LaidOutPage page(view.container());
    std::size_t widgets = 0;
    const auto growth = heapGrowth(page, [&](int turn) {
        // Now and then a core goes and comes back.
        if (turn % 100 == 50) info.core_usages.pop_back();
        if (turn % 100 == 51) info.core_usages.push_back({3, 0, 1});
        for (CoreUsage& core : info.core_usages)
            core.usage = (turn * 7 + core.id) % 101;
        info.cpu_temperature = turn % 100;
        info.average_cpu = turn % 100;
        view.update();
        if (widgets == 0) widgets = allWidgets(view.container()).size();
    });
    EXPECT_EQ(allWidgets(view.container()).size(), widgets);
    EXPECT_LT(growth, kHeapNoise);
}

TEST(CPUViewMachines, HaveTheirPages) {
    EXPECT_THAT(textsOf(fixtureRoot("no-sensor")),
                ElementsAre("QEMU Virtual CPU version 2.5+", "2 Cores", "", "CPU: 0.0%",  //
                            "CPU Cores (2)", "  1", "0%", "  2", "0%"));
    const auto laptop = textsOf(fixtureRoot("laptop-8threads-range"));
    EXPECT_EQ(laptop.at(0), "AMD Ryzen 5 5500U with Radeon Graphics");
    EXPECT_EQ(laptop.at(1), "8 Cores");
    EXPECT_EQ(laptop.at(2), "🌡️ 52 °C");
    EXPECT_EQ(laptop.at(4), "Physical (4)");
    EXPECT_EQ(laptop.at(13), "Logical (4)");
    const auto server = textsOf(fixtureRoot("server-128core"));
    EXPECT_EQ(server.at(4), "Physical (64)");
    EXPECT_EQ(server.at(133), "Logical (64)");
    EXPECT_EQ(server.size(), 4 + 2 + 128 * 2U);
}

TEST(CPUViewMachines, APageOf256Cores) {
    const GeneratedMachine machine("--cores 256 --threads 2");
    SystemInfo info(machine.root());
    machine.run("--cores 256 --tick 2");
    info.updateFast();
    CPUView view(info);
    view.update();
    const LaidOutPage page(view.container());
    const auto texts = labelTexts(view.container());
    EXPECT_EQ(texts.at(1), "256 Cores");
    EXPECT_EQ(texts.at(4), "Physical (128)");
    EXPECT_EQ(texts.at(5 + 256), "Logical (128)");
    EXPECT_EQ(texts.at(6 + 2 * 1), "35%");  // 37 % busy, smoothed from nothing
    EXPECT_EQ(page.width(), 420);
}
