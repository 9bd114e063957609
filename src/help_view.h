#pragma once

#include <string>
#include <vector>

#include "widgets.h"

/// The help page: what the panel and each page show and, inside the confined package, the commands that give
/// the program its permissions.
class HelpView {
public:
    HelpView();
    ~HelpView();
    HelpView(const HelpView&) = delete;
    HelpView& operator=(const HelpView&) = delete;

    GtkWidget* container() const { return container_; }

private:
    /// A symbolic icon with a bold title, then a text of several lines. Returns the section for more below.
    GtkWidget* addSection(GtkWidget* box, const char* icon, const std::string& title,
                          const std::string& text);

    /// The same with commands to type into a terminal, and one button that copies them all.
    void addCommandSection(GtkWidget* box, const char* icon, const std::string& title,
                           const std::string& text, const std::vector<std::string>& commands);

    GtkWidget* newCopyButton(const std::vector<std::string>& commands);
    void showCopied(bool copied);

    static void onCopy(GtkButton* button, gpointer data);
    static gboolean onCopyTimeout(gpointer data);

    OwnedWidget container_;
    GtkWidget* copy_btn_ = nullptr;
    guint copy_timeout_id_ = 0;
};
