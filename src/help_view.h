#pragma once

#include "widgets.h"

/// The help page.
class HelpView {
public:
    HelpView() : container_(newColumnBox(6)) {}
    HelpView(const HelpView&) = delete;
    HelpView& operator=(const HelpView&) = delete;

    GtkWidget* container() const { return container_; }

private:
    OwnedWidget container_;
};
