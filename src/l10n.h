#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The texts of the program, by key, in the language chosen at start or in the settings. All tables are
/// compiled in; main thread only. Nothing may be translated before init().
namespace L10n {

struct LanguageInfo {
    std::string code;         ///< "de", "zh_TW"
    std::string native_name;  ///< the language's own name, UTF-8
    bool rtl = false;         ///< written from right to left
};

/// Chooses the language from the environment.
void init();

/// Chooses a language by its code; "auto" or the empty text choose from the environment (LANGUAGE, LC_ALL,
/// LC_MESSAGES, LANG; English when none of these names a language there is), an unknown code English. Texts
/// already shown are not changed.
void setLanguage(const std::string& code);

/// The code of the language in effect.
std::string currentLanguage();

/// The text for `key`, or the key itself when there is no such text.
std::string tr(const char* key);

/// The same with the text's "%s" and "%d" filled in. What exceeds 511 bytes is cut off at a character's
/// border, so that a process's hostile name makes no endless dialog; a key that is returned itself is whole.
std::string tr(const char* key, const std::string& s);
std::string tr(const char* key, int n);
std::string tr(const char* key, const std::string& s, int n);

/// Whether the language in effect is written from right to left.
bool isRTL();

/// The font family the interface uses in the language in effect: "monospace", or "sans-serif" for scripts
/// whose monospace fonts are poor or missing.
const char* uiFontFamily();

/// All languages in the order in which the settings list them.
std::vector<LanguageInfo> available();

/// For tr(): the compiled-in text for `key` in the language in effect, or null. Allocates nothing.
const char* lookup(std::string_view key);

}  // namespace L10n
