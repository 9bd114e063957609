#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <span>

#include "cairo_handles.h"
#include "color.h"
#include "fuzz_target.h"
#include "icon_helper.h"
#include "png_writer.h"
#include "scoped_environment.h"
#include "temporary_directory.h"
#include "theme.h"

namespace {

using Pixbuf = std::unique_ptr<GdkPixbuf, FreeWith<g_object_unref>>;

constexpr std::size_t kSignatureBytes = 8;
constexpr std::size_t kChunkFrameBytes = 12;  // length, type, checksum

std::uint32_t bigEndian(std::string_view bytes) {
    std::uint32_t number = 0;
    for (const unsigned char byte : bytes.substr(0, 4))
        number = number << 8 | byte;
    return number;
}

/// A PNG file with its checksums made right, which no change by chance keeps: what lies behind them would
/// never be reached.
std::string withChecksums(std::string_view input) {
    std::string png(input);
    for (std::size_t at = kSignatureBytes; at + kChunkFrameBytes <= png.size();) {
        const std::size_t length = bigEndian(std::string_view(png).substr(at));
        if (length > png.size() - at - kChunkFrameBytes) break;
        const auto* type = reinterpret_cast<const Bytef*>(png.data()) + at + 4;
        auto checksum = static_cast<std::uint32_t>(crc32_z(0, type, length + 4));
        for (std::size_t i = at + 8 + length + 4; i-- > at + 8 + length; checksum >>= 8)
            png[i] = static_cast<char>(checksum);
        at += length + kChunkFrameBytes;
    }
    return png;
}

std::array<guchar, 3> darkTextColor() {
    std::array<double, 3> channels{};
    parseHex(Palette::dark_().text, channels[0], channels[1], channels[2]);
    std::array<guchar, 3> bytes{};
    std::ranges::transform(channels, bytes.begin(),
                           [](double channel) { return static_cast<guchar>(std::lround(channel * 255)); });
    return bytes;
}

void checkPainted(GdkPixbuf* picture) {
    const auto wanted = darkTextColor();
    const guchar* const pixels = gdk_pixbuf_get_pixels(picture);
    for (int y = 0; y < gdk_pixbuf_get_height(picture); ++y) {
        for (int x = 0; x < gdk_pixbuf_get_width(picture); ++x) {
            const auto* pixel =
                pixels + std::ptrdiff_t{y} * gdk_pixbuf_get_rowstride(picture) + std::ptrdiff_t{4} * x;
            require(std::equal(wanted.begin(), wanted.end(), pixel), "a dark look's images have its colour");
        }
    }
}

/// The picture named "input"; whether it follows the look is stored.
Pixbuf makeIcon(bool dark, bool& recolorable) {
    set_active_dark(dark);
    Pixbuf picture(makeIconPixbuf("input", &recolorable));
    require(picture || !recolorable, "what is no picture follows no look");
    if (!picture) return picture;
    const int width = gdk_pixbuf_get_width(picture.get());
    const int height = gdk_pixbuf_get_height(picture.get());
    require(width > 0 && width <= 1024 && height > 0 && height <= 1024, "a picture is of a sensible size");
    return picture;
}

/// What cairo's reader makes of a PNG file's bytes.
CairoSurface decoded(std::span<const std::uint8_t> png) {
    const auto take = [](void* from, unsigned char* data, unsigned length) {
        auto& rest = *static_cast<std::span<const std::uint8_t>*>(from);
        if (rest.size() < length) return CAIRO_STATUS_READ_ERROR;
        std::copy_n(rest.begin(), length, data);
        rest = rest.subspan(length);
        return CAIRO_STATUS_SUCCESS;
    };
    return CairoSurface(cairo_image_surface_create_from_png_stream(take, &png));
}

std::vector<std::uint8_t> cairosPng(cairo_surface_t* image) {
    std::vector<std::uint8_t> png;
    const auto append = [](void* to, const unsigned char* data, unsigned length) {
        auto& bytes = *static_cast<std::vector<std::uint8_t>*>(to);
        bytes.insert(bytes.end(), data, data + length);
        return CAIRO_STATUS_SUCCESS;
    };
    cairo_surface_write_to_png_stream(image, append, &png);
    return png;
}

std::span<const std::uint8_t> bytesOf(cairo_surface_t* image) {
    return {cairo_image_surface_get_data(image),
            static_cast<std::size_t>(cairo_image_surface_get_stride(image)) *
                static_cast<std::size_t>(cairo_image_surface_get_height(image))};
}

/// An image as wide as the input's first byte says, whose other bytes are its premultiplied pixels.
CairoSurface imageOf(std::string_view input) {
    const int width = 1 + static_cast<unsigned char>(input.front());
    input.remove_prefix(1);
    const int height = std::clamp(static_cast<int>(input.size() / 4) / width, 1, 64);
    CairoSurface image(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
    auto* const pixels = reinterpret_cast<std::uint32_t*>(cairo_image_surface_get_data(image.get()));
    const std::size_t count = std::min(input.size() / 4, std::size_t(width) * std::size_t(height));
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, input.data() + 4 * i, 4);
        const std::uint32_t alpha = pixel >> 24;
        pixels[i] = alpha << 24;
        for (const int shift : {0, 8, 16})
            pixels[i] |= std::min(pixel >> shift & 0xff, alpha) << shift;
    }
    cairo_surface_mark_dirty(image.get());
    return image;
}

}  // namespace

/// An image file of the pages.
FUZZ_TARGET(icon_png) {
    static const TemporaryDirectory package;
    static const ScopedEnvironment environment({{"SNAP", std::nullopt}, {"APPDIR", package.path().string()}});
    writeFile(package / "usr/share/korvalune/icons/input.png", withChecksums(input));
    bool follows = false;
    bool dark_follows = false;
    const Pixbuf light = makeIcon(false, follows);
    const Pixbuf dark = makeIcon(true, dark_follows);
    require(!light == !dark && follows == dark_follows, "both looks have the same pictures");
    if (dark_follows) checkPainted(dark.get());
}

/// A picture of the panel.
FUZZ_TARGET(png_writer) {
    if (input.empty()) return;
    static PngWriter writer;
    const CairoSurface image = imageOf(input);
    const auto png = writer.encode(image.get());
    require(!png.empty(), "every picture can be written");
    const CairoSurface ours = decoded(png);
    const CairoSurface cairos = decoded(cairosPng(image.get()));
    require(cairo_surface_status(ours.get()) == CAIRO_STATUS_SUCCESS, "what is written can be read");
    require(std::ranges::equal(bytesOf(ours.get()), bytesOf(cairos.get())), "the pixels are cairo's");
}
