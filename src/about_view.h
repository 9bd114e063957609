#pragma once

#include "widgets.h"

/// The about page.
class AboutView {
public:
    AboutView() : container_(newColumnBox(6)) {}
    AboutView(const AboutView&) = delete;
    AboutView& operator=(const AboutView&) = delete;

    GtkWidget* container() const { return container_; }

private:
    OwnedWidget container_;
};
