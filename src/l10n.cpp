#include "l10n.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <iterator>
#include <string_view>

#include "i18n_data.h"
#include "short_text.h"

namespace {

/// What a text with its arguments filled in may measure, in bytes.
constexpr std::size_t kMaxFilledBytes = 511;

constexpr std::size_t kUnknown = i18n_data::LANG_COUNT;

std::string g_setting;    // as last asked for; "auto" follows the environment
std::size_t g_index = 0;  // row of LANGS in effect

std::size_t rowOf(std::string_view code) {
    const auto* const row = std::ranges::find(i18n_data::LANGS, code, &i18n_data::LangEntry::code);
    return static_cast<std::size_t>(std::distance(std::begin(i18n_data::LANGS), row));
}

/// The row for a locale's name such as "de_AT.UTF-8@euro": that of the language with its region, else that of
/// the language alone.
std::size_t rowOfLocale(std::string_view name) {
    name = name.substr(0, name.find('.'));
    name = name.substr(0, name.find('@'));
    const std::size_t exact = rowOf(name);
    return exact != kUnknown ? exact : rowOf(name.substr(0, name.find('_')));
}

std::size_t rowOfEnvironment() {
    for (const char* const* name = g_get_language_names(); *name != nullptr; ++name) {
        const std::size_t row = rowOfLocale(*name);
        if (row != kUnknown) return row;
    }
    return kUnknown;
}

/// The text for `key` with each "%s", "%d" and "%%" replaced, as printf would. A placeholder without its
/// argument stays as it is: unlike with printf, no text can make the program read what is not there.
std::string fill(const char* key, const char* s, const int* n) {
    const char* const format = L10n::lookup(key);
    if (format == nullptr) return key;

    std::string filled;
    for (const char* at = format; *at != '\0'; ++at) {
        const char kind = *at == '%' ? at[1] : '\0';
        if (kind == 's' && s != nullptr) {
            filled.append(s, strnlen(s, kMaxFilledBytes + 1));
        } else if (kind == 'd' && n != nullptr) {
            filled.append(std::to_string(*n));
        } else {
            filled.push_back(*at);
            if (kind != '%') continue;
        }
        ++at;
    }
    cutAtCharacter(filled, kMaxFilledBytes);
    return filled;
}

}  // namespace

namespace L10n {

void init() {
    setLanguage(g_setting);
}

void setLanguage(const std::string& code) {
    g_setting = code.empty() ? "auto" : code;
    g_index = g_setting == "auto" ? rowOfEnvironment() : rowOf(g_setting);
    if (g_index == kUnknown) g_index = rowOf("en");  // there is no build without English
}

std::string currentLanguage() {
    return i18n_data::LANGS[g_index].code;
}

const char* lookup(std::string_view key) {
    const auto* const found = std::ranges::lower_bound(i18n_data::KEYS, key, std::less<std::string_view>{});
    if (found == std::end(i18n_data::KEYS) || *found != key) return nullptr;
    return i18n_data::LANGS[g_index].values[std::distance(std::begin(i18n_data::KEYS), found)];
}

std::string tr(const char* key) {
    const char* const text = lookup(key);
    return text != nullptr ? text : key;
}

std::string tr(const char* key, const std::string& s) {
    return fill(key, s.c_str(), nullptr);
}

std::string tr(const char* key, int n) {
    return fill(key, nullptr, &n);
}

std::string tr(const char* key, const std::string& s, int n) {
    return fill(key, s.c_str(), &n);
}

bool isRTL() {
    return i18n_data::LANGS[g_index].rtl;
}

const char* uiFontFamily() {
    static constexpr std::array<std::string_view, 12> kProportional{"zh", "zh_TW", "ja", "ko", "ar", "fa",
                                                                    "ur", "he",    "hi", "ne", "bn", "th"};
    const bool proportional =
        std::ranges::find(kProportional, i18n_data::LANGS[g_index].code) != kProportional.end();
    return proportional ? "sans-serif" : "monospace";
}

std::vector<LanguageInfo> available() {
    std::vector<LanguageInfo> languages;
    languages.reserve(i18n_data::LANG_COUNT);
    for (const i18n_data::LangEntry& row : i18n_data::LANGS)
        languages.push_back({row.code, row.native_name, row.rtl});
    return languages;
}

}  // namespace L10n
