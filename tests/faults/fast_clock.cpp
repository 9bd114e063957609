// Preloaded into the program, it lets a month pass within an hour, or the clocks jump.
//
// Time runs `factor` times as fast while the main loop waits, and at its natural pace while the program
// works: only the waits of the main thread's default context are shortened. Waiting for others stays as it
// is, be it a D-Bus call made synchronously, which GLib awaits in a context of its own, or a started program.
// Their limits would otherwise run out before anybody could have answered.
//
// The file named by FAST_CLOCK holds one `Control`, which a test changes while the program runs.

#include <dlfcn.h>
#include <fcntl.h>
#include <glib.h>
#include <malloc.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>

namespace {

using Nanoseconds = std::int64_t;

constexpr Nanoseconds kSecond = 1'000'000'000;
constexpr Nanoseconds kMillisecond = 1'000'000;

struct Control {
    std::atomic<double> factor;                 ///< up to 1 waits last as long as they do
    std::atomic<Nanoseconds> monotonic_offset;  ///< added to CLOCK_MONOTONIC, and so on
    std::atomic<Nanoseconds> boottime_offset;
    std::atomic<Nanoseconds> wall_offset;
    std::atomic<Nanoseconds> skipped;  ///< written by the program: what shortened waits added to all clocks
    std::atomic<std::int64_t> heap;    ///< written at each wait that is not shortened: bytes in use
};

Control still{};
Control* control = &still;

using ClockGetTime = int (*)(clockid_t, timespec*);

ClockGetTime realClock() {
    static const auto real = reinterpret_cast<ClockGetTime>(dlsym(RTLD_NEXT, "clock_gettime"));
    return real;
}

Nanoseconds realMonotonic() {
    timespec now{};
    realClock()(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kSecond + now.tv_nsec;
}

/// How far a clock is ahead of the real one; none of the processor time clocks is.
Nanoseconds ahead(clockid_t clock) {
    switch (clock) {
        case CLOCK_MONOTONIC:
        case CLOCK_MONOTONIC_RAW:
        case CLOCK_MONOTONIC_COARSE:
            return control->skipped + control->monotonic_offset;
        case CLOCK_BOOTTIME:
            return control->skipped + control->boottime_offset;
        case CLOCK_REALTIME:
        case CLOCK_REALTIME_COARSE:
            return control->skipped + control->wall_offset;
        default:
            return 0;
    }
}

std::int64_t heapBytes() {
    const auto heap = mallinfo2();
    return static_cast<std::int64_t>(heap.uordblks + heap.hblkhd);
}

/// GLib's poll function of the default context; `timeout` in milliseconds, negative for none.
gint waitFaster(GPollFD* files, guint count, gint timeout) {
    const double factor = control->factor;
    if (factor <= 1) control->heap = heapBytes();
    if (timeout <= 0 || factor <= 1) return g_poll(files, count, timeout);
    const Nanoseconds whole = timeout * kMillisecond;
    const auto shortened = static_cast<Nanoseconds>(static_cast<double>(whole) / factor);
    const timespec limit{shortened / kSecond, shortened % kSecond};
    const Nanoseconds before = realMonotonic();
    const int ready = ppoll(reinterpret_cast<pollfd*>(files), count, &limit, nullptr);
    const Nanoseconds waited = realMonotonic() - before;
    const auto felt = ready == 0 ? whole : static_cast<Nanoseconds>(static_cast<double>(waited) * factor);
    control->skipped += std::max<Nanoseconds>(std::min(felt, whole) - waited, 0);
    return ready;
}

__attribute__((constructor)) void takeOver() {
    unsetenv("LD_PRELOAD");  // programs started from here keep the real time
    const char* const path = getenv("FAST_CLOCK");
    const int file = path ? open(path, O_RDWR | O_CLOEXEC) : -1;
    if (file < 0) return;
    void* const memory = mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (memory == MAP_FAILED) return;
    control = static_cast<Control*>(memory);
    g_main_context_set_poll_func(nullptr, waitFaster);
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept {
    const int result = realClock()(clock, now);
    if (result != 0) return result;
    const Nanoseconds shifted = now->tv_sec * kSecond + now->tv_nsec + ahead(clock);
    now->tv_sec = shifted / kSecond;
    now->tv_nsec = shifted % kSecond;
    return 0;
}

int gettimeofday(timeval* now, void* /*zone*/) noexcept {
    timespec precise{};
    clock_gettime(CLOCK_REALTIME, &precise);
    now->tv_sec = precise.tv_sec;
    now->tv_usec = precise.tv_nsec / 1000;
    return 0;
}

time_t time(time_t* result) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result) *result = now.tv_sec;
    return now.tv_sec;
}
}
