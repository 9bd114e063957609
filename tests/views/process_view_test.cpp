// The table of the process pages: its header, its rows and their order.
#include "process_view.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "fake_kernel.h"
#include "process_page.h"
#include "steady_memory.h"

using testing::ElementsAre;
using testing::Not;
using testing::SizeIs;
using Column = ProcessView::SortColumn;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

int widthRequest(GtkWidget* widget) {
    int width = 0;
    gtk_widget_get_size_request(widget, &width, nullptr);
    return width;
}

int heightRequest(GtkWidget* widget) {
    int height = 0;
    gtk_widget_get_size_request(widget, nullptr, &height);
    return height;
}

float xAlign(GtkWidget* label) {
    return gtk_label_get_xalign(GTK_LABEL(label));
}

PangoEllipsizeMode ellipsizing(GtkWidget* label) {
    return gtk_label_get_ellipsize(GTK_LABEL(label));
}

int minimumWidth(GtkWidget* widget) {
    int minimum = 0;
    gtk_widget_get_preferred_width(widget, &minimum, nullptr);
    return minimum;
}

/// A widget's horizontal extent within the page.
struct Extent {
    int begin = 0, end = 0;

    bool operator==(const Extent&) const = default;
};

Extent extentIn(GtkWidget* page, GtkWidget* widget) {
    Extent extent;
    gtk_widget_translate_coordinates(widget, page, 0, 0, &extent.begin, nullptr);
    extent.end = extent.begin + gtk_widget_get_allocated_width(widget);
    return extent;
}

}  // namespace

// --- The page and its header ---

TEST_F(ProcessViewTest, ThePageIsHeaderListAndBar) {
    open();
    GtkWidget* page = view_->container();
    EXPECT_EQ(gtk_orientable_get_orientation(GTK_ORIENTABLE(page)), GTK_ORIENTATION_VERTICAL);
    EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(page)), 4);
    EXPECT_EQ(gtk_widget_get_margin_start(page), 4);
    EXPECT_EQ(gtk_widget_get_margin_end(page), 4);
    EXPECT_EQ(gtk_widget_get_margin_top(page), 4);
    EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(part(0))), 4);
    EXPECT_TRUE(GTK_IS_SEPARATOR(part(1)));
    EXPECT_EQ(part(2), scrolled());
    EXPECT_TRUE(GTK_IS_SEPARATOR(part(3)));
    EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(bar())), 4);

    GtkPolicyType across{};
    GtkPolicyType down{};
    gtk_scrolled_window_get_policy(GTK_SCROLLED_WINDOW(scrolled()), &across, &down);
    EXPECT_EQ(across, GTK_POLICY_NEVER);
    EXPECT_EQ(down, GTK_POLICY_AUTOMATIC);
    EXPECT_TRUE(gtk_widget_get_vexpand(scrolled()));
    EXPECT_EQ(heightRequest(scrolled()), 450);
    EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(gtk_widget_get_parent(labelWithText(page, "Collecting data...")))),
              1);
}

TEST_F(ProcessViewTest, TheHeaderHasAButtonForEveryColumn) {
    open();
    struct Title {
        int width;
        float x_align;
    };
    const std::vector<Title> expected{{190, 0}, {70, 0}, {55, 1}, {55, 1}};
    EXPECT_THAT(labelTexts(part(0)), ElementsAre("#", "Process", "User", "Mem", "CPU% ▼"));
    GtkWidget* number = labelWithText(part(0), "#");
    EXPECT_EQ(widthRequest(number), 20);
    EXPECT_EQ(styleOf(number), "8pt 500 monospace");
    ASSERT_THAT(titles(), SizeIs(4));
    for (std::size_t i = 0; i < 4; ++i) {
        GtkWidget* title = titles()[i];
        GtkWidget* label = gtk_bin_get_child(GTK_BIN(title));
        EXPECT_EQ(GPOINTER_TO_INT(g_object_get_data(G_OBJECT(title), "col")), static_cast<int>(i));
        EXPECT_EQ(widthRequest(title), expected[i].width);
        EXPECT_EQ(heightRequest(title), -1);
        EXPECT_EQ(gtk_button_get_relief(GTK_BUTTON(title)), GTK_RELIEF_NONE);
        EXPECT_EQ(xAlign(label), expected[i].x_align);
        EXPECT_EQ(styleOf(label), "8pt 500 monospace");
        EXPECT_TRUE(gtk_widget_get_can_focus(title));
    }
}

