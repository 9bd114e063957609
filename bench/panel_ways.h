#pragma once

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "../tests/unit/plain_panel_image.h"
#include "png_writer.h"

/// Ways to make the panel's PNG file, for comparison.
namespace panel_ways {

inline constexpr PanelMetrics kMetrics{.height = 28, .font_size = 11};

struct Strip {
    std::vector<LabelSegment> segments;
    std::vector<CoreUsage> cores;
};

inline std::string padded(const std::string& text, std::size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

inline std::string tenths(unsigned value) {
    return std::to_string(value / 10) + "." + std::to_string(value % 10);
}

/// What a panel shows at the `frame`th refresh: some figures change each time, some seldom, and most come
/// back.
inline Strip stripAt(unsigned frame) {
    Strip strip;
    const std::string up = padded(tenths(frame * 71 % 997), 4);
    const std::string down = padded(std::to_string(frame * 131 % 999), 4);
    strip.segments = {
        {"CPU:", std::to_string(3 + frame * 37 % 31) + "%", "#33CC33"},
        {"", std::string(kBarMarker), "#33CC33"},
        {"", std::to_string(45 + frame * 7 % 20) + "°C", "#FFA500"},
        {"GPU:", std::to_string(frame * 13 % 17) + "%", "#CC66FF"},
        {"NET:", "↑" + up + "K ↓" + down + "K", "#00CCCC"},
        {"MEM:", tenths(50 + frame / 7 % 20) + "G/ 15G", "#FFCC00"},
        {"SWP:", "0M", "#FF6666"},
    };
    for (unsigned i = 0; i < 8; ++i) {
        strip.cores.push_back({.id = static_cast<int>(i),
                               .usage = frame * (31 + i * 7) % 1000 / 10.0,
                               .perfLevel = static_cast<int>(i % 2)});
    }
    return strip;
}

/// Strips made beforehand, so that only drawing and encoding are measured.
inline std::vector<Strip> strips(unsigned first, unsigned count) {
    std::vector<Strip> made;
    for (unsigned frame = first; frame < first + count; ++frame)
        made.push_back(stripAt(frame));
    return made;
}

/// Everything afresh, and cairo's PNG writer.
class Plain {
public:
    std::size_t frame(const Strip& strip) {
        const CairoSurface surface = image_.draw(strip.segments, strip.cores, kMetrics);
        std::size_t size = 0;
        const auto count = [](void* total, const unsigned char*, unsigned length) {
            *static_cast<std::size_t*>(total) += length;
            return CAIRO_STATUS_SUCCESS;
        };
        cairo_surface_write_to_png_stream(surface.get(), count, &size);
        return size;
    }

private:
    PlainPanelImage image_;
};

/// What the program does.
class Ours {
public:
    std::size_t frame(const Strip& strip) {
        return png_.encode(image_.draw(strip.segments, strip.cores, kMetrics)).size();
    }

private:
    PanelImage image_;
    PngWriter png_;
};

/// The least that drawing can take: letters copied from pictures into columns known beforehand, without
/// regard to how a font joins them, and bars straight from numbers.
class CopiedLetters {
public:
    cairo_surface_t* draw(const Strip& strip) {
        if (!surface_) prepare(strip);
        const CairoContext context(cairo_create(surface_.get()));
        cairo_set_operator(context.get(), CAIRO_OPERATOR_CLEAR);
        cairo_paint(context.get());
        int x = 0;
        for (std::size_t i = 0; i < strip.segments.size(); ++i) {
            const LabelSegment& segment = strip.segments[i];
            x = copyText(segment.label, 0, x) + (segment.label.empty() ? 0 : 3);
            if (segment.value == kBarMarker) {
                drawBars(strip.cores, x + 2);
            } else {
                copyText(segment.value, i + 1, x);
            }
            x += columns_[i];
        }
        cairo_surface_mark_dirty(surface_.get());
        return surface_.get();
    }

private:
    std::uint32_t* pixels() {
        return reinterpret_cast<std::uint32_t*>(cairo_image_surface_get_data(surface_.get()));
    }

    void prepare(const Strip& strip) {
        pictures_.beginFrame(kMetrics);
        width_ = 0;
        for (const LabelSegment& segment : strip.segments) {
            const int label = pictures_.get(segment.label, "#4090FF").width + (segment.label.empty() ? 0 : 3);
            const bool bars = segment.value == kBarMarker;
            columns_.push_back((bars ? 43 : pictures_.get(segment.value, segment.color_hex).width + 14) + 8);
            width_ += label + columns_.back();
        }
        letters_.resize(strip.segments.size() + 1);
        for (std::size_t i = 0; i < letters_.size(); ++i) {
            for (int c = 33; c < 127; ++c) {
                letters_[i][static_cast<std::size_t>(c)] =
                    &pictures_.get(std::string(1, static_cast<char>(c)),
                                   i == 0 ? "#4090FF" : strip.segments[i - 1].color_hex);
            }
        }
        surface_.reset(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width_, kMetrics.height));
    }

    /// Bytes beyond ASCII are taken for a letter without ink each three bytes or two.
    int copyText(const std::string& text, std::size_t color, int x) {
        for (const char c : text) {
            const auto code = static_cast<unsigned char>(c);
            if (code >= 0x80 && code < 0xc0) continue;
            const TextPicture* letter = letters_[color][code >= 0x80 ? 'V' : code];
            if (letter != nullptr) {
                const int left = std::max(x + letter->left, 0);
                for (int row = 0; row < letter->rows; ++row) {
                    std::memcpy(pixels() + std::ptrdiff_t{letter->top + row} * width_ + left,
                                letter->pixels.data() + std::ptrdiff_t{row} * letter->columns +
                                    (left - x - letter->left),
                                static_cast<std::size_t>(letter->columns - (left - x - letter->left)) * 4);
                }
            }
            x += 7 + (kMetrics.font_size > 10 ? 2 : 0);
        }
        return x;
    }

    void drawBars(const std::vector<CoreUsage>& cores, int x) {
        for (const CoreUsage& core : cores) {
            const int filled = std::max(1, static_cast<int>(core.usage * 0.24));
            for (int y = 2; y < 26; ++y) {
                std::fill_n(pixels() + std::ptrdiff_t{y} * width_ + x, 4,
                            y < 26 - filled ? 0x4C262626 : 0xFF00CCCC);
            }
            x += 5;
        }
    }

    TextPictures pictures_;
    std::vector<std::array<const TextPicture*, 128>> letters_;
    std::vector<int> columns_;
    CairoSurface surface_;
    int width_ = 0;
};

/// zlib with its state kept between frames and the few chunks written by hand; what it takes for rows is made
/// in one pass.
class ZlibPng {
public:
    ZlibPng() { deflateInit(&stream_, Z_BEST_SPEED); }
    ~ZlibPng() { deflateEnd(&stream_); }
    ZlibPng(const ZlibPng&) = delete;
    ZlibPng& operator=(const ZlibPng&) = delete;

