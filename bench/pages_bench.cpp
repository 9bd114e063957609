// How long the popup keeps the main loop from everything else: a refresh of its fullest pages (bringing the
// widgets up to date, laying them out and drawing the whole window), and the way from a click on a menu entry
// to the painted page. Refreshes are drawn into an image, so that the work lies here and not in the X server,
// and CPU time is counted, which waiting for other programs does not lengthen. The limits are frames of the
// screen, one for a refresh and three for opening: what takes longer is seen as a stutter.

#include <benchmark/benchmark.h>
#include <gtk/gtk.h>
#include <time.h>

#include <algorithm>
#include <string>
#include <vector>

#include "cairo_handles.h"
#include "cpu_view.h"
#include "gpu_view.h"
#include "l10n.h"
#include "popup_window.h"
#include "process_view.h"
#include "ratio.h"

namespace {

constexpr double kFrameSeconds = 0.016;
constexpr double kOpeningSeconds = 0.05;  ///< three frames
constexpr std::size_t kProcesses = 20;    // as many as there are at most

double cpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

/// A page in a window on the screen.
class ShownPage {
public:
    ShownPage(GtkWidget* page, int width) : window_(gtk_window_new(GTK_WINDOW_POPUP)) {
        gtk_window_set_default_size(GTK_WINDOW(static_cast<GtkWidget*>(window_)), width, -1);
        gtk_container_add(GTK_CONTAINER(static_cast<GtkWidget*>(window_)), page);
        gtk_widget_show_all(window_);
    }

    /// Waits until the window is as large as the page wants it and gets ready to
    /// draw it.
    void settle() {
        int height = 0;
        gtk_widget_get_preferred_height(window_, nullptr, &height);
        while (gtk_widget_get_allocated_height(window_) < height)
            g_main_context_iteration(nullptr, TRUE);
        surface_.reset(cairo_image_surface_create(CAIRO_FORMAT_RGB24, gtk_widget_get_allocated_width(window_),
                                                  gtk_widget_get_allocated_height(window_)));
    }

