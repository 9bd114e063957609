#include "theme.h"
namespace {
bool g_active_dark = false;
}
Palette Palette::light() {
    return {false, "@theme_bg_color", "@theme_fg_color", "@theme_selected_bg_color", "@theme_base_color"};
}
Palette Palette::dark_() {
    return {true, "#2D2D2D", "#EAEAEA", "#3584E4", "#3C3C3C"};
}
std::string build_css(const Palette&) {
    return "";
}
void set_active_dark(bool dark) {
    g_active_dark = dark;
}
bool active_dark() {
    return g_active_dark;
}
