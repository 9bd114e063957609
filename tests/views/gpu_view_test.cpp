#include "gpu_view.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>

#include "fake_kernel.h"
#include "fake_programs.h"
#include "generated_machine.h"
#include "laid_out_page.h"
#include "steady_memory.h"
#include "text_style_of.h"

using testing::ElementsAre;

namespace {

constexpr TextColor kCyan{0, 0xCCCC, 0xCCCC};

GPUUsage gpu(const std::string& name, int load, int memory = 0, int video = 0) {
    return {load, memory, video, name, {}};
}

/// A page about devices that the test fills in.
class GPUViewTest : public testing::Test {
protected:
    GPUViewTest() : info(kernel.root()), view(info) {}

    GtkWidget* notAvailable() {
        return GTK_WIDGET(g_object_get_data(G_OBJECT(view.container()), "na_label"));
    }
    GtkWidget* headline() { return widgetsOfType(view.container(), GTK_TYPE_LABEL).at(0); }
    std::vector<GtkWidget*> bars() { return widgetsOfType(view.container(), GTK_TYPE_DRAWING_AREA); }
    const UtilBarData& dataOf(std::size_t bar) { return *attached<UtilBarData>(bars().at(bar), "ubar"); }

    std::size_t separators() { return widgetsOfType(view.container(), GTK_TYPE_SEPARATOR).size(); }

    /// The texts of the shown page below its headline.
    std::vector<std::string> rowTexts() {
        std::vector<std::string> texts = labelTexts(view.container());
        return {texts.begin() + 1, texts.end() - 1};
    }

    FakePrograms programs;  // no nvidia-smi of this machine
    FakeKernel kernel;
    SystemInfo info;
    GPUView view;
};

}  // namespace

TEST_F(GPUViewTest, BeforeTheFirstSampleItSaysThatThereIsNothing) {
    view.update();
    EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(notAvailable())), "GPU data not available");
    EXPECT_EQ(textStyleOf(notAvailable()), (TextStyle{.points = 10}));
    EXPECT_TRUE(gtk_widget_get_visible(notAvailable()));
    EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(headline())), "");
    EXPECT_THAT(bars(), ElementsAre());
}

TEST_F(GPUViewTest, LooksItsPart) {
    EXPECT_EQ(textStyleOf(headline()), (TextStyle{.points = 10, .weight = 500}));
    EXPECT_EQ(gtk_label_get_ellipsize(GTK_LABEL(headline())), PANGO_ELLIPSIZE_END);
    EXPECT_EQ(gtk_label_get_xalign(GTK_LABEL(headline())), 0);
    EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(view.container())), 6);
    EXPECT_EQ(gtk_widget_get_margin_start(view.container()), 8);
    EXPECT_EQ(gtk_widget_get_margin_end(view.container()), 8);
    EXPECT_EQ(gtk_widget_get_margin_top(view.container()), 4);
}

TEST_F(GPUViewTest, OneDeviceIsNamedByTheHeadlineAlone) {
    info.gpu_usages = {gpu("Card", 42)};
    view.update();
    EXPECT_THAT(labelTexts(view.container()), ElementsAre("Card", "GPU", "42%", "GPU data not available"));
    EXPECT_FALSE(gtk_widget_get_visible(notAvailable()));
    gtk_widget_show_all(view.container());
    EXPECT_FALSE(gtk_widget_get_visible(notAvailable()));
    EXPECT_EQ(separators(), 1U);
    EXPECT_EQ(bars().size(), 1U);
}

TEST_F(GPUViewTest, EachDeviceHasAHeadingWhenThereAreSeveral) {
    info.gpu_usages = {gpu("One", 1), gpu("Two", 2), gpu("Three", 3)};
    view.update();
    EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(headline())), "One | Two | Three");
    EXPECT_THAT(rowTexts(), ElementsAre("One", "GPU", "1%", "Two", "GPU", "2%", "Three", "GPU", "3%"));
    EXPECT_EQ(separators(), 1U + 2U);
    GtkWidget* heading = labelWithText(view.container(), "Two");
    EXPECT_EQ(textStyleOf(heading), (TextStyle{.points = 9, .weight = 600, .color = kCyan}));
    EXPECT_EQ(gtk_label_get_ellipsize(GTK_LABEL(heading)), PANGO_ELLIPSIZE_END);
}

