#pragma once

#include "scoped_environment.h"
#include "temporary_directory.h"

/// An empty home directory that the environment names, for as long as the object lives.
class UserHome {
public:
    std::filesystem::path operator/(std::string_view name) const { return home_ / name; }
    const std::filesystem::path& path() const { return home_.path(); }

    /// The settings file's directory, made by the first save.
    std::filesystem::path config() const { return home_ / ".config/Korvalune"; }

private:
    TemporaryDirectory home_;
    ScopedEnvironment environment_{
        ScopedEnvironment::Variables{{"HOME", home_.path().string()}, {"XDG_CONFIG_HOME", std::nullopt}}};
};
