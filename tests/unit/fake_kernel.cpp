#include "fake_kernel.h"

#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

FakeKernel& FakeKernel::file(std::string_view path, std::string_view content) {
    fs::create_directories(at(path).parent_path());
    std::ofstream out(at(path), std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!out.flush()) throw std::runtime_error("can't write " + at(path).string());
    return *this;
}

FakeKernel& FakeKernel::directory(std::string_view path) {
    fs::create_directories(at(path));
    return *this;
}

FakeKernel& FakeKernel::remove(std::string_view path) {
    fs::remove_all(at(path));
    return *this;
}

fs::path FakeKernel::at(std::string_view path) const {
    return dir_.path() / fs::path(path).relative_path();
}

std::string fixtureRoot(std::string_view machine) {
    return std::string(FIXTURES_DIR) + "/" + std::string(machine);
}
