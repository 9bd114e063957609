#include "short_text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>

std::string shortText(const char* format, ...) {
    std::array<char, 32> buffer{};
    va_list values;
    va_start(values, format);
    std::vsnprintf(buffer.data(), buffer.size(), format, values);
    va_end(values);
    return buffer.data();
}

std::string padLeft(const std::string& text, std::size_t width) {
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

std::string figureWithUnit(double value, char unit) {
    if (value < 10) return shortText("%.1f%c", value, unit);
    return shortText("%.0f%c", std::trunc(value), unit);
}

void cutAtCharacter(std::string& text, std::size_t most) {
    if (text.size() <= most) return;
    constexpr std::size_t kMostInPart = 3;  // bytes of a character before its last one
    const std::size_t least = most - std::min(most, kMostInPart);
    std::size_t end = most;
    while (end > least && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    text.resize(end);
}
