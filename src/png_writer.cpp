#include "png_writer.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kSignature = "\x89PNG\r\n\x1a\n"sv;
constexpr std::string_view kEnd = "\0\0\0\0IEND\xae\x42\x60\x82"sv;
constexpr std::string_view kFormat = "\x08\x06\0\0\0"sv;  // 8 bits a channel, with alpha, not interlaced
constexpr std::size_t kFrameBytes = 8 + 25 + 12 + 12;     // all that surrounds the compressed pixels

std::uint8_t* putBytes(std::uint8_t* to, std::string_view bytes) {
    std::memcpy(to, bytes.data(), bytes.size());
    return to + bytes.size();
}

std::uint8_t* putNumber(std::uint8_t* to, std::uint32_t number) {
    for (int shift = 24; shift >= 0; shift -= 8)
        *to++ = static_cast<std::uint8_t>(number >> shift);
    return to;
}

/// The checksum of a chunk from its type, at `type`, to the end of its data, where it is put.
std::uint8_t* putChecksum(const std::uint8_t* type, std::uint8_t* end) {
    return putNumber(end, static_cast<std::uint32_t>(crc32_z(0, type, static_cast<std::size_t>(end - type))));
}

/// A premultiplied pixel 0xAARRGGBB as straight red, green, blue and alpha bytes, rounded as cairo does.
std::array<std::uint8_t, 4> straightened(std::uint32_t pixel) {
    const std::uint32_t alpha = pixel >> 24;
    if (alpha == 0) return {};
    const auto channel = [&](int shift) {
        const std::uint32_t premultiplied = pixel >> shift & 0xff;
        return static_cast<std::uint8_t>((premultiplied * 255 + alpha / 2) / alpha);
    };
    return {channel(16), channel(8), channel(0), static_cast<std::uint8_t>(alpha)};
}

std::size_t transparentPixels(const std::uint32_t* pixels, std::size_t room) {
    std::size_t n = 0;
    while (n < room && pixels[n] == 0)
        ++n;
    return n;
}

/// One row of the uncompressed image: its filter type, 0, then the pixels. Most of a panel image is empty.
std::uint8_t* putRow(std::uint8_t* to, const std::uint32_t* pixels, std::size_t width) {
    *to++ = 0;
    for (std::size_t x = 0; x < width;) {
        const std::size_t blank = transparentPixels(pixels + x, width - x);
        to = std::fill_n(to, 4 * blank, std::uint8_t{0});
        x += blank;
        for (; x < width && pixels[x] != 0; ++x, to += 4)
            std::memcpy(to, straightened(pixels[x]).data(), 4);
    }
    return to;
}

/// A descriptor of a file that did not exist before; -1 when there can be none.
int createNew(const char* path) {
    const auto create = [&] { return open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644); };
    const int fd = create();
    if (fd >= 0 || errno != EEXIST || unlink(path) != 0) return fd;
    return create();
}

bool writeAll(int fd, std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

bool isPlainArgb32(cairo_surface_t* surface) {
    return surface != nullptr && cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS &&
           cairo_surface_get_type(surface) == CAIRO_SURFACE_TYPE_IMAGE &&
           cairo_image_surface_get_format(surface) == CAIRO_FORMAT_ARGB32 &&
           cairo_image_surface_get_width(surface) > 0 && cairo_image_surface_get_height(surface) > 0 &&
           cairo_image_surface_get_stride(surface) == cairo_image_surface_get_width(surface) * 4;
}

}  // namespace

PngWriter::PngWriter() {
    auto stream = std::make_unique<z_stream>();
    if (deflateInit(stream.get(), Z_BEST_SPEED) == Z_OK) deflate_.reset(stream.release());
}

std::span<const std::uint8_t> PngWriter::encode(cairo_surface_t* surface) {
    if (!deflate_ || !isPlainArgb32(surface)) return {};
    cairo_surface_flush(surface);
    const auto width = static_cast<std::uint32_t>(cairo_image_surface_get_width(surface));
    const auto height = static_cast<std::uint32_t>(cairo_image_surface_get_height(surface));
    const auto* pixels = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(surface));
    rows_.resize(std::size_t{height} * (std::size_t{4} * width + 1));
    std::uint8_t* row = rows_.data();
    for (std::uint32_t y = 0; y < height; ++y)
        row = putRow(row, pixels + std::size_t{y} * width, width);

    const std::size_t room = deflateBound(deflate_.get(), static_cast<uLong>(rows_.size()));
    if (file_.size() < kFrameBytes + room) file_.resize(kFrameBytes + room);
    std::uint8_t* const header = putNumber(putBytes(file_.data(), kSignature), 13);
    std::uint8_t* to = putNumber(putNumber(putBytes(header, "IHDR"), width), height);
    std::uint8_t* const length = putChecksum(header, putBytes(to, kFormat));

    std::uint8_t* const data = putBytes(length + 4, "IDAT");
    const std::size_t compressed = compress(data, room);
    if (compressed == 0) return {};
    putNumber(length, static_cast<std::uint32_t>(compressed));
    to = putBytes(putChecksum(length + 4, data + compressed), kEnd);
    return {file_.data(), to};
}

std::size_t PngWriter::compress(std::uint8_t* to, std::size_t room) {
    deflateReset(deflate_.get());
    deflate_->next_in = rows_.data();
    deflate_->avail_in = static_cast<uInt>(rows_.size());
    deflate_->next_out = to;
    deflate_->avail_out = static_cast<uInt>(room);
    return deflate(deflate_.get(), Z_FINISH) == Z_STREAM_END ? deflate_->total_out : 0;
}

bool PngWriter::write(cairo_surface_t* surface, const std::string& path) {
    const auto bytes = encode(surface);
    if (bytes.empty()) return false;
    const int fd = createNew(path.c_str());
    if (fd < 0) return false;
    const bool whole = writeAll(fd, bytes);
    const bool closed = close(fd) == 0;
    if (whole && closed) return true;
    unlink(path.c_str());
    return false;
}
