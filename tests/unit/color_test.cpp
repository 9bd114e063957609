#include "color.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

namespace {

/// The colour as its 24 bits.
int rgbOf(const std::string& hex) {
    double r = -1;
    double g = -1;
    double b = -1;
    parseHex(hex, r, g, b);
    const auto byte = [](double fraction) {
        EXPECT_GE(fraction, 0.0);
        EXPECT_LE(fraction, 1.0);
        const int value = static_cast<int>(std::lround(fraction * 255.0));
        EXPECT_EQ(fraction, value / 255.0);
        return value;
    };
    return byte(r) << 16 | byte(g) << 8 | byte(b);
}

}  // namespace

TEST(ParseHex, ReadsSixDigits) {
    EXPECT_EQ(rgbOf("#4090FF"), 0x4090FF);
    EXPECT_EQ(rgbOf("#4090ff"), 0x4090FF);
    EXPECT_EQ(rgbOf("4090FF"), 0x4090FF);
    EXPECT_EQ(rgbOf("#000000"), 0);
    EXPECT_EQ(rgbOf("#FFFFFF"), 0xFFFFFF);
}

TEST(ParseHex, DoesNotCheckTheLength) {
    EXPECT_EQ(rgbOf("#FFF"), 0x000FFF);
    EXPECT_EQ(rgbOf("#1"), 0x000001);
    EXPECT_EQ(rgbOf("#12345678"), 0x345678);
    EXPECT_EQ(rgbOf("#FFFFFFFFF"), 0xFFFFFF) << "more than 32 bits";
    EXPECT_EQ(rgbOf("#123456789ABCDEF0FEDCBA"), 0xFFFFFF) << "more than 64 bits";
}

TEST(ParseHex, WhatIsNoNumberIsBlack) {
    for (const char* hex : {"", "#", "##4090FF", "red", "#GG0000", "#-", "#0x", "# ", "#\xff\xfe"})
        EXPECT_EQ(rgbOf(hex), 0) << hex;
    EXPECT_EQ(rgbOf(std::string("#\0FFFFFF", 8)), 0);
}

TEST(ParseHex, ReadsNumbersAsScanfDoes) {
    EXPECT_EQ(rgbOf("#  40"), 0x40);
    EXPECT_EQ(rgbOf(" \t\n40"), 0x40);
    EXPECT_EQ(rgbOf(" #40"), 0) << "only a leading # is dropped";
    EXPECT_EQ(rgbOf("#+40"), 0x40);
    EXPECT_EQ(rgbOf("#-1"), 0xFFFFFF);
    EXPECT_EQ(rgbOf("#0x4090FF"), 0x4090FF);
    EXPECT_EQ(rgbOf("#0X10"), 0x10);
    EXPECT_EQ(rgbOf("#12G456"), 0x12);
    for (const char* digits :
         {"  40", "+40", "-1", "-80000001", "0x4090FF", "0xG", "x1", "- 1", "FFFFFFFFFFFFFFFFFF"}) {
        unsigned scanned = 0;
        std::sscanf(digits, "%x", &scanned);  // NOLINT(cert-err34-c): the function to agree with
        EXPECT_EQ(rgbOf(std::string("#") + digits), static_cast<int>(scanned & 0xFFFFFF)) << digits;
    }
}

TEST(ParseHex, TakesTextsOfAnyLength) {
    EXPECT_EQ(rgbOf("#" + std::string(1'000'000, 'F')), 0xFFFFFF);
    EXPECT_EQ(rgbOf("#" + std::string(1'000'000, '0') + "12"), 0x12);
    EXPECT_EQ(rgbOf("#" + std::string(1'000'000, ' ')), 0);
    EXPECT_EQ(rgbOf(std::string(1'000'000, '#')), 0);
}

TEST(HexText, GivesBackWhatWasRead) {
    for (const char* const text : {"#000000", "#FFFFFF", "#4090FF", "#01FE80"}) {
        double r = -1;
        double g = -1;
        double b = -1;
        parseHex(text, r, g, b);
        EXPECT_EQ(hexText(r, g, b), text);
    }
}

TEST(HexText, CutsChannelsOff) {
    EXPECT_EQ(hexText(1, 0.5, 0.999), "#FF7FFE");
}
