#include "process_order.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>

using testing::ElementsAre;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::vector<std::string> namesBy(SortColumn column, bool ascending, std::vector<ProcessUsage> rows) {
    sortProcesses(rows, column, ascending);
    std::vector<std::string> names;
    names.reserve(rows.size());
    for (const ProcessUsage& row : rows)
        names.push_back(row.name);
    return names;
}

ProcessUsage row(const std::string& name, const std::string& user = "", double cpu = 0, double memory = 0) {
    return {.name = name, .user = user, .cpu_usage = cpu, .memory_mb = memory};
}

const std::vector<ProcessUsage> kRows{row("a", "root", 5, 300), row("b", "alice", 400, 20),
                                      row("c", "mail", 50, 1000)};

}  // namespace

TEST(ProcessOrder, EveryColumnPutsTheGreatestFirstOrLast) {
    EXPECT_THAT(namesBy(SortColumn::Name, false, kRows), ElementsAre("c", "b", "a"));
    EXPECT_THAT(namesBy(SortColumn::Name, true, kRows), ElementsAre("a", "b", "c"));
    EXPECT_THAT(namesBy(SortColumn::User, false, kRows), ElementsAre("a", "c", "b"));
    EXPECT_THAT(namesBy(SortColumn::User, true, kRows), ElementsAre("b", "c", "a"));
    EXPECT_THAT(namesBy(SortColumn::Mem, false, kRows), ElementsAre("c", "a", "b"));
    EXPECT_THAT(namesBy(SortColumn::Mem, true, kRows), ElementsAre("b", "a", "c"));
    EXPECT_THAT(namesBy(SortColumn::Cpu, false, kRows), ElementsAre("b", "c", "a"));
    EXPECT_THAT(namesBy(SortColumn::Cpu, true, kRows), ElementsAre("a", "c", "b"));
}

TEST(ProcessOrder, NamesCompareByteByByte) {
    const std::vector<ProcessUsage> rows{row("Xorg"), row(""),         row("zsh"),
                                         row("\xff"), row("\xc3\xa9"), row("zs")};
    EXPECT_THAT(namesBy(SortColumn::Name, false, rows),
                ElementsAre("\xff", "\xc3\xa9", "zsh", "zs", "Xorg", ""));
}

TEST(ProcessOrder, EqualRowsKeepTheirOrderBothWays) {
    const std::vector<ProcessUsage> rows{row("b"), row("c", "", 1), row("a")};
    EXPECT_THAT(namesBy(SortColumn::Cpu, false, rows), ElementsAre("c", "b", "a"));
    EXPECT_THAT(namesBy(SortColumn::Cpu, true, rows), ElementsAre("b", "a", "c"));
}

TEST(ProcessOrder, WhatIsNoNumberIsLeast) {
    const std::vector<ProcessUsage> rows{row("nan", "", 0, kNaN), row("low", "", 0, -kInfinity),
                                         row("high", "", 0, kInfinity), row("nan2", "", 0, kNaN),
                                         row("zero")};
    EXPECT_THAT(namesBy(SortColumn::Mem, false, rows), ElementsAre("high", "zero", "low", "nan", "nan2"));
    EXPECT_THAT(namesBy(SortColumn::Mem, true, rows), ElementsAre("nan", "nan2", "low", "zero", "high"));
}

TEST(ProcessOrder, ManyRowsInAnyOrderComeOutTheSame) {
    std::vector<ProcessUsage> rows(200);
    for (int i = 0; i < 200; ++i)
        rows[static_cast<std::size_t>(i)].cpu_usage = i % 3 == 0 ? kNaN : i;
    std::mt19937 shuffler(1);
    for (int round = 0; round < 50; ++round) {
        std::ranges::shuffle(rows, shuffler);
        sortProcesses(rows, SortColumn::Cpu, false);
        for (std::size_t i = 0; i < rows.size(); ++i)
            EXPECT_EQ(std::isnan(rows[i].cpu_usage), i >= 133) << i;
        EXPECT_EQ(rows.front().cpu_usage, 199);
        EXPECT_EQ(rows[132].cpu_usage, 1);
    }
}

TEST(ProcessOrder, NoRowsAreFine) {
    EXPECT_THAT(namesBy(SortColumn::User, true, {}), testing::IsEmpty());
}
