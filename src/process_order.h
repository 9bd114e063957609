#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "process_service.h"

/// The columns by which the process pages sort.
enum class SortColumn { Name = 0, User = 1, Mem = 2, Cpu = 3 };

inline constexpr std::array kSortColumns{SortColumn::Name, SortColumn::User, SortColumn::Mem,
                                         SortColumn::Cpu};

/// A column's place in a table of four.
constexpr std::size_t indexOf(SortColumn column) {
    return static_cast<std::size_t>(column);
}

/// Sorts the rows by one column: greatest first, or smallest first when `ascending`. Names and users compare
/// byte by byte, so that descending puts lower case before upper case. Rows that are equal keep their order;
/// a figure that is not a number counts as less than all others.
void sortProcesses(std::vector<ProcessUsage>& rows, SortColumn column, bool ascending);