    void layOutAndDraw() {
        gtk_container_check_resize(GTK_CONTAINER(static_cast<GtkWidget*>(window_)));
        const CairoContext context(cairo_create(surface_.get()));
        gtk_widget_draw(window_, context.get());
    }

private:
    OwnedWidget window_;
    CairoSurface surface_;
};

/// Times refreshes of a page in a window of this width.
void refreshes(benchmark::State& state, GtkWidget* page, int width, auto&& refresh) {
    ShownPage shown(page, width);
    refresh();
    shown.settle();
    std::vector<double> all;
    double updating = 0;
    for ([[maybe_unused]] auto _ : state) {
        const double begin = cpuSeconds();
        refresh();
        const double updated = cpuSeconds();
        shown.layOutAndDraw();
        all.push_back(cpuSeconds() - begin);
        updating += updated - begin;
        state.SetIterationTime(all.back());
    }
    const auto median = all.begin() + static_cast<std::ptrdiff_t>(all.size() / 2);
    std::ranges::nth_element(all, median);
    state.counters["update"] = benchmark::Counter(updating, benchmark::Counter::kAvgIterations);
    reportRatio(state, *median / kFrameSeconds, 1.0);
}

void cpuPage(benchmark::State& state) {
    SystemInfo info(FIXTURES_DIR "/server-128core");
    info.core_usages.assign(static_cast<std::size_t>(state.range(0)), {});
    info.cpu_temperature = 57;
    CPUView view(info);
    int turn = 0;
    refreshes(state, view.container(), 420, [&] {
        ++turn;
        int id = 0;
        for (CoreUsage& core : info.core_usages) {
            core = {.id = id, .usage = static_cast<double>((id * 37 + turn * 11) % 101), .perfLevel = id % 2};
            ++id;
        }
        view.update();
    });
}
BENCHMARK(cpuPage)->Arg(8)->Arg(128)->Arg(256)->UseManualTime()->Unit(benchmark::kMillisecond);

void gpuPage(benchmark::State& state) {
    SystemInfo info(FIXTURES_DIR "/gpu-two");
    GPUUsage gpu{64, 32, 16, "AMD Radeon RX 7900 XTX", {}};
    gpu.processes.assign(7, GPUProcessUsage{1234, "compositor", 512});
    info.gpu_usages.assign(3, gpu);
    GPUView view(info);
    refreshes(state, view.container(), 420, [&] {
        for (GPUUsage& each : info.gpu_usages)
            each.utilization = (each.utilization + 11) % 101;
        view.update();
    });
}
BENCHMARK(gpuPage)->UseManualTime()->Unit(benchmark::kMillisecond);

void processPage(benchmark::State& state) {
    SystemInfo info(FIXTURES_DIR "/process-tree-desktop");
    ProcessView view(info, false);
    int turn = 0;
    refreshes(state, view.container(), 520, [&] {
        ++turn;
        info.top_processes.assign(kProcesses, {});
        int pid = 1000;
        for (ProcessUsage& process : info.top_processes) {
            process.pid = ++pid;
            process.name = "process-" + std::to_string(pid);
            process.cpu_usage = (pid * 37 + turn * 11) % 101;
        }
        view.rebuildList();
    });
}
BENCHMARK(processPage)->UseManualTime()->Unit(benchmark::kMillisecond);

GtkWidget* mappedToplevel() {
    GtkWidget* found = nullptr;
    GList* const windows = gtk_window_list_toplevels();
    for (const GList* entry = windows; entry != nullptr; entry = entry->next) {
        if (gtk_widget_get_mapped(GTK_WIDGET(entry->data))) found = GTK_WIDGET(entry->data);
    }
    g_list_free(windows);
    return found;
}

/// Runs the main loop until the window has been painted once.
void waitForPaint(GtkWidget* window) {
    bool painted = false;
    GdkFrameClock* const clock = gtk_widget_get_frame_clock(window);
    const gulong handler = g_signal_connect_swapped(clock, "after-paint",
                                                    G_CALLBACK(+[](bool* done) { *done = true; }), &painted);
    while (!painted)
        g_main_context_iteration(nullptr, TRUE);
    g_signal_handler_disconnect(clock, handler);
}

void reportOpening(benchmark::State& state, std::vector<double>& all) {
    const auto median = all.begin() + static_cast<std::ptrdiff_t>(all.size() / 2);
    std::ranges::nth_element(all, median);
    reportRatio(state, *median / kOpeningSeconds, 1.0);
}

/// From a click on a menu entry to the painted page, without the samples that the page asks for.
void openPage(benchmark::State& state) {
    const bool processes = state.range(0) == 2;
    SystemInfo info(processes ? FIXTURES_DIR "/process-tree-desktop" : FIXTURES_DIR "/server-128core");
    Settings settings;
    PopupWindow popup(info, settings);
    const int tab = static_cast<int>(state.range(0));
    std::vector<double> all;
    for ([[maybe_unused]] auto _ : state) {
        popup.hide();
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
        const double before = cpuSeconds();
        if (tab == 1) info.loadGPUProcesses();
        info.active_tab = processes ? "processes" : "cpu";
        info.updateSlow();
        const double begin = cpuSeconds();
        popup.showTab(tab, 640, 10);
        waitForPaint(mappedToplevel());
        all.push_back(cpuSeconds() - begin - (begin - before));
        state.SetIterationTime(std::max(0.0, all.back()));
    }
    reportOpening(state, all);
}
BENCHMARK(openPage)->Arg(0)->Arg(1)->Arg(2)->Arg(4)->UseManualTime()->Unit(benchmark::kMillisecond);

/// The first click of a session, which builds the window and all its pages before.
void openFirstPage(benchmark::State& state) {
    SystemInfo info(FIXTURES_DIR "/server-128core");
    Settings settings;
    std::vector<double> all;
    for ([[maybe_unused]] auto _ : state) {
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
        const double begin = cpuSeconds();
        PopupWindow popup(info, settings);
        popup.showTab(0, 640, 10);
        waitForPaint(mappedToplevel());
        all.push_back(cpuSeconds() - begin);
        state.SetIterationTime(all.back());
    }
    reportOpening(state, all);
}
BENCHMARK(openFirstPage)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    gtk_init(&argc, &argv);
    L10n::init();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
