#pragma once

#include <glib.h>

#include <map>
#include <optional>
#include <string>

/// Sets or unsets (none) environment variables and puts them back at its end.
class ScopedEnvironment {
public:
    using Variables = std::map<std::string, std::optional<std::string>>;

    explicit ScopedEnvironment(const Variables& wanted) {
        for (const auto& [name, value] : wanted) {
            const char* const now = g_getenv(name.c_str());
            before_.emplace(name, now == nullptr ? std::nullopt : std::optional<std::string>(now));
        }
        apply(wanted);
    }
    ~ScopedEnvironment() { apply(before_); }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    static void apply(const Variables& variables) {
        for (const auto& [name, value] : variables) {
            if (value)
                g_setenv(name.c_str(), value->c_str(), TRUE);
            else
                g_unsetenv(name.c_str());
        }
    }

    Variables before_;
};
