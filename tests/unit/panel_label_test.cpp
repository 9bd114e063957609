#include "panel_label.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "fake_kernel.h"
#include "l10n.h"
#include "user_home.h"

using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;

namespace {

GPUUsage gpu(const char* name, int utilization) {
    GPUUsage usage;
    usage.model_name = name;
    usage.utilization = utilization;
    return usage;
}

/// Default settings and a snapshot of a machine that can feed every item.
class PanelLabelTest : public testing::Test {
protected:
    PanelLabelTest() {
        L10n::setLanguage("en");
        settings = std::make_unique<Settings>();
        info = std::make_unique<SystemInfo>(kernel_.root());
        info->core_usages = {{0, 10, 0}, {1, 20, 0}};
        info->average_cpu = 37.9;
        info->cpu_temperature = 52.9;
        info->gpu_usages = {gpu("Radeon", 12)};
        info->network_speed.bytes_up_per_sec = 1228.8;
        info->network_speed.bytes_down_per_sec = 34.0 * 1024;
        info->memory_info.total_bytes = std::uint64_t{16} << 30;
        info->memory_info.free_bytes = std::uint64_t{12} << 30;
        info->memory_info.swap_used_bytes = std::uint64_t{300} << 20;
    }

    void enableOnly(MenuBarItemType type) {
        for (auto& item : settings->items_)
            item.enabled = item.type == type;
    }

    std::vector<LabelSegment> segments() const { return buildLabelSegments(*settings, *info); }

    std::string title() const { return panelTitle(segments(), info->average_cpu); }

    LabelSegment only(MenuBarItemType type) {
        enableOnly(type);
        const auto found = segments();
        return found.size() == 1 ? found[0] : LabelSegment{"none", "none", "none"};
    }

    UserHome home_;
    FakeKernel kernel_;
    std::unique_ptr<Settings> settings;
    std::unique_ptr<SystemInfo> info;
};

auto isSegment(const char* label, const std::string& value, const char* color) {
    return testing::AllOf(Field("label", &LabelSegment::label, label),
                          Field("value", &LabelSegment::value, value),
                          Field("color_hex", &LabelSegment::color_hex, color));
}

}  // namespace

TEST_F(PanelLabelTest, EveryItemHasItsPrefixValueAndColour) {
    EXPECT_THAT(segments(), ElementsAre(isSegment("CPU:", "37%", "#FF6EB4"),                //
                                        isSegment("", std::string(kBarMarker), "#FFFFFF"),  //
                                        isSegment("", "52°C", "#D08020"),                   //
                                        isSegment("GPU:", "12%", "#FF6EB4"),                //
                                        isSegment("NET:", "↑ 1.2K ↓  34K", "#4090FF"),      //
                                        isSegment("MEM:", "4.0G/ 16G", "#40E0E0"),          //
                                        isSegment("SWP:", "300M", "#FF6070")));
}

TEST_F(PanelLabelTest, FollowsTheUsersOrderAndColours) {
    settings->items_ = {{MenuBarItemType::SwapUsed, true},
                        {MenuBarItemType::CpuPercent, false},
                        {MenuBarItemType::CpuPercent, true},
                        {MenuBarItemType::CpuPercent, true}};
    settings->custom_colors_["swapUsed"] = "#123456";
    EXPECT_THAT(segments(),
                ElementsAre(isSegment("SWP:", "300M", "#123456"), isSegment("CPU:", "37%", "#FF6EB4"),
                            isSegment("CPU:", "37%", "#FF6EB4")));
}

TEST_F(PanelLabelTest, NothingEnabledYieldsNothing) {
    for (auto& item : settings->items_)
        item.enabled = false;
    EXPECT_THAT(segments(), IsEmpty());
}

TEST_F(PanelLabelTest, ItemsRepeatedWithoutEndAreCutOff) {
    settings->items_.assign(1'000'000, {MenuBarItemType::CpuPercent, true});
    EXPECT_EQ(segments().size(), 256U);
}

TEST_F(PanelLabelTest, AnEndlessColourIsNotCopiedIntoEveryItem) {
    settings->custom_colors_["cpuPercent"] = "#123456" + std::string(1'000'000, ' ');
    settings->items_.assign(256, {MenuBarItemType::CpuPercent, true});
    std::size_t bytes = 0;
    for (const LabelSegment& segment : segments()) {
        EXPECT_THAT(segment.color_hex, testing::StartsWith("#123456 "));
        bytes += segment.color_hex.size();
    }
    EXPECT_LE(bytes, 256U * 1024);
}

TEST_F(PanelLabelTest, AnUnknownItemIsSkipped) {
    settings->items_ = {{static_cast<MenuBarItemType>(7), true}};
    EXPECT_THAT(segments(), IsEmpty());
}

TEST_F(PanelLabelTest, ItemsWithoutADataSourceVanish) {
    info->core_usages.clear();
    info->cpu_temperature.reset();
    info->gpu_usages.clear();
    enableOnly(MenuBarItemType::CpuBars);
    EXPECT_THAT(segments(), IsEmpty());
    enableOnly(MenuBarItemType::Temperature);
    EXPECT_THAT(segments(), IsEmpty());
    enableOnly(MenuBarItemType::GpuPercent);
    EXPECT_THAT(segments(), IsEmpty());
}

