#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "cairo_handles.h"

/// The pixel 0xAARRGGBB, premultiplied, of an ARGB32 image.
inline std::uint32_t pixelAt(cairo_surface_t* image, int x, int y) {
    std::uint32_t pixel = 0;
    std::memcpy(&pixel,
                cairo_image_surface_get_data(image) + y * cairo_image_surface_get_stride(image) + 4 * x,
                sizeof pixel);
    return pixel;
}

inline testing::AssertionResult samePixels(cairo_surface_t* a, cairo_surface_t* b) {
    if (a == nullptr || b == nullptr) {
        if (a == b) return testing::AssertionSuccess();
        return testing::AssertionFailure() << (a ? "only the first" : "only the second") << " is there";
    }
    const int width = cairo_image_surface_get_width(a);
    const int height = cairo_image_surface_get_height(a);
    if (width != cairo_image_surface_get_width(b) || height != cairo_image_surface_get_height(b))
        return testing::AssertionFailure()
               << width << "x" << height << " against " << cairo_image_surface_get_width(b) << "x"
               << cairo_image_surface_get_height(b);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            if (pixelAt(a, x, y) != pixelAt(b, x, y))
                return testing::AssertionFailure()
                       << "pixel " << x << "," << y << " of " << width << "x" << height << ": " << std::hex
                       << pixelAt(a, x, y) << " against " << pixelAt(b, x, y);
    return testing::AssertionSuccess();
}

/// What cairo's PNG writer makes of the picture.
inline std::vector<std::uint8_t> cairoPng(cairo_surface_t* surface) {
    std::vector<std::uint8_t> png;
    const auto append = [](void* to, const unsigned char* data, unsigned length) {
        auto& bytes = *static_cast<std::vector<std::uint8_t>*>(to);
        bytes.insert(bytes.end(), data, data + length);
        return CAIRO_STATUS_SUCCESS;
    };
    EXPECT_EQ(cairo_surface_write_to_png_stream(surface, append, &png), CAIRO_STATUS_SUCCESS);
    return png;
}

/// What cairo's PNG reader makes of the bytes.
inline CairoSurface decodePng(std::span<const std::uint8_t> png) {
    const auto take = [](void* from, unsigned char* data, unsigned length) {
        auto& rest = *static_cast<std::span<const std::uint8_t>*>(from);
        if (rest.size() < length) return CAIRO_STATUS_READ_ERROR;
        std::memcpy(data, rest.data(), length);
        rest = rest.subspan(length);
        return CAIRO_STATUS_SUCCESS;
    };
    CairoSurface surface(cairo_image_surface_create_from_png_stream(take, &png));
    EXPECT_EQ(cairo_surface_status(surface.get()), CAIRO_STATUS_SUCCESS);
    EXPECT_TRUE(png.empty()) << png.size() << " bytes behind the end";
    return surface;
}
