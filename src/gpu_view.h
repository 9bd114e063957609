#pragma once

#include "system_info.h"
#include "widgets.h"

/// The GPU page.
class GPUView {
public:
    explicit GPUView(SystemInfo& info) : info_(info), container_(newColumnBox(6)) {}
    GPUView(const GPUView&) = delete;
    GPUView& operator=(const GPUView&) = delete;

    GtkWidget* container() const { return container_; }

    /// Shows the snapshot's present readings.
    void update() {}

private:
    [[maybe_unused]] SystemInfo& info_;
    OwnedWidget container_;
};
