#include "gpu_clients.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "kernel_file.h"
#include "kernel_text.h"
#include "process_record.h"

namespace {

constexpr std::size_t kMostClients = 10;

struct ProcVram {
    int pid = 0;
    std::string name;
    std::uint64_t kb = 0;  ///< KiB of VRAM and GTT
};

/// "drm-memory-vram:	512 KiB" with the key "drm-memory-vram:".
void readAmount(std::string_view line, std::string_view key, std::optional<std::uint64_t>& kib) {
    if (!line.starts_with(key)) return;
    std::uint64_t value = 0;
    if (FieldScanner(line.substr(key.size())).number(value)) kib = value;
}

std::uint64_t saturatedSum(std::uint64_t a, std::uint64_t b) {
    return b > std::numeric_limits<std::uint64_t>::max() - a ? std::numeric_limits<std::uint64_t>::max()
                                                             : a + b;
}

/// The memory (KiB) of the first DRM client among a process's descriptors, 0 without one.
std::uint64_t firstClientMemory(const std::string& process, std::string& buffer) {
    KernelDirectory descriptors(process + "/fd");
    const KernelDirectory details(process + "/fdinfo");
    while (const char* const descriptor = descriptors.next()) {
        if (*descriptor == '.') continue;
        const auto text = details.read(descriptor, buffer);
        if (!text) continue;
        if (const auto kib = parseDrmMemory(*text)) return *kib;
    }
    return 0;
}

std::string nameOf(const std::string& process, const char* entry) {
    const auto comm = readKernelFile(process + "/comm");
    std::string_view line;
    if (comm) LineScanner(*comm).next(line);
    return line.empty() ? std::string(entry) : std::string(line);
}

}  // namespace

std::optional<std::uint64_t> parseDrmMemory(std::string_view fdinfo) {
    std::optional<std::uint64_t> vram;
    std::optional<std::uint64_t> gtt;
    LineScanner lines(fdinfo);
    for (std::string_view line; lines.next(line);) {
        readAmount(line, "drm-memory-vram:", vram);
        readAmount(line, "drm-memory-gtt:", gtt);
    }
    if (!vram && !gtt) return std::nullopt;
    return saturatedSum(vram.value_or(0), gtt.value_or(0));
}

std::vector<GPUProcessUsage> findGpuClients(std::string_view root) {
    std::vector<ProcVram> clients;
    const std::string proc = kernelPath(root, "/proc");
    std::string buffer;
    KernelDirectory processes(proc);
    while (const char* const entry = processes.next()) {
        const auto pid = parsePid(entry);
        if (!pid) continue;
        const std::string process = proc + "/" + entry;
        const std::uint64_t kib = firstClientMemory(process, buffer);
        if (kib > 0) clients.push_back({*pid, nameOf(process, entry), kib});
    }

    std::stable_sort(clients.begin(), clients.end(),
                     [](const ProcVram& a, const ProcVram& b) { return a.kb > b.kb; });
    if (clients.size() > kMostClients) clients.resize(kMostClients);
    std::vector<GPUProcessUsage> usages;
    usages.reserve(clients.size());
    for (ProcVram& client : clients)
        usages.push_back({client.pid, std::move(client.name), client.kb >> 10});
    return usages;
}
