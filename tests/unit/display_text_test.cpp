#include "display_text.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;

namespace {

TEST(DisplayText, TextStaysAsItIs) {
    for (const char* text : {"", "firefox", "größer", "システム", "برنامه‌ها", "👩‍💻",
                             "<b>&amp;</b>", "50% (x)"}) {
        EXPECT_EQ(displayText(text), text);
    }
}

TEST(DisplayText, WhatBreaksTheLineIsReplaced) {
    EXPECT_EQ(displayText("a\nb\rc\td"), "a\uFFFDb\uFFFDc\uFFFDd");
    EXPECT_EQ(displayText("a\u2028b\u2029c\u0085d"), "a\uFFFDb\uFFFDc\uFFFDd");
    EXPECT_EQ(displayText("\x1B[31m\x7F"), "\uFFFD[31m\uFFFD");
    EXPECT_EQ(displayText("a\0b"s), "a\uFFFDb");
}

TEST(DisplayText, WhatTurnsTheReadingDirectionIsReplaced) {
    EXPECT_EQ(displayText("exe\u202Etxt.\u202C"), "exe\uFFFDtxt.\uFFFD");
    EXPECT_EQ(displayText("\u2066a\u2069\u200F\u061C"), "\uFFFDa\uFFFD\uFFFD\uFFFD");
}

TEST(DisplayText, WhatHidesIsReplaced) {
    EXPECT_EQ(displayText("ba\u200Bsh\uFEFF\u00AD"), "ba\uFFFDsh\uFFFD\uFFFD");
}

TEST(DisplayText, InvalidBytesAreReplacedOneByOne) {
    EXPECT_EQ(displayText("a\xFF\xFE"), "a\uFFFD\uFFFD");
    EXPECT_EQ(displayText("caf\xC3"), "caf\uFFFD");
    EXPECT_EQ(displayText("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");
}

TEST(DisplayText, IsValidForEveryByte) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    const std::string shown = displayText(all + all);
    EXPECT_TRUE(g_utf8_validate(shown.data(), static_cast<gssize>(shown.size()), nullptr));
}

}  // namespace
