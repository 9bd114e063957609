#include "icon_helper.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>
#include <vector>

#include "cairo_handles.h"
#include "color.h"
#include "own_program.h"
#include "theme.h"
#include "user_file.h"

namespace {

constexpr const char* kIconName = "icon_name";
constexpr std::uint32_t kMaxPixels = 1024;  // a side: a damaged file must not ask for gigabytes

/// The images on screen that follow the look, in the order of creation.
std::vector<GtkImage*> g_recolorable;

bool isDirectory(const std::string& path) {
    return g_file_test(path.c_str(), G_FILE_TEST_IS_DIR);
}

std::string directoryOf(const std::string& path) {
    return path.substr(0, path.rfind('/') == std::string::npos ? 0 : path.rfind('/'));
}

const std::string& iconDirectory() {
    static const std::string directory = findIconDirectory(ownProgramPath());
    return directory;
}

/// Whether the PNG's header, which begins every such file, asks for an image of a sensible size.
bool hasSensibleSize(std::string_view png) {
    constexpr std::size_t kWidthAt = 16;  // big-endian; the height follows
    const auto numberAt = [&](std::size_t at) {
        std::uint32_t number = 0;
        for (const unsigned char byte : png.substr(at, 4))
            number = number << 8 | byte;
        return number;
    };
    return png.size() >= kWidthAt + 8 && numberAt(kWidthAt) <= kMaxPixels &&
           numberAt(kWidthAt + 4) <= kMaxPixels;
}

CairoSurface decode(std::string_view png) {
    const auto take = [](void* from, unsigned char* data, unsigned length) {
        auto& rest = *static_cast<std::string_view*>(from);
        if (rest.size() < length) return CAIRO_STATUS_READ_ERROR;
        std::memcpy(data, rest.data(), length);
        rest.remove_prefix(length);
        return CAIRO_STATUS_SUCCESS;
    };
    return CairoSurface(cairo_image_surface_create_from_png_stream(take, &png));
}

GdkPixbuf* loadPicture(const char* name) {
    const auto png = readRegularFile(iconDirectory() + "/" + name + ".png");
    if (!png || !hasSensibleSize(*png)) return nullptr;
    const CairoSurface surface = decode(*png);
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) return nullptr;
    return gdk_pixbuf_get_from_surface(surface.get(), 0, 0, cairo_image_surface_get_width(surface.get()),
                                       cairo_image_surface_get_height(surface.get()));
}

/// Calls `visit` with the four channels (red, green, blue, alpha) of every pixel.
template <typename Visit>
void forEachPixel(GdkPixbuf* picture, Visit visit) {
    const gsize row_bytes = gdk_pixbuf_get_rowstride(picture);
    const gsize pixel_bytes = gdk_pixbuf_get_n_channels(picture);
    const gsize width = gdk_pixbuf_get_width(picture);
    const gsize height = gdk_pixbuf_get_height(picture);
    guchar* const pixels = gdk_pixbuf_get_pixels(picture);
    for (gsize y = 0; y < height; ++y) {
        for (gsize x = 0; x < width; ++x)
            visit(pixels + y * row_bytes + x * pixel_bytes);
    }
}

/// Whether less than a tenth of what can be seen has a colour of its own.
bool isMonochrome(GdkPixbuf* picture) {
    constexpr int kInvisible = 15;  // alpha up to here
    constexpr int kColorless = 50;  // difference of the channels up to here
    if (!gdk_pixbuf_get_has_alpha(picture) || gdk_pixbuf_get_n_channels(picture) < 4) return false;
    int opaque = 0;
    int colorful = 0;
    forEachPixel(picture, [&](const guchar* pixel) {
        if (pixel[3] <= kInvisible) return;
        const auto [least, most] = std::minmax_element(pixel, pixel + 3);
        ++opaque;
        colorful += *most - *least > kColorless;
    });
    return opaque > 0 && static_cast<double>(colorful) / opaque < 0.1;
}

void paint(GdkPixbuf* picture, const std::string& color) {
    double channels[3];
    parseHex(color, channels[0], channels[1], channels[2]);
    guchar bytes[3];
    std::transform(std::begin(channels), std::end(channels), std::begin(bytes),
                   [](double channel) { return static_cast<guchar>(std::lround(255 * channel)); });
    forEachPixel(picture, [&](guchar* pixel) { std::copy(std::begin(bytes), std::end(bytes), pixel); });
}

void forgetImage(GtkWidget* image, gpointer /*data*/) {
    const auto found = std::find(g_recolorable.begin(), g_recolorable.end(), GTK_IMAGE(image));
    if (found != g_recolorable.end()) g_recolorable.erase(found);
}

}  // namespace

std::string findIconDirectory(const std::string& executable) {
    for (const char* variable : {"SNAP", "APPDIR"}) {
        const char* root = std::getenv(variable);
        if (!root) continue;
        std::string candidate = std::string(root) + "/usr/share/korvalune/icons";
        if (isDirectory(candidate)) return candidate;
    }
    std::string installed = directoryOf(directoryOf(executable)) + "/share/korvalune/icons";
    return isDirectory(installed) ? installed : SOURCE_ICONS;
}

GdkPixbuf* makeIconPixbuf(const char* name, bool* recolorable) {
    if (recolorable) *recolorable = false;
    GdkPixbuf* picture = loadPicture(name);
    if (!picture || !isMonochrome(picture)) return picture;
    if (recolorable) *recolorable = true;
    if (active_dark()) paint(picture, Palette::dark_().text);
    return picture;
}

GtkWidget* load_icon(const char* name, GtkIconSize /*size*/) {
    bool recolorable = false;
    GdkPixbuf* picture = makeIconPixbuf(name, &recolorable);
    if (!picture) return gtk_image_new();
    GtkWidget* image = gtk_image_new_from_pixbuf(picture);
    g_object_unref(picture);
    if (recolorable) {
        g_object_set_data_full(G_OBJECT(image), kIconName, g_strdup(name), g_free);
        g_recolorable.push_back(GTK_IMAGE(image));
        g_signal_connect(image, "destroy", G_CALLBACK(forgetImage), nullptr);
    }
    return image;
}

GtkWidget* icon_button(const char* name, GtkIconSize size) {
    GtkWidget* button = gtk_button_new();
    gtk_button_set_image(GTK_BUTTON(button), load_icon(name, size));
    return button;
}

void refresh_recolorable_icons() {
    for (GtkImage* image : g_recolorable) {
        const auto* name = static_cast<const char*>(g_object_get_data(G_OBJECT(image), kIconName));
        GdkPixbuf* picture = name ? makeIconPixbuf(name, nullptr) : nullptr;
        if (!picture) continue;
        gtk_image_set_from_pixbuf(image, picture);
        g_object_unref(picture);
    }
}
