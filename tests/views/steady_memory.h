#pragma once

#include <cstddef>

#include "allocated_bytes.h"
#include "laid_out_page.h"

/// Whether a page that is refreshed for days stays as large as it is.

#ifdef KORVALUNE_ADDRESS_SANITIZER
constexpr int kManyRefreshes = 1000;  // each of which takes many times as long
#else
constexpr int kManyRefreshes = 10'000;
#endif

/// How many bytes more the heap has after `kManyRefreshes` than after a tenth of them; caches are full by
/// then. `refresh` gets the number of the turn. Every hundredth is also laid out and drawn.
template <typename Refresh>
std::ptrdiff_t heapGrowth(const LaidOutPage& page, Refresh refresh) {
    const auto run = [&](int turns) {
        for (int turn = 0; turn < turns; ++turn) {
            refresh(turn);
            if (turn % 100 != 99) continue;
            page.layOut();
            page.draw();
        }
        return static_cast<std::ptrdiff_t>(allocatedBytes());
    };
    const std::ptrdiff_t before = run(kManyRefreshes / 10);
    return run(kManyRefreshes) - before;
}

/// What the toolkit's caches may make of it. The smallest block, lost at every refresh, would come to five
/// times as much.
constexpr std::ptrdiff_t kHeapNoise = 64 * 1024;
