#pragma once

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>

#include "forked_child.h"

/// Lets this process mount what no other one sees; users other than root become one to themselves for it.
inline bool enterOwnMounts() {
    if (unshare(CLONE_NEWNS) != 0) {
        const std::string user = std::to_string(geteuid());
        const std::string group = std::to_string(getegid());
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
        std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
        if (geteuid() != 0) return false;
    }
    return mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0;
}

/// Runs a part of a test in a process of its own (see passesInChild()) that may mount what no other one sees.
/// None when the machine does not permit that.
inline std::optional<bool> passesWithOwnMounts(const std::function<void()>& part) {
    return passesInChildAfter(enterOwnMounts, part);
}

/// Puts an empty disk in a directory's place. For use in passesWithOwnMounts().
inline void mountEmptyDisk(const std::filesystem::path& place, const char* options) {
    ASSERT_EQ(mount("tmpfs", place.c_str(), "tmpfs", 0, options), 0);
}
