#pragma once

#include <string>

/// Turns a colour such as "#4090FF" into red, green and blue from 0 to 1. The digits behind the "#" (which
/// may be missing) are read as one hexadecimal number whose low 24 bits are the colour, so that "#FFF" is
/// 0x000FFF; a text without a number is black.
void parseHex(const std::string& hex, double& r, double& g, double& b);

/// The other way round, each channel cut off to 8 bits: a half is 7F.
std::string hexText(double r, double g, double b);
