#include "fake_programs.h"

#include <fcntl.h>
#include <sys/wait.h>

#include <cerrno>
#include <fstream>

namespace fs = std::filesystem;

FakePrograms& FakePrograms::script(std::string_view name, std::string_view body) {
    std::string text = "#!/bin/sh\nPATH=/usr/bin:/bin\ncd '" + path() + "'\n";
    text.append("echo \"").append(name).append(" $*\" >>.runs\n").append(body).append("\n");
    return file(name, text);
}

FakePrograms& FakePrograms::file(std::string_view name, std::string_view content, bool executable) {
    // A new file each time: one that is still running can't be written.
    directory_.remove(name).file(name, content);
    fs::permissions(directory_.at(name), executable ? fs::perms::owner_all : fs::perms::owner_read);
    return *this;
}

FakePrograms& FakePrograms::remove(std::string_view name) {
    directory_.remove(name);
    return *this;
}

std::vector<std::string> FakePrograms::runs() const {
    std::vector<std::string> lines;
    std::ifstream in(directory_.at(".runs"));
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

void FakePrograms::forgetRuns() {
    directory_.remove(".runs");
}

bool FakePrograms::exists(std::string_view name) const {
    return fs::exists(directory_.at(name));
}

bool hasChildren() {
    siginfo_t ended{};
    return waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
}

std::set<int> openDescriptors() {
    std::set<int> open;
    for (int fd = 0; fd < 1024; ++fd) {
        if (fcntl(fd, F_GETFD) >= 0) open.insert(fd);
    }
    return open;
}
