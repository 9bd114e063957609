#include "short_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

TEST(ShortText, PrintsLikePrintf) {
    EXPECT_EQ(shortText("%.1f%c", 9.96, 'M'), "10.0M");
    EXPECT_EQ(shortText("%s", ""), "");
}

TEST(ShortText, IsCutAt31Bytes) {
    EXPECT_EQ(shortText("%s", std::string(100, 'x').c_str()), std::string(31, 'x'));
    EXPECT_EQ(shortText("%.1fG", std::numeric_limits<double>::max()).size(), 31U);
    EXPECT_EQ(shortText("%.0f", std::numeric_limits<double>::infinity()), "inf");
}

TEST(PadLeft, AlignsToTheRight) {
    EXPECT_EQ(padLeft("", 3), "   ");
    EXPECT_EQ(padLeft("0K", 5), "   0K");
    EXPECT_EQ(padLeft("12.0G", 5), "12.0G");
    EXPECT_EQ(padLeft("longer", 5), "longer");
}

TEST(FigureWithUnit, HasOneDecimalBelowTen) {
    EXPECT_EQ(figureWithUnit(0, 'M'), "0.0M");
    EXPECT_EQ(figureWithUnit(9.94, 'M'), "9.9M");
    EXPECT_EQ(figureWithUnit(9.96, 'M'), "10.0M");
    EXPECT_EQ(figureWithUnit(10, 'M'), "10M");
    EXPECT_EQ(figureWithUnit(15.9, 'G'), "15G");
    EXPECT_EQ(figureWithUnit(17179869184.0, 'G'), "17179869184G");
}

TEST(CutAtCharacter, LeavesNoPartOfACharacter) {
    const auto cut = [](std::string text, std::size_t most) {
        cutAtCharacter(text, most);
        return text;
    };
    EXPECT_EQ(cut("abc", 3), "abc");
    EXPECT_EQ(cut("abc", 2), "ab");
    EXPECT_EQ(cut("aé", 2), "a");
    EXPECT_EQ(cut("aé", 3), "aé");
    EXPECT_EQ(cut("a\U0001F600b", 4), "a");
    EXPECT_EQ(cut("a\U0001F600b", 5), "a\U0001F600");
    EXPECT_EQ(cut("é", 0), "");
}