TEST_F(ProcessViewTest, AClickOnATitleSortsDescendingAndTheNextOneTurnsThatRound) {
    openWith({process(1, "Xorg", 30, 20), process(2, "zsh", 10, 300), process(3, "make", 20, 1)});
    EXPECT_THAT(names(), ElementsAre("Xorg", "make", "zsh"));

    clickTitle(Column::Mem);
    EXPECT_THAT(names(), ElementsAre("zsh", "Xorg", "make"));
    EXPECT_THAT(titleTexts(), ElementsAre("Process", "User", "Mem ▼", "CPU%"));
    clickTitle(Column::Mem);
    EXPECT_THAT(names(), ElementsAre("make", "Xorg", "zsh"));
    EXPECT_THAT(titleTexts(), ElementsAre("Process", "User", "Mem ▲", "CPU%"));
    clickTitle(Column::Mem);
    EXPECT_THAT(titleTexts(), ElementsAre("Process", "User", "Mem ▼", "CPU%"));

    clickTitle(Column::Mem);
    clickTitle(Column::Name);
    EXPECT_THAT(names(), ElementsAre("zsh", "make", "Xorg"));
    EXPECT_THAT(titleTexts(), ElementsAre("Process ▼", "User", "Mem", "CPU%"));
    EXPECT_STREQ(gtk_button_get_label(GTK_BUTTON(titles()[0])), "Process ▼");
    for (GtkWidget* title : titles())
        EXPECT_EQ(styleOf(gtk_bin_get_child(GTK_BIN(title))), "8pt 500 monospace");
    EXPECT_EQ(xAlign(gtk_bin_get_child(GTK_BIN(titles()[2]))), 1);
}

TEST_F(ProcessViewTest, TheOrderStaysWhenFreshDataCome) {
    openWith({process(1, "a", 9), process(2, "b", 1)});
    clickTitle(Column::Cpu);
    info_.top_processes = {process(1, "a", 9), process(2, "b", 100), process(3, "c", 5)};
    view_->update();
    EXPECT_THAT(names(), ElementsAre("c", "a", "b"));
    EXPECT_THAT(titleTexts(), ElementsAre("Process", "User", "Mem", "CPU% ▲"));
}

// --- Rows ---

TEST_F(ProcessViewTest, UntilTheFirstSampleThePageSaysSo) {
    open();
    EXPECT_THAT(labelTexts(scrolled()), ElementsAre("Collecting data..."));
    GtkWidget* label = labelWithText(scrolled(), "Collecting data...");
    EXPECT_EQ(styleOf(label), "9pt 400");
    EXPECT_TRUE(gtk_widget_get_mapped(label));
    guint padding = 0;
    gtk_box_query_child_packing(GTK_BOX(gtk_widget_get_parent(label)), label, nullptr, nullptr, &padding,
                                nullptr);
    EXPECT_EQ(padding, 4U);

    info_.top_processes = {process(1, "a")};
    view_->update();
    EXPECT_THAT(names(), ElementsAre("a"));
    EXPECT_EQ(labelWithText(scrolled(), "Collecting data..."), nullptr);
}

TEST_F(ProcessViewTest, EachPageHasItsOwnList) {
    info_.top_processes = {process(1, "everybody's")};
    info_.user_processes = {process(2, "mine")};
    open(true);
    EXPECT_THAT(names(), ElementsAre("mine"));
    const ProcessView all(info_, false);
    EXPECT_EQ(labelWithText(all.container(), "everybody's"), nullptr) << "shown before the first update()";
}