TEST_F(GPUViewTest, MemoryAndVideoHaveBarsWhileTheyAreBusy) {
    info.gpu_usages = {gpu("Card", 0, 21, 3)};
    view.update();
    EXPECT_THAT(rowTexts(), ElementsAre("GPU", "0%", "Memory", "21%", "Video", "3%"));
    const double colours[3][3] = {{0.0, 0.8, 0.8}, {0.2, 0.4, 1.0}, {0.6, 0.2, 0.8}};
    const int values[3] = {0, 21, 3};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(dataOf(i).value, values[i]);
        EXPECT_EQ(dataOf(i).r, colours[i][0]);
        EXPECT_EQ(dataOf(i).g, colours[i][1]);
        EXPECT_EQ(dataOf(i).b, colours[i][2]);
    }
    info.gpu_usages = {gpu("Card", 0, -1, -1)};
    view.update();
    EXPECT_THAT(rowTexts(), ElementsAre("GPU", "0%"));
}

TEST_F(GPUViewTest, TheFirstFiveProcessesAreListed) {
    info.gpu_usages = {gpu("Card", 5)};
    for (int pid = 1; pid <= 7; ++pid) {
        info.gpu_usages[0].processes.push_back(
            {pid, "p" + std::to_string(pid), 1000U / static_cast<unsigned>(pid)});
    }
    view.update();
    EXPECT_THAT(rowTexts(), ElementsAre("GPU", "5%", "GPU Processes", "p1", "1000M", "p2", "500M", "p3",
                                        "333M", "p4", "250M", "p5", "200M"));
    EXPECT_EQ(textStyleOf(labelWithText(view.container(), "GPU Processes")),
              (TextStyle{.points = 9, .weight = 500}));
    GtkWidget* name = labelWithText(view.container(), "p3");
    EXPECT_EQ(textStyleOf(name), (TextStyle{.points = 8, .family = FontFamily::Monospace}));
    EXPECT_EQ(textStyleOf(labelWithText(view.container(), "333M")), textStyleOf(name));
    EXPECT_EQ(gtk_label_get_ellipsize(GTK_LABEL(name)), PANGO_ELLIPSIZE_END);
    GtkWidget* row = gtk_widget_get_parent(name);
    EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(row)), 4);
    int height = 0;
    gtk_widget_get_size_request(row, nullptr, &height);
    EXPECT_EQ(height, 14);
    EXPECT_EQ(separators(), 2U);
}

TEST_F(GPUViewTest, AUtilizationRowIsNameBarAndPercentage) {
    const OwnedWidget row(createUtilRow("Name", 42, 1, 0, 0));
    const auto labels = widgetsOfType(row, GTK_TYPE_LABEL);
    ASSERT_EQ(labels.size(), 2U);
    EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(labels[0])), "Name");
    EXPECT_STREQ(gtk_label_get_text(GTK_LABEL(labels[1])), "42%");
    EXPECT_EQ(gtk_label_get_xalign(GTK_LABEL(labels[0])), 0);
    EXPECT_EQ(gtk_label_get_xalign(GTK_LABEL(labels[1])), 1);
    for (GtkWidget* label : labels)
        EXPECT_EQ(textStyleOf(label), (TextStyle{.points = 9, .family = FontFamily::Monospace}));
    const auto requested = [](GtkWidget* widget) {
        int width = 0;
        int height = 0;
        gtk_widget_get_size_request(widget, &width, &height);
        return std::pair(width, height);
    };
    EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(static_cast<GtkWidget*>(row))), 6);
    EXPECT_EQ(requested(row), std::pair(-1, 18));
    EXPECT_EQ(requested(labels[0]), std::pair(70, -1));
    EXPECT_EQ(requested(labels[1]), std::pair(35, -1));
    EXPECT_EQ(requested(widgetsOfType(row, GTK_TYPE_DRAWING_AREA).at(0)), std::pair(-1, 14));
}

