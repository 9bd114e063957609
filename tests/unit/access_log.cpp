#include "access_log.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

AccessLog::AccessLog() : fd_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (fd_ < 0) throw std::runtime_error("no inotify instance");
}

AccessLog::~AccessLog() {
    close(fd_);
}

void AccessLog::watch(const std::filesystem::path& directory) const {
    if (inotify_add_watch(fd_, directory.c_str(), IN_OPEN) < 0)
        throw std::runtime_error("can't watch " + directory.string());
}

std::map<std::string, int> AccessLog::take() const {
    std::map<std::string, int> opened;
    alignas(inotify_event) std::array<char, 65536> bytes{};
    for (ssize_t got = 0; (got = read(fd_, bytes.data(), bytes.size())) > 0;) {
        for (const char* at = bytes.data(); at < bytes.data() + got;) {
            const auto* event = reinterpret_cast<const inotify_event*>(at);
            if (event->mask & IN_Q_OVERFLOW) throw std::runtime_error("more was opened than can be counted");
            if (event->len > 0) opened[event->name]++;
            at += sizeof(inotify_event) + event->len;
        }
    }
    return opened;
}
