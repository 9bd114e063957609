#pragma once

#include "system_info.h"
#include "widgets.h"

/// A page with a table of processes.
class ProcessView {
public:
    ProcessView(SystemInfo& info, bool user_only)
        : info_(info), user_only_(user_only), container_(newColumnBox(4)) {}
    ProcessView(const ProcessView&) = delete;
    ProcessView& operator=(const ProcessView&) = delete;

    GtkWidget* container() const { return container_; }

    void update() { rebuildList(); }
    void rebuildList() {}

private:
    [[maybe_unused]] SystemInfo& info_;
    [[maybe_unused]] bool user_only_;
    OwnedWidget container_;
};
