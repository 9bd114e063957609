#pragma once

#include <functional>

#include "widgets.h"

/// The about page: the program's version, its maker, the notices.
class AboutView {
public:
    AboutView();
    AboutView(const AboutView&) = delete;
    AboutView& operator=(const AboutView&) = delete;

    GtkWidget* container() const { return container_; }

    /// Called after a link was handed to the desktop: a popup that holds the pointer would lie in its way.
    std::function<void()> on_link;

private:
    void addProduct();
    void addMaker();
    void addLinks();
    void addNotices();

    static gboolean onActivateLink(GtkLinkButton* button, gpointer data);

    OwnedWidget container_;
};
