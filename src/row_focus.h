#pragma once

#include <gtk/gtk.h>

/// The keyboard's place in a list of processes whose rows are all made anew at every refresh.
class RowFocus {
public:
    /// Remembers which row of `list`, a box of process rows that outlives this, has the focus, if one has.
    explicit RowFocus(GtkWidget* list);

    /// Gives the focus to the new row of the same process, or else to the one that took its place; nothing is
    /// scrolled. Does nothing when no row had it.
    void giveBack() const;

private:
    GtkWidget* list_;
    int pid_ = 0;
    int place_ = -1;  ///< from 0; -1: the focus is elsewhere
};
