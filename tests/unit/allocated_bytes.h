#pragma once

#include <malloc.h>

#include <cstddef>

// GCC and Clang each have their own sign that the address sanitizer is at work.
#if defined(__SANITIZE_ADDRESS__)
#define KORVALUNE_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KORVALUNE_ADDRESS_SANITIZER
#endif
#endif

#ifdef KORVALUNE_ADDRESS_SANITIZER
// Not every compiler's package brings the header that declares it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

/// What the whole program has allocated and not given back.
inline std::size_t allocatedBytes() {
#ifdef KORVALUNE_ADDRESS_SANITIZER
    return __sanitizer_get_current_allocated_bytes();
#else
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
#endif
}
