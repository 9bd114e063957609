#pragma once

#include <string>
#include <string_view>

/// `text` as it can be shown in one line of a label: valid UTF-8 in which everything that is no text (invalid
/// bytes, control characters and line breaks, marks that turn the reading direction of what follows) is a
/// replacement character. Markup characters stay as they are: labels don't read markup.
std::string displayText(std::string_view text);