TEST_F(PanelLabelTest, IconModeKeepsThePrefixes) {
    settings->use_icons_ = true;
    EXPECT_EQ(only(MenuBarItemType::CpuPercent).label, "CPU:");
}

TEST_F(PanelLabelTest, FiguresAreCutTowardsZero) {
    info->average_cpu = 99.99;
    EXPECT_EQ(only(MenuBarItemType::CpuPercent).value, "99%");
    info->cpu_temperature = -0.9;
    EXPECT_EQ(only(MenuBarItemType::Temperature).value, "0°C");
}

TEST_F(PanelLabelTest, TheTitleSaysAllFiguresInTheStripsOrderWithoutItsPadding) {
    EXPECT_EQ(title(), "CPU 37% · 52°C · GPU 12% · NET ↑1.2K ↓34K · MEM 4.0G/16G · SWP 300M");
    settings->items_ = {{MenuBarItemType::SwapUsed, true},
                        {MenuBarItemType::GpuPercent, false},
                        {MenuBarItemType::Temperature, true},
                        {MenuBarItemType::CpuPercent, true}};
    EXPECT_EQ(title(), "SWP 300M · 52°C · CPU 37%");
}

TEST_F(PanelLabelTest, TheTitleLeavesOutWhatTheStripDoes) {
    info->gpu_usages.clear();
    info->cpu_temperature.reset();
    EXPECT_EQ(title(), "CPU 37% · NET ↑1.2K ↓34K · MEM 4.0G/16G · SWP 300M");
    for (auto& item : settings->items_)
        item.enabled = false;
    EXPECT_EQ(title(), "");
}

TEST_F(PanelLabelTest, BarsAreTheAverageUsageInTheTitle) {
    enableOnly(MenuBarItemType::CpuBars);
    EXPECT_EQ(title(), "CPU 37%");
    settings->items_ = {{MenuBarItemType::CpuBars, true},
                        {MenuBarItemType::MemoryFree, true},
                        {MenuBarItemType::CpuPercent, true}};
    EXPECT_EQ(title(), "CPU 37% · MEM 4.0G/16G");
}

TEST_F(PanelLabelTest, TheTitleSaysNothingTwice) {
    settings->items_.assign(1'000'000, {MenuBarItemType::CpuPercent, true});
    settings->items_.front().type = MenuBarItemType::MemoryFree;
    EXPECT_EQ(title(), "MEM 4.0G/16G · CPU 37%");
}

TEST_F(PanelLabelTest, TheTitleIsTheSameInALanguageWrittenFromTheRight) {
    const std::string english = title();
    L10n::setLanguage("ar");
    EXPECT_EQ(title(), english);
}

TEST_F(PanelLabelTest, TheTitleIsShortAndWholeWithTheGreatestFigures) {
    constexpr auto kMost = std::numeric_limits<std::uint64_t>::max();
    info->average_cpu = 100;
    info->cpu_temperature = -273.15;
    info->gpu_usages = {gpu("Radeon", std::numeric_limits<int>::max())};
    info->network_speed = {1e300, 1e300};
    info->memory_info = {0, kMost, kMost};
    EXPECT_TRUE(g_utf8_validate(title().c_str(), -1, nullptr));
    EXPECT_THAT(title(), testing::StartsWith("CPU 100% · -273°C · GPU 2147483647% · NET ↑"));
    EXPECT_LT(title().size(), 256U);
}

TEST_F(PanelLabelTest, ShowsTheGpuThatIsSelected) {
    info->gpu_usages = {gpu("A", 11), gpu("B", 22)};
    settings->selected_gpu_ = "B";
    EXPECT_EQ(only(MenuBarItemType::GpuPercent).value, "22%");
}

TEST(PanelGpu, IsStillTheOneThatWasSelectedBeforeItsNameWasKnown) {
    std::vector<GPUUsage> gpus = {gpu("A", 11), gpu("B", 22), gpu("C", 33)};
    gpus[1].general_name = gpus[2].general_name = "AMD GPU";
    EXPECT_EQ(panelGpuUtilization(gpus, "AMD GPU"), 22);
    EXPECT_EQ(panelGpuUtilization(gpus, ""), 11);
    gpus[2].model_name = "AMD GPU";  // its name is not known yet
    EXPECT_EQ(panelGpuUtilization(gpus, "AMD GPU"), 33);
}

TEST(PanelGpu, FollowsTheSelectionByName) {
    const std::vector<GPUUsage> gpus = {gpu("A", 11), gpu("B", 22), gpu("B", 33), gpu("Idle", 0)};
    EXPECT_EQ(panelGpuUtilization(gpus, ""), 11);
    EXPECT_EQ(panelGpuUtilization(gpus, "B"), 22);
    EXPECT_EQ(panelGpuUtilization(gpus, "b"), 11);
    EXPECT_EQ(panelGpuUtilization(gpus, "gone"), 11);
    EXPECT_EQ(panelGpuUtilization(gpus, "Idle"), 11);
}
