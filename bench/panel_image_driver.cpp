// Makes a number of panel images in one way, for counting instructions: panel_image_driver WAY FRAMES

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "panel_ways.h"

namespace {

template <typename Way>
int run(unsigned frames) {
    Way way;
    std::size_t bytes = 0;
    for (unsigned frame = 0; frame < frames; ++frame)
        bytes += way.frame(panel_ways::stripAt(frame));
    std::printf("%zu\n", bytes / frames);
    return bytes > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

/// Only the drawing.
struct Draw {
    PanelImage image;
    std::size_t frame(const panel_ways::Strip& strip) {
        return image.draw(strip.segments, strip.cores, panel_ways::kMetrics) != nullptr;
    }
};

/// Only the strips, which all other ways make too.
struct Nothing {
    std::size_t frame(const panel_ways::Strip& strip) { return strip.segments.size(); }
};

}  // namespace

int main(int argc, char** argv) {
    const std::string_view way = argc == 3 ? argv[1] : "";
    const auto frames = static_cast<unsigned>(argc == 3 ? std::strtoul(argv[2], nullptr, 10) : 0);
    if (frames > 0) {
        if (way == "nothing") return run<Nothing>(frames);
        if (way == "plain") return run<panel_ways::Plain>(frames);
        if (way == "ours") return run<panel_ways::Ours>(frames);
        if (way == "draw") return run<Draw>(frames);
        if (way == "floor") return run<panel_ways::Floor>(frames);
    }
    std::fputs("usage: panel_image_driver nothing|plain|ours|draw|floor FRAMES\n", stderr);
    return EXIT_FAILURE;
}
