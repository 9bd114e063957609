#pragma once

#include <cstddef>

/// The translations, compiled in. The tables are made from po/*.po when the program is built: a key there is
/// an entry's context, and a text not translated yet stands here in English.
namespace i18n_data {

inline constexpr std::size_t KEY_COUNT = 76;
inline constexpr std::size_t LANG_COUNT = 44;

/// Sorted as bytes. A key's place is that of its text in the values of every language.
extern const char* const KEYS[KEY_COUNT];

struct LangEntry {
    const char* code;           ///< "de", "zh_TW"
    const char* native_name;    ///< the language's own name, UTF-8
    bool rtl;                   ///< written from right to left
    const char* const* values;  ///< KEY_COUNT texts, UTF-8; null would be a missing one
};

/// Sorted by code.
extern const LangEntry LANGS[LANG_COUNT];

}  // namespace i18n_data
