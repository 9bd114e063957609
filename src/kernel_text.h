#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <string_view>

/// Walks a text line by line without copying. The last line needs no newline; a text that ends with one has
/// no empty line behind it.
class LineScanner {
public:
    explicit LineScanner(std::string_view text) : rest_(text) {}

    /// Stores the next line, without its newline, and returns true; false at the end of the text.
    bool next(std::string_view& line) {
        if (rest_.empty()) return false;
        const auto* end = static_cast<const char*>(std::memchr(rest_.data(), '\n', rest_.size()));
        const std::size_t length = end ? static_cast<std::size_t>(end - rest_.data()) : rest_.size();
        line = rest_.substr(0, length);
        rest_.remove_prefix(end ? length + 1 : length);
        return true;
    }

private:
    std::string_view rest_;
};

/// Takes fields separated by white space from the front of a text, without copying. As with a stream, the
/// first number that can't be read ends the scan: all later numbers fail too.
class FieldScanner {
public:
    explicit FieldScanner(std::string_view text) : rest_(text) {}

    /// The next run of characters that are no white space; empty at the end of the text or after a failure.
    std::string_view word() {
        skipBlanks();
        std::size_t length = 0;
        while (length < rest_.size() && !isBlank(rest_[length]))
            ++length;
        const std::string_view found = rest_.substr(0, length);
        rest_.remove_prefix(length);
        return found;
    }

    /// Reads a decimal number into `value`. False, with `value` as it was, when there is none or it does not
    /// fit the type.
    template <std::integral Number>
    bool number(Number& value) {
        skipBlanks();
        const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
        if (error != std::errc{}) {
            rest_ = {};
            return false;
        }
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
        return true;
    }

    /// Passes over `count` words.
    void skip(int count) {
        while (count-- > 0)
            word();
    }

private:
    static bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

    void skipBlanks() {
        std::size_t blanks = 0;
        while (blanks < rest_.size() && isBlank(rest_[blanks]))
            ++blanks;
        rest_.remove_prefix(blanks);
    }

    std::string_view rest_;
};
