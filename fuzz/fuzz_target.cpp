#include "fuzz_target.h"

#include <glib.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace {

std::map<std::string_view, FuzzTarget::Run>& targets() {
    static std::map<std::string_view, FuzzTarget::Run> all;
    return all;
}

FuzzTarget::Run g_chosen = nullptr;

}  // namespace

FuzzTarget::FuzzTarget(std::string_view name, Run run) {
    targets().emplace(name, run);
}

FuzzTarget::Run FuzzTarget::find(std::string_view name) {
    const auto found = targets().find(name);
    return found != targets().end() ? found->second : nullptr;
}

std::vector<std::string_view> FuzzTarget::names() {
    std::vector<std::string_view> names;
    for (const auto& [name, run] : targets())
        names.push_back(name);
    return names;
}

void require(bool holds, const char* promise) {
    if (holds) return;
    std::fprintf(stderr, "Broken promise: %s\n", promise);
    std::abort();
}

bool isUtf8(std::string_view text) {
    return g_utf8_validate_len(text.data(), text.size(), nullptr);
}

bool isWithin(double figure, double least, double most) {
    return std::isfinite(figure) && figure >= least && figure <= most;
}

std::vector<std::string_view> textsOf(std::string_view input) {
    std::vector<std::string_view> texts;
    for (;;) {
        const std::size_t end = input.find(kNextText);
        texts.push_back(input.substr(0, end));
        if (end == std::string_view::npos) return texts;
        input.remove_prefix(end + kNextText.size());
    }
}

std::string_view textAt(const std::vector<std::string_view>& texts, std::size_t index) {
    return index < texts.size() ? texts[index] : std::string_view("");
}

FakeKernel& fakeKernel() {
    static FakeKernel kernel;
    return kernel;
}

// The names that libFuzzer calls.

/// Without a target it lists them.
extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments) {
    constexpr std::string_view kOption = "--target=";
    for (int i = 1; i < *count; ++i) {
        const std::string_view argument = (*arguments)[i];
        if (argument.starts_with(kOption)) g_chosen = FuzzTarget::find(argument.substr(kOption.size()));
    }
    if (g_chosen) return 0;
    for (const std::string_view name : FuzzTarget::names())
        std::printf("%.*s\n", static_cast<int>(name.size()), name.data());
    std::exit(*count > 1 ? 2 : 0);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    g_chosen({reinterpret_cast<const char*>(data), size});
    return 0;
}