TEST_F(GPUViewTest, BarsFillTheirShare) {
    const LaidOutPage page(view.container());
    const struct {
        int value;
        double filled;  // part of the width
    } cases[] = {{0, 0}, {1, 0.01}, {50, 0.5}, {100, 1}, {250, 1}, {-5, 0}, {INT_MAX, 1}, {INT_MIN, 0}};
    for (const auto& c : cases) {
        info.gpu_usages = {gpu("Card", c.value)};
        view.update();
        page.layOut();
        EXPECT_EQ(rowTexts().back(), std::to_string(c.value) + "%");
        const CairoSurface bar = drawnBy(GPUView::drawUtilBar, bars().at(0));
        const int width = gtk_widget_get_allocated_width(bars().at(0));
        const int middle = gtk_widget_get_allocated_height(bars().at(0)) / 2;
        EXPECT_EQ(pixel(bar, 0, middle), 0xFF00CCCC) << c.value;
        for (int x = 1; x < width; ++x) {
            if (std::abs(x - c.filled * width) <= 1) continue;  // half a pixel
            ASSERT_EQ(pixel(bar, x, middle) == 0xFF00CCCC, x < c.filled * width) << c.value << " at " << x;
        }
    }
}

TEST_F(GPUViewTest, ABarWithoutDataIsNotDrawn) {
    const OwnedWidget bar(gtk_drawing_area_new());
    EXPECT_FALSE(GPUView::drawUtilBar(bar, nullptr, nullptr));
}

TEST_F(GPUViewTest, DevicesMayComeAndGo) {
    const LaidOutPage page(view.container());
    for (const std::size_t count : {3U, 1U, 0U, 2U, 30U, 0U, 1U}) {
        info.gpu_usages.assign(count, gpu("Card", 50, 10));
        view.update();
        page.layOut();
        EXPECT_EQ(gtk_widget_get_mapped(notAvailable()), count == 0);
        std::size_t mapped = 0;
        for (GtkWidget* bar : bars())
            mapped += gtk_widget_get_mapped(bar);
        EXPECT_EQ(mapped, 2 * count);
    }
}

TEST_F(GPUViewTest, HostileNamesAreShownWithoutHarm) {
    const LaidOutPage page(view.container());
    for (const std::string& name :
         {std::string(10000, 'W'), std::string("<b>&"), std::string("two\nlines"), std::string("\xff\xc3")}) {
        info.gpu_usages.assign(2, gpu(name, 5));
        info.gpu_usages[0].processes = {{1, name, UINT64_MAX}};
        view.update();
        page.layOut();
        EXPECT_EQ(page.width(), 420);
        EXPECT_LT(page.height(), 300);
        EXPECT_EQ(labelWithText(view.container(), "two\nlines"), nullptr);
    }
    EXPECT_NE(labelWithText(view.container(), "\uFFFD\uFFFD"), nullptr);
    EXPECT_NE(labelWithText(view.container(), "18446744073709551615M"), nullptr);
}

TEST_F(GPUViewTest, ManyRefreshesTakeNoMemory) {
    const LaidOutPage page(view.container());
    std::size_t widgets = 0;
    const auto growth = heapGrowth(page, [&](int turn) {
        info.gpu_usages.assign(turn % 100 == 50 ? 3 : 1, gpu("Card", turn % 101));
        info.gpu_usages[0].processes = {{1, "game", static_cast<std::uint64_t>(turn)}};
        view.update();
        if (widgets == 0) widgets = allWidgets(view.container()).size();
    });
    EXPECT_EQ(allWidgets(view.container()).size(), widgets);
    EXPECT_LT(growth, kHeapNoise);
}

TEST(GPUViewMachines, ThreeDevicesAndSevenProcesses) {
    const GeneratedMachine machine("--gpus 3 --gpu-processes 7");
    const FakePrograms programs;
    SystemInfo info(machine.root());
    info.loadGPUProcesses();
    GPUView view(info);
    view.update();
    const auto texts = labelTexts(view.container());
    EXPECT_EQ(std::ranges::count(texts, "GPU"), 3);
    EXPECT_EQ(std::ranges::count(texts, "AMD GPU"), 2);
    EXPECT_EQ(std::ranges::count(texts, "Intel GPU"), 1);
    // Each AMD device lists them all, most memory first.
    EXPECT_EQ(std::ranges::count(texts, "renderer-6"), 2);
    EXPECT_EQ(std::ranges::count(texts, "renderer-2"), 2);
    EXPECT_EQ(std::ranges::count(texts, "renderer-1"), 0);
    EXPECT_EQ(std::ranges::count(texts, "32M"), 2);
}

TEST(GPUViewMachines, AMachineWithoutAGpuSaysSo) {
    const FakePrograms programs;
    SystemInfo info(fixtureRoot("gpu-none"));
    info.updateFast();
    GPUView view(info);
    view.update();
    EXPECT_EQ(labelTexts(view.container()).at(0), "No GPU detected");
}
