#pragma once

#include "system_info.h"
#include "widgets.h"

/// The CPU page.
class CPUView {
public:
    explicit CPUView(SystemInfo& info) : info_(info), container_(newColumnBox(6)) {}
    CPUView(const CPUView&) = delete;
    CPUView& operator=(const CPUView&) = delete;

    GtkWidget* container() const { return container_; }

    /// Shows the snapshot's present readings.
    void update() {}

private:
    [[maybe_unused]] SystemInfo& info_;
    OwnedWidget container_;
};
