#pragma once

#include <cstddef>
#include <string>

/// A text of at most 31 bytes built like printf's, for figures in the panel; what exceeds that is cut off.
[[gnu::format(printf, 1, 2)]] std::string shortText(const char* format, ...);

/// `text` behind as many blanks as make it `width` bytes long; a longer one comes back as it is.
std::string padLeft(const std::string& text, std::size_t width);

/// A figure followed by its unit, with one decimal below 10, else cut to whole units: "1.5M", "15M".
std::string figureWithUnit(double value, char unit);

/// Shortens a valid UTF-8 text to at most `most` bytes, without leaving a part of a character at its end.
void cutAtCharacter(std::string& text, std::size_t most);
