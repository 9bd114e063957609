#pragma once

#include <string>

#include "widgets.h"

/// Where a colour is chosen: a sheet that takes the place of all else on its page for as long as it is open.
class ColorSheet {
public:
    /// Adds itself, closed, to `page`, a box that must live as long.
    explicit ColorSheet(GtkWidget* page);
    ~ColorSheet();
    ColorSheet(const ColorSheet&) = delete;
    ColorSheet& operator=(const ColorSheet&) = delete;

    /// Asks for a new colour of a GtkColorButton, which gets it and emits "color-set" when the user takes
    /// one.
    void open(GtkWidget* color_button, const std::string& title);
    bool isOpen() const { return content_ != nullptr; }
    /// Closes without a new colour; the focus goes back to the button.
    void leave();

private:
    GtkWidget* newContent(const std::string& title);
    void addButton(GtkWidget* row, const char* text_key, void (*on_click)(ColorSheet*));
    void cover(bool covered);
    void close();
    void take();

    GtkWidget* page_;
    GtkWidget* button_ = nullptr;  ///< whose colour is asked for; null when it is gone
    GtkWidget* chooser_ = nullptr;
    GtkWidget* content_ = nullptr;  ///< made anew each time, null when closed
    OwnedWidget sheet_;
};
