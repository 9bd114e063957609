#pragma once

#include <array>
#include <memory>

#include "process_order.h"
#include "widgets.h"

/// The text styles of the process rows in the look in force, shared by all rows of one refresh.
class ProcessRowStyles {
public:
    ProcessRowStyles();

    /// Of a CPU usage in percent of one core: green below 50, yellow below 100, else red.
    const TextAttributes& ofCpuUsage(double percent) const;

    TextAttributes name;
    TextAttributes aside;  ///< what matters less: rank and user
    TextAttributes memory;

private:
    TextAttributes calm_, busy_, full_;
};

/// Keeps the figures below the titles of their columns, whatever font and language make of their widths.
class ProcessColumns {
public:
    static constexpr int kRankWidth = 20;  ///< pixels at least, as all
    static constexpr std::array<int, kSortColumns.size()> kWidths{190, 70, 55, 55};

    ProcessColumns();

    /// Gives a title or a row's label the width of its column.
    void align(SortColumn column, GtkWidget* cell);

private:
    using SizeGroup = std::unique_ptr<GtkSizeGroup, FreeWith<g_object_unref>>;

    std::array<SizeGroup, kSortColumns.size()> groups_;
};

/// A row of a process page: rank, name, user, memory and CPU usage. It takes the keyboard's focus; screen
/// readers take it for an item of a list, which they can have emit "activate". Its object data are "pid" (the
/// number) and "pname" (a copy of the name as the kernel has it).
GtkWidget* newProcessRow(int rank, const ProcessUsage& process, const ProcessRowStyles& styles,
                         ProcessColumns& columns);

/// The vertical box for such rows. It gets no accessible before a reader asks: from then on the toolkit makes
/// one for every row that is added, reader or not.
GtkWidget* newRowBox();

/// Lets a row stand out as the selected one.
void markSelected(GtkWidget* row);

/// The process of a row; 0 for any other widget.
int pidOfRow(GtkWidget* row);