    std::size_t encode(cairo_surface_t* surface) {
        const auto width = static_cast<std::size_t>(cairo_image_surface_get_width(surface));
        const auto height = static_cast<std::size_t>(cairo_image_surface_get_height(surface));
        const auto* pixels = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(surface));
        rows_.resize(height * (4 * width + 1));
        std::uint8_t* to = rows_.data();
        for (std::size_t y = 0; y < height; ++y) {
            *to++ = 0;
            for (std::size_t x = 0; x < width; ++x, to += 4) {
                const std::uint32_t straight = straightened(*pixels++);
                std::memcpy(to, &straight, 4);
            }
        }
        out_.resize(rows_.size() + 1000);
        deflateReset(&stream_);
        stream_.next_in = rows_.data();
        stream_.avail_in = static_cast<uInt>(rows_.size());
        stream_.next_out = out_.data();
        stream_.avail_out = static_cast<uInt>(out_.size());
        deflate(&stream_, Z_FINISH);
        checksum_ = crc32(0, out_.data(), static_cast<uInt>(stream_.total_out));
        return stream_.total_out + 57;
    }

private:
    static std::uint32_t straightened(std::uint32_t pixel) {
        const std::uint32_t alpha = pixel >> 24;
        if (alpha == 0) return 0;
        if (alpha == 255) return (pixel & 0xff00ff00) | (pixel >> 16 & 0xff) | (pixel & 0xff) << 16;
        const auto channel = [&](std::uint32_t c) { return (c * 255 + alpha / 2) / alpha; };
        return channel(pixel >> 16 & 0xff) | channel(pixel >> 8 & 0xff) << 8 | channel(pixel & 0xff) << 16 |
               alpha << 24;
    }

    z_stream stream_{};
    std::vector<std::uint8_t> rows_;
    std::vector<std::uint8_t> out_;
    unsigned long checksum_ = 0;
};

/// The least drawing and the least encoding that we know of with the libraries at hand.
class Floor {
public:
    std::size_t frame(const Strip& strip) { return png_.encode(letters_.draw(strip)); }

private:
    CopiedLetters letters_;
    ZlibPng png_;
};

}  // namespace panel_ways
