#include "theme.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using testing::HasSubstr;
using testing::Not;

Palette plainPalette(bool dark) {
    return {dark, "BG", "TX", "SEL", "ROW"};
}

// The sheet of the light look with BG, TX, SEL and ROW as its colours, one rule a line.
constexpr std::array kLightRules{
    "window {  background-color: BG;  border-radius: 10px;  border: 1px solid alpha(TX, 0.15);  "
    "box-shadow: 0 8px 30px alpha(black, 0.25), 0 2px 8px alpha(black, 0.12);}",
    "notebook header {  background: transparent;  border: none;  padding: 4px 8px 0 8px;}",
    "notebook header tabs {  background: alpha(TX, 0.08);  border-radius: 7px;  padding: 2px;  min-height: "
    "0;}",
    "notebook tab {  padding: 3px 10px;  margin: 0;  min-height: 0;  min-width: 0;  font-size: 11px;  "
    "border-radius: 6px;  border: none;  background: transparent;  color: alpha(TX, 0.65);  "
    "transition: all 150ms ease;}",
    "notebook tab:checked {  background: BG;  color: TX;  "
    "box-shadow: 0 1px 3px alpha(black, 0.12), 0 0 1px alpha(black, 0.08);}",
    "notebook tab:hover:not(:checked) {  color: alpha(TX, 0.85);  background: alpha(TX, 0.04);}",
    "notebook stack { background: transparent; }",
    ".selected-process {  background-color: alpha(SEL, 0.2);  border-radius: 4px;}",
    "row:hover, .process-row:hover {  background-color: alpha(TX, 0.04);  border-radius: 4px;}",
    "button {  padding: 2px 8px;  min-height: 22px;  border-radius: 5px;  border: none;  "
    "background: transparent;  color: TX;  transition: background 150ms ease;}",
    "button label { color: TX; }",
    "button:hover  { background: alpha(TX, 0.08); }",
    "button:active { background: alpha(TX, 0.14); }",
    "separator {  background-color: alpha(TX, 0.1);  min-height: 1px;  margin: 2px 0;}",
    ".settings-btn {  padding: 4px;  min-width: 28px;  min-height: 28px;  border-radius: 6px;}",
    ".settings-btn-active {  background: alpha(SEL, 0.15);  padding: 4px;  min-width: 28px;  "
    "min-height: 28px;  border-radius: 6px;}",
    ".quit-btn { color: alpha(TX, 0.6); font-size: 11px; }",
    ".quit-btn:hover { color: TX; }",
    "scrollbar slider {  min-width: 4px;  border-radius: 4px;  background-color: alpha(TX, 0.2);}",
    "scrollbar slider:hover { background-color: alpha(TX, 0.35); }",
    "label { padding: 0; }",
    ".setting-row-on {  background-color: ROW;  border-radius: 6px;  padding: 2px 4px;}",
    ".setting-row-off {  background-color: alpha(ROW, 0.4);  border-radius: 6px;  padding: 2px 4px;  "
    "opacity: 0.7;}",
    "window { color: TX; }",
};

TEST(Theme, TheSheetHasItsRulesInOrderWithNothingBetween) {
    const std::string css = build_css(plainPalette(false));
    std::string_view rest = css;
    for (const std::string_view rule : kLightRules) {
        ASSERT_EQ(rest.substr(0, rule.size()), rule);
        rest.remove_prefix(rule.size());
    }
    EXPECT_EQ(rest, "");
}

TEST(Theme, DarkShadowsAreStronger) {
    const std::string light = build_css(plainPalette(false));
    std::string expected = light;
    const std::string shadows = "alpha(black, 0.25), 0 2px 8px alpha(black, 0.12)";
    expected.replace(expected.find(shadows), shadows.size(),
                     "alpha(black, 0.45), 0 2px 8px alpha(black, 0.30)");
    EXPECT_EQ(build_css(plainPalette(true)), expected);
}

TEST(Theme, ColoursAreTakenVerbatim) {
    const std::string css = build_css({true, "$text", "@my_colour", "rgb(1,2,3)", "#abc"});
    EXPECT_THAT(css, HasSubstr("window {  background-color: $text;"));
    EXPECT_THAT(css, HasSubstr("window { color: @my_colour; }"));
    EXPECT_THAT(css, HasSubstr("alpha(rgb(1,2,3), 0.2)"));
    EXPECT_THAT(css, HasSubstr("alpha(#abc, 0.4)"));
}

TEST(Theme, TheLightLookLeavesColoursToTheDesktop) {
    const Palette light = Palette::light();
    EXPECT_FALSE(light.dark);
    EXPECT_EQ(light.background, "@theme_bg_color");
    EXPECT_EQ(light.text, "@theme_fg_color");
    EXPECT_EQ(light.selection, "@theme_selected_bg_color");
    EXPECT_EQ(light.row, "@theme_base_color");
    EXPECT_THAT(build_css(light), Not(HasSubstr("#")));
}

TEST(Theme, TheDarkLookHasFixedColours) {
    const Palette dark = Palette::dark_();
    EXPECT_TRUE(dark.dark);
    EXPECT_EQ(dark.background, "#2D2D2D");
    EXPECT_EQ(dark.text, "#EAEAEA");
    EXPECT_EQ(dark.selection, "#3584E4");
    EXPECT_EQ(dark.row, "#3C3C3C");
    EXPECT_THAT(build_css(dark), Not(HasSubstr("@")));
}

// In a process of its own: other tests choose a look.
TEST(Theme, NoLookIsDarkBeforeTheFirstDecision) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::_Exit(active_dark() ? 1 : 0), testing::ExitedWithCode(0), "");
}

TEST(Theme, TheLookChosenLastIsInForce) {
    set_active_dark(true);
    EXPECT_TRUE(active_dark());
    set_active_dark(false);
    EXPECT_FALSE(active_dark());
}

}  // namespace
