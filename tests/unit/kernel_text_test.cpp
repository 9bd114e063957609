#include "kernel_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    LineScanner scanner(text);
    for (std::string_view line; scanner.next(line);)
        lines.push_back(line);
    return lines;
}

}  // namespace

using testing::ElementsAre;
using testing::IsEmpty;

TEST(LineScanner, SplitsAtNewlines) {
    EXPECT_THAT(linesOf(""), IsEmpty());
    EXPECT_THAT(linesOf("a"), ElementsAre("a"));
    EXPECT_THAT(linesOf("a\n"), ElementsAre("a"));
    EXPECT_THAT(linesOf("a\n\nb"), ElementsAre("a", "", "b"));
    EXPECT_THAT(linesOf("\n"), ElementsAre(""));
    EXPECT_THAT(linesOf("a\r\nb"), ElementsAre("a\r", "b"));
}

TEST(FieldScanner, TakesWordsAndNumbers) {
    FieldScanner fields(" cpu0\t12  -3\n44x");
    EXPECT_EQ(fields.word(), "cpu0");
    std::uint64_t large = 0;
    int small = 0;
    EXPECT_TRUE(fields.number(large));
    EXPECT_EQ(large, 12U);
    EXPECT_TRUE(fields.number(small));
    EXPECT_EQ(small, -3);
    EXPECT_TRUE(fields.number(small));
    EXPECT_EQ(small, 44);
    EXPECT_FALSE(fields.number(small));
    EXPECT_EQ(small, 44);
}

TEST(FieldScanner, AFailureEndsTheScan) {
    FieldScanner fields("1 x 3");
    std::uint64_t value = 0;
    EXPECT_TRUE(fields.number(value));
    EXPECT_FALSE(fields.number(value));
    EXPECT_FALSE(fields.number(value));
    EXPECT_EQ(value, 1U);
    EXPECT_EQ(fields.word(), "");
}

TEST(FieldScanner, ANumberThatDoesNotFitFails) {
    std::uint8_t byte = 7;
    EXPECT_FALSE(FieldScanner("300").number(byte));
    std::uint64_t large = 7;
    EXPECT_FALSE(FieldScanner("-1").number(large));
    EXPECT_FALSE(FieldScanner("18446744073709551616").number(large));
    EXPECT_TRUE(FieldScanner("18446744073709551615").number(large));
    EXPECT_EQ(large, UINT64_MAX);
}
