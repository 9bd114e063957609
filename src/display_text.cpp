#include "display_text.h"

#include <glib.h>

namespace {

constexpr std::string_view kReplacement = "\uFFFD";

/// What would hide, break or turn around the text beside it: controls, line and paragraph separators, and
/// among the format characters those that embed, override or isolate a reading direction. Joiners stay: some
/// scripts are spelled with them.
bool isHarmless(gunichar character) {
    switch (g_unichar_type(character)) {
        case G_UNICODE_CONTROL:
        case G_UNICODE_LINE_SEPARATOR:
        case G_UNICODE_PARAGRAPH_SEPARATOR:
            return false;
        case G_UNICODE_FORMAT:
            return character == 0x200C || character == 0x200D;
        default:
            return true;
    }
}

}  // namespace

std::string displayText(std::string_view text) {
    std::string shown;
    shown.reserve(text.size());
    while (!text.empty()) {
        const gunichar character = g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
        const bool valid = character != static_cast<gunichar>(-1) && character != static_cast<gunichar>(-2) &&
                           character != 0;
        const auto bytes = valid ? static_cast<std::size_t>(g_unichar_to_utf8(character, nullptr)) : 1;
        shown += valid && isHarmless(character) ? text.substr(0, bytes) : kReplacement;
        text.remove_prefix(bytes);
    }
    return shown;
}
