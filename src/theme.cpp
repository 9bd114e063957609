#include "theme.h"

#include <map>
#include <string_view>

namespace {

bool g_active_dark = false;

/// A word behind "$" is replaced by that colour or opacity of the look.
constexpr std::string_view kStyleSheet =
    "window {  background-color: $background;  border-radius: 10px;  border: 1px solid alpha($text, 0.15);"
    "  box-shadow: 0 8px 30px alpha(black, $wideshadow), 0 2px 8px alpha(black, $nearshadow);}"

    "notebook header {  background: transparent;  border: none;  padding: 4px 8px 0 8px;}"
    "notebook header tabs {  background: alpha($text, 0.08);  border-radius: 7px;  padding: 2px;"
    "  min-height: 0;}"
    "notebook tab {  padding: 3px 10px;  margin: 0;  min-height: 0;  min-width: 0;  font-size: 11px;"
    "  border-radius: 6px;  border: none;  background: transparent;  color: alpha($text, 0.65);"
    "  transition: all 150ms ease;}"
    "notebook tab:checked {  background: $background;  color: $text;"
    "  box-shadow: 0 1px 3px alpha(black, 0.12), 0 0 1px alpha(black, 0.08);}"
    "notebook tab:hover:not(:checked) {  color: alpha($text, 0.85);  background: alpha($text, 0.04);}"
    "notebook stack { background: transparent; }"

    ".selected-process {  background-color: alpha($selection, 0.2);  border-radius: 4px;}"
    "row:hover, .process-row:hover {  background-color: alpha($text, 0.04);  border-radius: 4px;}"

    "button {  padding: 2px 8px;  min-height: 22px;  border-radius: 5px;  border: none;"
    "  background: transparent;  color: $text;  transition: background 150ms ease;}"
    "button label { color: $text; }"
    "button:hover  { background: alpha($text, 0.08); }"
    "button:active { background: alpha($text, 0.14); }"

    "separator {  background-color: alpha($text, 0.1);  min-height: 1px;  margin: 2px 0;}"

    ".settings-btn {  padding: 4px;  min-width: 28px;  min-height: 28px;  border-radius: 6px;}"
    ".settings-btn-active {  background: alpha($selection, 0.15);  padding: 4px;  min-width: 28px;"
    "  min-height: 28px;  border-radius: 6px;}"
    ".quit-btn { color: alpha($text, 0.6); font-size: 11px; }"
    ".quit-btn:hover { color: $text; }"

    "scrollbar slider {  min-width: 4px;  border-radius: 4px;  background-color: alpha($text, 0.2);}"
    "scrollbar slider:hover { background-color: alpha($text, 0.35); }"

    "label { padding: 0; }"

    ".setting-row-on {  background-color: $row;  border-radius: 6px;  padding: 2px 4px;}"
    ".setting-row-off {  background-color: alpha($row, 0.4);  border-radius: 6px;  padding: 2px 4px;"
    "  opacity: 0.7;}"

    "window { color: $text; }";

constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz";

}  // namespace

Palette Palette::light() {
    return {false, "@theme_bg_color", "@theme_fg_color", "@theme_selected_bg_color", "@theme_base_color"};
}

Palette Palette::dark_() {
    return {true, "#2D2D2D", "#EAEAEA", "#3584E4", "#3C3C3C"};
}

std::string build_css(const Palette& palette) {
    const std::map<std::string_view, std::string_view> values{{"background", palette.background},
                                                              {"text", palette.text},
                                                              {"selection", palette.selection},
                                                              {"row", palette.row},
                                                              {"wideshadow", palette.dark ? "0.45" : "0.25"},
                                                              {"nearshadow", palette.dark ? "0.30" : "0.12"}};
    std::string css;
    std::string_view rest = kStyleSheet;
    for (auto mark = rest.find('$'); mark != rest.npos; mark = rest.find('$')) {
        css += rest.substr(0, mark);
        rest.remove_prefix(mark + 1);
        const auto word = rest.substr(0, rest.find_first_not_of(kLetters));
        css += values.at(word);
        rest.remove_prefix(word.size());
    }
    return css.append(rest);
}

std::string focus_css() {
    return "* {  outline: 2px solid currentColor;  outline-offset: -2px;  -gtk-outline-radius: 5px;}"
           "checkbutton {  outline-offset: 2px;}"
           "colorswatch {  outline-color: white;}"
           "colorswatch:focus > overlay {  box-shadow: inset 0 0 0 4px black;}"
           "entry:focus {  border-color: currentColor;  box-shadow: inset 0 0 0 1px currentColor;}"
           "scrolledwindow:focus {  box-shadow: inset 0 0 0 2px currentColor;  border-radius: 5px;}";
}

void set_active_dark(bool dark) {
    g_active_dark = dark;
}

bool active_dark() {
    return g_active_dark;
}
