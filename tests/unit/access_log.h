#pragma once

#include <filesystem>
#include <map>
#include <string>

/// Counts how often the files of watched directories are opened, as the kernel itself reports it.
class AccessLog {
public:
    AccessLog();
    ~AccessLog();
    AccessLog(const AccessLog&) = delete;
    AccessLog& operator=(const AccessLog&) = delete;

    void watch(const std::filesystem::path& directory) const;

    /// Opened since the last call, by file name without its directory.
    std::map<std::string, int> take() const;

private:
    int fd_;
};