TEST_F(ProcessViewTest, ARowIsRankNameUserMemoryAndUsage) {
    openWith({process(4711, "zsh", 12.34, 512), process(4712, "make", 5, 7)});
    ASSERT_THAT(rows(), SizeIs(2));
    GtkWidget* row = rows()[0];
    EXPECT_THAT(labelTexts(row), ElementsAre("1", "zsh", "root", "512M", "12.3"));
    EXPECT_THAT(labelTexts(rows()[1]), ElementsAre("2", "make", "root", "7M", "5.0"));
    EXPECT_EQ(GPOINTER_TO_INT(g_object_get_data(G_OBJECT(row), "pid")), 4711);
    EXPECT_STREQ(static_cast<const char*>(g_object_get_data(G_OBJECT(row), "pname")), "zsh");
    EXPECT_EQ(heightRequest(row), 18);
    EXPECT_EQ(gtk_box_get_spacing(GTK_BOX(gtk_bin_get_child(GTK_BIN(row)))), 4);
    EXPECT_TRUE(gtk_widget_get_mapped(cells(row)[4]));

    const std::vector<int> widths{20, -1, 70, 55, 55};
    const std::vector<float> aligns{1, 0, 0, 1, 1};
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(widthRequest(cells(row)[i]), widths[i]) << i;
        EXPECT_EQ(xAlign(cells(row)[i]), aligns[i]) << i;
    }
    EXPECT_EQ(ellipsizing(cells(row)[1]), PANGO_ELLIPSIZE_END);
    EXPECT_EQ(ellipsizing(cells(row)[2]), PANGO_ELLIPSIZE_END);
    EXPECT_EQ(gtk_label_get_width_chars(GTK_LABEL(cells(row)[1])), 24);
    EXPECT_EQ(gtk_label_get_max_width_chars(GTK_LABEL(cells(row)[1])), 24);
}

TEST_F(ProcessViewTest, RankAndUserAreGreyAsTheLookHasIt) {
    openWith({process(1, "a")});
    const auto style = [this](std::size_t cell) { return styleOf(cells(rows().at(0)).at(cell)); };
    EXPECT_EQ(style(0), "8pt 400 monospace 8080 8080 8080");
    EXPECT_EQ(style(1), "8pt 400 monospace");
    EXPECT_EQ(style(2), "8pt 400 monospace 8080 8080 8080");
    EXPECT_EQ(style(3), "8pt 400 monospace 0 cccc cccc");
    set_active_dark(true);
    view_->update();
    EXPECT_EQ(style(0), "8pt 400 monospace aaaa aaaa aaaa");
    EXPECT_EQ(style(2), "8pt 400 monospace aaaa aaaa aaaa");
}

TEST_F(ProcessViewTest, UsageIsGreenYellowOrRed) {
    const std::string green = "8pt 400 monospace 3333 cccc 3333";
    const std::string yellow = "8pt 400 monospace e666 cccc 0";
    const std::string red = "8pt 400 monospace ffff 3333 3333";
    struct Case {
        double usage;
        std::string text, style;
    };
    const std::vector<Case> cases{{400, "400.0", red},  {100.04, "100.0", red},
                                  {100, "100.0", red},  {99.96, "100.0", yellow},
                                  {50, "50.0", yellow}, {49.99, "50.0", green},
                                  {0, "0.0", green},    {-1, "-1.0", green},
                                  {kNaN, "nan", red},   {1e300, "1000000000000000052504760255204", red}};
    for (const auto& [usage, text, style] : cases) {
        info_.top_processes = {process(1, "a", usage)};
        if (!view_) open();
        view_->update();
        GtkWidget* cell = cells(rows().at(0)).at(4);
        EXPECT_EQ(styleOf(cell), style) << usage;
        EXPECT_EQ(gtk_label_get_text(GTK_LABEL(cell)), text);
    }
}

TEST_F(ProcessViewTest, MemoryIsInMebibytesOrGibibytes) {
    const std::vector<std::pair<double, std::string>> cases{
        {0, "0M"},      {0.4, "0M"},    {0.6, "1M"},          {1023.4, "1023M"},   {1023.6, "1024M"},
        {1024, "1.0G"}, {1536, "1.5G"}, {123456.7, "120.6G"}, {1048576, "1024.0G"}};
    for (const auto& [mib, text] : cases) {
        info_.top_processes = {process(1, "a", 0, mib)};
        if (!view_) open();
        view_->update();
        EXPECT_EQ(labelTexts(rows().at(0)).at(3), text);
    }
}

