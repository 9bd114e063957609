#pragma once

#include <string>

/// The colours of one look, as texts for the style sheet: hexadecimal or a GTK named colour ("@...").
struct Palette {
    bool dark = false;
    std::string background;
    std::string text;
    std::string selection;  ///< accent: the selected process
    std::string row;        ///< behind a switched-on row of the settings

    /// Follows the desktop theme's own colours.
    static Palette light();
    /// Fixed colours.
    static Palette dark_();
};

/// The whole style sheet of the popup and its pages, for GTK's CSS. The palette's texts are put in as they
/// are.
std::string build_css(const Palette& palette);

/// The style sheet for the keyboard's focus, the same in both looks: a ring in the colour of the text around
/// it, since themes draw one that is too pale to be found. On a swatch it is white and black, whatever colour
/// that has.
std::string focus_css();

/// Whether the dark look is in force; false until the first decision. Main thread only.
void set_active_dark(bool dark);
bool active_dark();
