#include "color.h"

#include <array>
#include <cstdio>
#include <cstdlib>

void parseHex(const std::string& hex, double& r, double& g, double& b) {
    const char* digits = hex.c_str();
    if (*digits == '#') ++digits;
    const auto value = static_cast<unsigned>(std::strtoul(digits, nullptr, 16));
    r = (value >> 16 & 0xff) / 255.0;
    g = (value >> 8 & 0xff) / 255.0;
    b = (value & 0xff) / 255.0;
}

std::string hexText(double r, double g, double b) {
    const auto digits = [](double channel) { return static_cast<unsigned>(channel * 255.0) & 0xFFU; };
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "#%02X%02X%02X", digits(r), digits(g), digits(b));
    return text.data();
}
