#include "color.h"

#include <cstdlib>

void parseHex(const std::string& hex, double& r, double& g, double& b) {
    const char* digits = hex.c_str();
    if (*digits == '#') ++digits;
    const auto value = static_cast<unsigned>(std::strtoul(digits, nullptr, 16));
    r = (value >> 16 & 0xff) / 255.0;
    g = (value >> 8 & 0xff) / 255.0;
    b = (value & 0xff) / 255.0;
}
