#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "color.h"
#include "display_text.h"
#include "fuzz_target.h"
#include "l10n.h"
#include "network_service.h"
#include "short_text.h"

namespace {

/// A text shortened to `most` bytes, of which `whole` tells whether it was valid before.
void checkCut(const std::string& text, std::size_t most, bool whole) {
    std::string cut = text;
    cutAtCharacter(cut, most);
    require(cut.size() <= most, "a text is never longer than asked");
    require(text.starts_with(cut), "only the end of a text is cut off");
    require(text.size() <= most ? cut == text : cut.size() + 3 >= most, "no more is cut off than need be");
    if (whole) require(isUtf8(cut), "no part of a character is left");
}

/// Of a text that is shown.
void checkShown(const std::string& shown, std::size_t bytes) {
    require(isUtf8(shown), "what is shown is valid");
    require(shown.find_first_of("\n\r\t\v\f\x7F") == std::string::npos, "what is shown is one line");
    require(shown.size() <= 3 * bytes, "no byte becomes more than one character");
    require(displayText(shown) == shown, "what can be shown stays as it is");
}

/// In one of the texts of the language with this number.
void checkFilledIn(const std::string& name, std::size_t number) {
    static const auto languages = L10n::available();
    L10n::setLanguage(languages[number % languages.size()].code);
    const std::string text = L10n::tr("confirm.kill", name);
    require(text.size() <= 511, "a filled text is limited");
    require(isUtf8(text), "a filled text is valid");
}

void checkFigure(double figure) {
    require(figureWithUnit(figure, 'M').size() <= 31, "a figure is short");
    if (std::isfinite(figure))
        require(NetworkSpeed::format(std::abs(figure)).size() <= 31, "a rate is short");
}

}  // namespace

/// A colour as the settings file has it.
FUZZ_TARGET(color) {
    double r = -1, g = -1, b = -1;
    parseHex(std::string(input), r, g, b);
    require(isWithin(r, 0, 1) && isWithin(g, 0, 1) && isWithin(b, 0, 1), "every text is a colour");

    const std::string_view digits = input.substr(0, 6);
    if (digits.size() < 6 || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string_view::npos)
        return;
    parseHex("#" + std::string(digits), r, g, b);
    const long wanted = std::strtol(std::string(digits).c_str(), nullptr, 16);
    require(std::lround(r * 255) << 16 == (wanted & 0xFF0000) &&
                std::lround(g * 255) << 8 == (wanted & 0xFF00) && std::lround(b * 255) == (wanted & 0xFF),
            "six digits are three channels");
}

/// A length, then a text as a process or a device may call itself, to be shown and cut to that length.
FUZZ_TARGET(short_text) {
    const std::size_t most = input.empty() ? 0 : static_cast<unsigned char>(input.front());
    const std::string text(input.substr(std::min<std::size_t>(1, input.size())));
    const std::string shown = displayText(text);
    checkShown(shown, text.size());
    checkCut(text, most, false);
    checkCut(shown, most, true);
    checkFilledIn(shown, most);
    require(padLeft(text, most).size() == std::max(text.size(), most), "a text is as long as asked");

    double figure = 0;
    std::memcpy(&figure, text.data(), std::min(text.size(), sizeof figure));
    checkFigure(figure);
}
