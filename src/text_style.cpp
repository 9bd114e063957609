#include "text_style.h"

#include <algorithm>
#include <array>
#include <string>

#include "l10n.h"

namespace {

struct LetterForms {
    const char* code;
    const char* tag;  ///< as fontconfig knows it
};

constexpr std::array<LetterForms, 6> kLetterForms{
    {{"bg", "bg"}, {"ja", "ja"}, {"ko", "ko"}, {"sr", "sr"}, {"zh", "zh-cn"}, {"zh_TW", "zh-tw"}}};

/// Null for a language whose script looks the same in all others.
PangoLanguage* letterForms() {
    const std::string code = L10n::currentLanguage();
    const auto* const found = std::ranges::find(kLetterForms, code, &LetterForms::code);
    return found != kLetterForms.end() ? pango_language_from_string(found->tag) : nullptr;
}

/// The fonts of many languages bring digits of their own, which stand out beside the letters of another font:
/// figures are drawn the same in every language.
PangoLanguage* languageFor(FontFamily family) {
    return family == FontFamily::Monospace ? pango_language_from_string("en") : letterForms();
}

}  // namespace

void useLetterForms(gpointer label_or_cell) {
    PangoLanguage* const language = letterForms();
    if (language == nullptr) return;
    const std::unique_ptr<PangoAttrList, FreeWith<pango_attr_list_unref>> list(pango_attr_list_new());
    pango_attr_list_insert(list.get(), pango_attr_language_new(language));
    g_object_set(label_or_cell, "attributes", list.get(), nullptr);
}

void forgetFonts() {
    auto* const fonts = PANGO_CAIRO_FONT_MAP(pango_cairo_font_map_get_default());
    const double resolution = pango_cairo_font_map_get_resolution(fonts);
    pango_cairo_font_map_set_resolution(fonts, resolution + 1);  // which drops all of them
    pango_cairo_font_map_set_resolution(fonts, resolution);
}

TextAttributes::TextAttributes(const TextStyle& style) : list_(pango_attr_list_new()) {
    const auto add = [this](PangoAttribute* attribute) { pango_attr_list_insert(list_.get(), attribute); };
    add(pango_attr_size_new(style.points * PANGO_SCALE));
    if (style.weight != PANGO_WEIGHT_NORMAL)
        add(pango_attr_weight_new(static_cast<PangoWeight>(style.weight)));
    if (style.family == FontFamily::Monospace) add(pango_attr_family_new("monospace"));
    if (style.family == FontFamily::Interface) add(pango_attr_family_new(L10n::uiFontFamily()));
    if (PangoLanguage* const language = languageFor(style.family)) add(pango_attr_language_new(language));
    if (style.color) add(pango_attr_foreground_new(style.color->red, style.color->green, style.color->blue));
}

void TextAttributes::applyTo(GtkWidget* label_or_entry) const {
    if (GTK_IS_ENTRY(label_or_entry)) {
        gtk_entry_set_attributes(GTK_ENTRY(label_or_entry), list_.get());
    } else {
        gtk_label_set_attributes(GTK_LABEL(label_or_entry), list_.get());
    }
}
