#pragma once

#include <gtk/gtk.h>

#include <memory>
#include <optional>

#include "cairo_handles.h"

/// How texts are drawn: size, weight, family and colour, and the letter forms of the program's language.

/// A text colour in Pango's 16-bit components.
struct TextColor {
    guint16 red = 0, green = 0, blue = 0;
};

enum class FontFamily {
    Theme,      ///< the desktop's
    Monospace,  ///< for figures and for names from the machine
    Interface,  ///< for words in line with such: L10n::uiFontFamily()
};

struct TextStyle {
    int points = 10;
    int weight = PANGO_WEIGHT_NORMAL;  ///< Pango's numbers, 100..1000
    FontFamily family = FontFamily::Theme;
    std::optional<TextColor> color{};  ///< none: the theme's
};

/// Has a label without a text style, or the text cell of a list, draw the letters as they are written in the
/// program's language, which need not be the environment's: Chinese characters differ from Japanese ones,
/// Serbian letters from Russian ones.
void useLetterForms(gpointer label_or_cell);

/// Has all fonts looked for again: one that could not be opened, for want of a descriptor say, is drawn as
/// empty boxes for ever.
void forgetFonts();

/// A text style made ready for labels and entries; rows that look alike share one.
class TextAttributes {
public:
    TextAttributes(const TextStyle& style);  // NOLINT(google-explicit-constructor): a style is good anywhere

    void applyTo(GtkWidget* label_or_entry) const;

private:
    std::unique_ptr<PangoAttrList, FreeWith<pango_attr_list_unref>> list_;
};