TEST_F(ProcessViewTest, NamesAndUsersAreHarmlessText) {
    const std::string name =
        "<b>x</b>&\t\n\xff"
        "\xe2\x80\xae"
        "end";
    ProcessUsage hostile = process(1, name);
    hostile.user = "a\xfe\nb";
    openWith({hostile});
    const auto texts = labelTexts(rows().at(0));
    EXPECT_EQ(texts[1], "<b>x</b>&����end");
    EXPECT_EQ(texts[2], "a��b");
    EXPECT_EQ(static_cast<const char*>(g_object_get_data(G_OBJECT(rows()[0]), "pname")), name);
}

// --- Widths ---

TEST_F(ProcessViewTest, ColumnsStandBelowTheirTitlesInAnyFont) {
    ProcessUsage wordy = process(1, std::string(64, 'w'), 12345.6, 99999999);
    wordy.user = "a-user-with-a-very-long-name";
    info_.top_processes = {wordy, process(2, "b")};
    GtkSettings* settings = gtk_settings_get_default();
    for (const char* font : {"Sans 10", "Sans 6", "Sans 16"}) {
        g_object_set(settings, "gtk-font-name", font, nullptr);
        if (!view_) open();
        view_->update();
        const auto aligned = [this] {
            for (std::size_t column = 0; column < 4; ++column) {
                const Extent title = extentIn(view_->container(), titles()[column]);
                for (GtkWidget* row : rows()) {
                    if (extentIn(view_->container(), cells(row)[column + 1]) != title) return false;
                }
            }
            return true;
        };
        EXPECT_TRUE(comesTrue(aligned)) << font;
    }
    gtk_settings_reset_property(settings, "gtk-font-name");
}

TEST_F(ProcessViewTest, NoTextWidensThePage) {
    openWith({process(kNobody, "a")});
    view_->onProcessSelected(kNobody, "a");
    const int before = minimumWidth(view_->container());
    EXPECT_LE(before, 508);
    ProcessUsage wordy = process(kNobody + 1, std::string(5000, 'w'));
    wordy.user = std::string(5000, 'u');
    info_.top_processes = {wordy};
    view_->onProcessSelected(wordy.pid, wordy.name);
    view_->update();
    EXPECT_EQ(minimumWidth(view_->container()), before);
}

// --- Refreshing ---

TEST_F(ProcessViewTest, ARefreshLeavesTheListWhereItIsScrolledTo) {
    for (int i = 0; i < 80; ++i)
        info_.top_processes.push_back(process(i, std::to_string(i)));
    open();
    GtkAdjustment* down = gtk_scrolled_window_get_vadjustment(GTK_SCROLLED_WINDOW(scrolled()));
    ASSERT_TRUE(comesTrue([&] { return gtk_adjustment_get_upper(down) > 1400; }));
    const double end = gtk_adjustment_get_upper(down) - gtk_adjustment_get_page_size(down);
    for (const double position : {123.0, end, 0.0}) {
        gtk_adjustment_set_value(down, position);
        settle();
        for (int i = 0; i < 5; ++i) {
            view_->update();
            ASSERT_TRUE(comesTrue([this] { return gtk_widget_get_allocated_width(rows().back()) > 100; }));
            EXPECT_DOUBLE_EQ(gtk_adjustment_get_value(down), position);
        }
    }
}

TEST(ProcessViewMemory, ManyRefreshesTakeNone) {
    SystemInfo info(fixtureRoot("desktop-4core"));
    ProcessView view(info, false);
    const LaidOutPage page(view.container(), 520);
    const std::ptrdiff_t growth = heapGrowth(page, [&](int turn) {
        info.top_processes.clear();
        for (int i = 1; i <= 20; ++i) {
            info.top_processes.push_back({.pid = i,
                                          .name = "process",
                                          .user = "root",
                                          .cpu_usage = static_cast<double>(turn * i % 101),
                                          .memory_mb = static_cast<double>(i),
                                          .uid = 0});
        }
        view.rebuildList();
    });
    EXPECT_LT(growth, kHeapNoise);
}
