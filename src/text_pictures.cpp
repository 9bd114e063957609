#include "text_pictures.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>

#include "color.h"

namespace {

/// Enough for the figures of some minutes.
constexpr std::size_t kMaxKeptBytes = std::size_t{512} << 10;

/// cairo's largest surface. A text of more bytes is wider than that.
constexpr std::size_t kMaxPixels = 32767;

/// The top of all texts. Pango counts from the top of the line, which has about 1.4 times the font's size.
double textTop(const PanelMetrics& metrics) {
    return (metrics.height - metrics.font_size * 1.4) * 0.5 - 1.0;
}

void setText(PangoLayout* layout, std::string_view text) {
    const auto length = static_cast<int>(text.size());
    if (g_utf8_validate(text.data(), length, nullptr)) {
        pango_layout_set_text(layout, text.data(), length);
    } else {
        char* repaired = g_utf8_make_valid(text.data(), length);
        pango_layout_set_text(layout, repaired, -1);
        g_free(repaired);
    }
}

void showText(cairo_t* context, PangoLayout* layout, const TextPicture& text, double x, double y) {
    cairo_set_source_rgba(context, text.r, text.g, text.b, 1.0);
    cairo_move_to(context, x, y);
    pango_cairo_show_layout(context, layout);
}

}  // namespace

void TextPictures::beginFrame(const PanelMetrics& metrics) {
    const unsigned serial = pango_font_map_get_serial(pango_cairo_font_map_get_default());
    if (!layout_ || metrics != metrics_ || serial != font_serial_) {
        metrics_ = metrics;
        font_serial_ = serial;
        forgetAll();
        setFont();
    }
    while (kept_bytes_ > kMaxKeptBytes) {
        kept_bytes_ -= kept_.back().bytes();
        by_key_.erase(kept_.back().key);
        kept_.pop_back();
    }
}

std::size_t TextPictures::Kept::bytes() const {
    constexpr std::size_t kPlace = 128;  // in list and table
    return sizeof *this + kPlace + 2 * key.size() + picture.pixels.size() * sizeof(std::uint32_t);
}

void TextPictures::forgetAll() {
    by_key_.clear();
    kept_.clear();
    kept_bytes_ = 0;
}

void TextPictures::setFont() {
    const CairoSurface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1));
    const CairoContext context(cairo_create(surface.get()));
    layout_.reset(pango_cairo_create_layout(context.get()));
    // The fonts of many languages bring digits of their own, which stand out beside the letters of another
    // font.
    pango_context_set_language(pango_layout_get_context(layout_.get()), pango_language_from_string("en"));
    const std::string name = "monospace " + std::to_string(metrics_.font_size);
    PangoFontDescription* font = pango_font_description_from_string(name.c_str());
    pango_layout_set_font_description(layout_.get(), font);
    pango_font_description_free(font);
}

const TextPicture& TextPictures::get(std::string_view text, std::string_view color_hex) {
    // The colour's text may be of any length and form: only what it means is kept.
    double r = 0;
    double g = 0;
    double b = 0;
    parseHex(std::string(color_hex), r, g, b);
    key_.clear();
    for (const double channel : {r, g, b})
        key_.push_back(static_cast<char>(std::lround(channel * 255)));
    key_.append(text);
    if (const auto found = by_key_.find(key_); found != by_key_.end()) {
        kept_.splice(kept_.begin(), kept_, found->second);
    } else {
        kept_.push_front({key_, draw(text, r, g, b)});
        by_key_.emplace(kept_.front().key, kept_.begin());
        kept_bytes_ += kept_.front().bytes();
    }
    return kept_.front().picture;
}

TextPicture TextPictures::draw(std::string_view text, double r, double g, double b) {
    TextPicture picture;
    if (text.size() > kMaxPixels) {
        picture.width = kTooWide;
        return picture;
    }
    picture.text = text;
    picture.r = r;
    picture.g = g;
    picture.b = b;
    setText(layout_.get(), text);
    pango_layout_get_pixel_size(layout_.get(), &picture.width, nullptr);

    PangoRectangle ink;
    pango_layout_get_pixel_extents(layout_.get(), &ink, nullptr);
    if (ink.width <= 0 || ink.height <= 0) return picture;
    // The extents are those of whole pixels; one more on each side is for what filters spread. The text's
    // start stays in the picture and its height is the panel's at first: rounding half a pixel must not see
    // negative numbers that it doesn't see in the panel image.
    const double top = textTop(metrics_) + ink.y;
    picture.left = std::min(ink.x - 1, 0);
    picture.columns = ink.x + ink.width + 1 - picture.left;
    picture.top = std::clamp(static_cast<int>(std::floor(top)) - 1, 0, metrics_.height);
    const int bottom = std::clamp(static_cast<int>(std::ceil(top + ink.height)) + 1, 0, metrics_.height);
    picture.rows = bottom - picture.top;
    if (picture.rows > 0 && picture.columns <= static_cast<int>(kMaxPixels)) drawPixels(picture);
    return picture;
}

void TextPictures::drawPixels(TextPicture& picture) const {
    const int height = picture.top + picture.rows;
    auto& pixels = picture.pixels;
    pixels.resize(static_cast<std::size_t>(picture.columns) * static_cast<std::size_t>(height));
    const CairoSurface surface(cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>(pixels.data()), CAIRO_FORMAT_ARGB32, picture.columns, height,
        picture.columns * 4));
    const CairoContext context(cairo_create(surface.get()));
    showText(context.get(), layout_.get(), picture, -picture.left, textTop(metrics_));
    cairo_surface_flush(surface.get());
    pixels.erase(pixels.begin(), pixels.begin() + std::ptrdiff_t{picture.columns} * picture.top);
    pixels.shrink_to_fit();
}

void TextPictures::drawAfresh(cairo_t* context, const TextPicture& picture, int x) {
    setText(layout_.get(), picture.text);
    showText(context, layout_.get(), picture, x, textTop(metrics_));
}
