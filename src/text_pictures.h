#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "cairo_handles.h"

/// Height of the panel and size of its font, in pixels and points.
struct PanelMetrics {
    int height = 26;
    int font_size = 10;

    bool operator==(const PanelMetrics&) const = default;
};

/// A text drawn in one colour, cut down to its ink.
struct TextPicture {
    std::string text;
    double r = 0, g = 0, b = 0;
    int width = 0;  ///< pixels the text advances, which is not the width of its ink
    int left = 0;   ///< of the ink, from the text's start
    int top = 0;    ///< of the ink, from the top of the panel
    int columns = 0;
    int rows = 0;
    std::vector<std::uint32_t> pixels;  ///< as in an ARGB32 surface; empty without ink, and for over-wide ink
};

/// Draws the panel's texts and keeps the pictures, as the same few texts return again and again. What is kept
/// is bounded.
class TextPictures {
public:
    /// To be called before each frame. Forgets everything when the metrics or the system's fonts have
    /// changed, and the texts that were not used for longest when all take too much.
    void beginFrame(const PanelMetrics& metrics);

    /// The text in the colour, valid until the next beginFrame(). A text too long to fit any image is as wide
    /// as kTooWide and has no ink.
    const TextPicture& get(std::string_view text, std::string_view color_hex);

    /// Draws the text afresh with its left end in column `x`, for a place where other ink lies already.
    void drawAfresh(cairo_t* context, const TextPicture& picture, int x);

    static constexpr int kTooWide = 1 << 20;

    /// How many pictures are kept.
    std::size_t size() const { return kept_.size(); }

private:
    struct Kept {
        std::string key;  ///< colour and text
        TextPicture picture;

        std::size_t bytes() const;
    };

    void forgetAll();
    void setFont();
    TextPicture draw(std::string_view text, double r, double g, double b);
    void drawPixels(TextPicture& picture) const;

    PanelMetrics metrics_{.height = 0, .font_size = 0};
    unsigned font_serial_ = 0;
    PangoLayoutPtr layout_;
    std::list<Kept> kept_;  ///< the one used last comes first
    std::unordered_map<std::string_view, std::list<Kept>::iterator> by_key_;
    std::size_t kept_bytes_ = 0;
    std::string key_;
};
