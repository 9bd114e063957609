#include <benchmark/benchmark.h>

#include <algorithm>

#include "panel_ways.h"
#include "ratio.h"

namespace {

constexpr unsigned kFrames = 200;
constexpr double kLimit = 0.4;  // bench/panel_image_callgrind is the exact measure

template <typename Way>
void runFrames(Way& way, const std::vector<panel_ways::Strip>& strips) {
    for (const auto& strip : strips)
        benchmark::DoNotOptimize(way.frame(strip));
}

template <typename Way>
double fastestSeconds(Way& way, const std::vector<panel_ways::Strip>& strips) {
    double fastest = 1e9;
    for (int round = 0; round < 5; ++round) {
        fastest = std::min(fastest, secondsOf([&] { runFrames(way, strips); }));
    }
    return fastest;
}

/// One frame a turn, in multiples of the plain way.
template <typename Way>
void panelFrame(benchmark::State& state) {
    const auto strips = panel_ways::strips(0, kFrames);
    Way way;
    panel_ways::Plain plain;
    reportRatio(state, fastestSeconds(way, strips) / fastestSeconds(plain, strips), kLimit);
    state.counters["bytes"] = static_cast<double>(way.frame(strips[0]));
    std::size_t next = 0;
    while (state.KeepRunning())
        benchmark::DoNotOptimize(way.frame(strips[next++ % strips.size()]));
}
BENCHMARK(panelFrame<panel_ways::Ours>);

void panelEncode(benchmark::State& state) {
    PanelImage image;
    PngWriter png;
    const panel_ways::Strip strip = panel_ways::stripAt(1);
    cairo_surface_t* surface = image.draw(strip.segments, strip.cores, panel_ways::kMetrics);
    while (state.KeepRunning())
        benchmark::DoNotOptimize(png.encode(surface).data());
}
BENCHMARK(panelEncode);

}  // namespace
