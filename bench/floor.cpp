// The least that a live strip in the panel can cost: a bare indicator with a menu of ten entries that reads
// three kernel files every two seconds, draws a strip of the usual size and hands it over as an icon. It has
// no settings, no windows, no figures worth reading. bench/whole_process compares the real program with it.

#include <fcntl.h>
#include <gtk/gtk.h>
#include <libayatana-appindicator/app-indicator.h>
#include <pango/pangocairo.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int kHeight = 28;  // pixels, the panel of the virtual desktop
constexpr int kFontPoints = 11;
constexpr int kGap = 8;         // pixels between two readings
constexpr int kLabelSpace = 3;  // pixels between a label and its value
constexpr int kBarWidth = 4;
constexpr int kBarGap = 1;

struct Rgb {
    double red, green, blue;
};
constexpr Rgb kLabelColour{0.25, 0.56, 1.0};
constexpr Rgb kValueColour{0.25, 0.88, 0.88};
constexpr Rgb kBarColour{0.2, 0.8, 0.2};

/// A short text that keeps its layout between refreshes.
class Text {
public:
    Text(PangoContext* context, const char* widest) : layout_(pango_layout_new(context)) {
        pango_layout_set_text(layout_, widest, -1);
        pango_layout_get_pixel_size(layout_, &width_, nullptr);
    }
    void set(const char* text) { pango_layout_set_text(layout_, text, -1); }
    int width() const { return width_; }
    void draw(cairo_t* cr, double x, const Rgb& colour) const {
        cairo_set_source_rgb(cr, colour.red, colour.green, colour.blue);
        cairo_move_to(cr, x, (kHeight - kFontPoints * 1.4) * 0.5 - 1.0);
        pango_cairo_show_layout(cr, layout_);
    }

private:
    PangoLayout* layout_;
    int width_ = 0;
};

struct Reading {
    Text label;
    Text value;
    const char* rest;  // follows the digit that stands in for a figure
};

/// A context for layouts of the strip's font, made for the image surface that they are drawn on.
PangoContext* newTextContext(cairo_t* cr) {
    PangoContext* context = pango_cairo_create_context(cr);
    PangoFontDescription* font = pango_font_description_new();
    pango_font_description_set_family_static(font, "monospace");
    pango_font_description_set_size(font, kFontPoints * PANGO_SCALE);
    pango_context_set_font_description(context, font);
    pango_font_description_free(font);
    return context;
}

/// Everything is made once; a refresh only draws.
class Strip {
public:
    Strip() : cores_(static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN))) {
        cairo_surface_t* probe = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1);
        cairo_t* cr = cairo_create(probe);
        PangoContext* context = newTextContext(cr);
        readings_ = {{Text(context, "CPU:"), Text(context, "0%"), "%"},
                     {Text(context, "NET:"), Text(context, "0↑0.0K ↓ 0.0K"), "↑0.0K ↓ 0.0K"},
                     {Text(context, "MEM:"), Text(context, "0.0G/ 15G"), ".0G/ 15G"},
                     {Text(context, "SWP:"), Text(context, "0.0M"), ".0M"}};
        g_object_unref(context);
        cairo_destroy(cr);
        cairo_surface_destroy(probe);
        surface_ = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, fullWidth(), kHeight);
        cr_ = cairo_create(surface_);
    }

    cairo_surface_t* draw(int number) {
        cairo_set_operator(cr_, CAIRO_OPERATOR_CLEAR);
        cairo_paint(cr_);
        cairo_set_operator(cr_, CAIRO_OPERATOR_OVER);
        double x = drawBars(0);
        for (Reading& reading : readings_)
            x = drawReading(reading, x, number);
        cairo_surface_flush(surface_);
        return surface_;
    }

private:
    int barsWidth() const { return cores_ * (kBarWidth + kBarGap) - kBarGap + 4; }

    int fullWidth() const {
        int width = barsWidth();
        for (const Reading& reading : readings_)
            width += kGap + reading.label.width() + kLabelSpace + reading.value.width();
        return width;
    }

    double drawBars(double x) {
        for (int core = 0; core < cores_; core++) {
            const double left = x + 2 + core * (kBarWidth + kBarGap);
            cairo_set_source_rgba(cr_, 0.5, 0.5, 0.5, 0.3);
            cairo_rectangle(cr_, left, 2, kBarWidth, kHeight - 4);
            cairo_fill(cr_);
            cairo_set_source_rgb(cr_, kBarColour.red, kBarColour.green, kBarColour.blue);
            cairo_rectangle(cr_, left, kHeight - 4, kBarWidth, 2);
            cairo_fill(cr_);
        }
        return x + barsWidth() + kGap;
    }

    double drawReading(Reading& reading, double x, int number) {
        std::array<char, 64> text{};
        g_snprintf(text.data(), text.size(), "%d%s", number % 10, reading.rest);
        reading.label.draw(cr_, x, kLabelColour);
        reading.value.set(text.data());
        reading.value.draw(cr_, x + reading.label.width() + kLabelSpace, kValueColour);
        return x + reading.label.width() + kLabelSpace + reading.value.width() + kGap;
    }

    int cores_;
    std::vector<Reading> readings_;
    cairo_surface_t* surface_ = nullptr;
    cairo_t* cr_ = nullptr;
};

/// The kernel still has to make the text, so that reading costs what it costs anybody.
void readRaw(const char* path) {
    static std::array<char, 65536> buffer;
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return;
    if (read(fd, buffer.data(), buffer.size()) < 0) perror(path);
    close(fd);
}

/// Cairo's pixels are premultiplied and in the machine's byte order, a PNG's are neither.
void toPngRow(const unsigned char* pixels, int width, unsigned char* row) {
    for (int x = 0; x < width; x++, pixels += 4, row += 4) {
        const unsigned alpha = pixels[3];
        const unsigned scale = alpha == 0 ? 0 : (255U << 16) / alpha;
        row[0] = static_cast<unsigned char>((pixels[2] * scale + 0x8000) >> 16);
        row[1] = static_cast<unsigned char>((pixels[1] * scale + 0x8000) >> 16);
        row[2] = static_cast<unsigned char>((pixels[0] * scale + 0x8000) >> 16);
        row[3] = static_cast<unsigned char>(alpha);
    }
}

void appendBytes(png_structp png, png_bytep bytes, png_size_t length) {
    auto* file = static_cast<std::vector<unsigned char>*>(png_get_io_ptr(png));
    file->insert(file->end(), bytes, bytes + length);
}

void encode(cairo_surface_t* surface, std::vector<unsigned char>& file) {
    const int width = cairo_image_surface_get_width(surface);
    static std::vector<unsigned char> row;
    row.resize(static_cast<std::size_t>(width) * 4);
    file.clear();
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &file, appendBytes, nullptr);
    png_set_compression_level(png, 1);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), kHeight, 8, PNG_COLOR_TYPE_RGBA,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int y = 0; y < kHeight; y++) {
        const auto* pixels = cairo_image_surface_get_data(surface);
        toPngRow(pixels + static_cast<std::ptrdiff_t>(y) * cairo_image_surface_get_stride(surface), width,
                 row.data());
        png_write_row(png, row.data());
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
}

struct Floor {
    std::string directory;
    Strip strip;
    AppIndicator* indicator = nullptr;
    std::vector<unsigned char> file;
    int refreshes = 0;
};

void writeFile(const std::string& path, const std::vector<unsigned char>& bytes) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return;
    if (write(fd, bytes.data(), bytes.size()) < 0) perror(path.c_str());
    close(fd);
}

gboolean refresh(gpointer data) {
    auto* floor = static_cast<Floor*>(data);
    for (const char* path : {"/proc/stat", "/proc/meminfo", "/proc/net/dev"})
        readRaw(path);
    floor->refreshes++;
    const char* name = floor->refreshes % 2 == 0 ? "floor_a" : "floor_b";
    const std::string scratch = floor->directory + "/floor_icon.png";
    encode(floor->strip.draw(floor->refreshes), floor->file);
    writeFile(scratch, floor->file);
    rename(scratch.c_str(), (floor->directory + "/" + name + ".png").c_str());
    app_indicator_set_icon_full(floor->indicator, name, "Floor");
    return G_SOURCE_CONTINUE;
}

gboolean firstRefresh(gpointer data) {
    refresh(data);
    return G_SOURCE_REMOVE;
}

gboolean doNothing(gpointer) {
    return G_SOURCE_CONTINUE;
}

GtkWidget* newMenu() {
    GtkWidget* menu = gtk_menu_new();
    for (const char* text : {"One", "Two", "Three", "Four", "Five", "Six", "", "Eight", "", "Ten"}) {
        GtkWidget* entry = *text == '\0' ? gtk_separator_menu_item_new() : gtk_menu_item_new_with_label(text);
        gtk_menu_shell_append(GTK_MENU_SHELL(menu), entry);
    }
    gtk_widget_show_all(menu);
    return menu;
}

}  // namespace

int main(int argc, char** argv) {
    gtk_init(&argc, &argv);
    Floor floor;
    floor.directory = g_get_user_runtime_dir();
    floor.indicator = app_indicator_new("korvalune-floor", "floor_a", APP_INDICATOR_CATEGORY_SYSTEM_SERVICES);
    app_indicator_set_status(floor.indicator, APP_INDICATOR_STATUS_ACTIVE);
    app_indicator_set_icon_theme_path(floor.indicator, floor.directory.c_str());
    app_indicator_set_menu(floor.indicator, GTK_MENU(newMenu()));
    g_timeout_add(500, firstRefresh, &floor);
    g_timeout_add(2000, refresh, &floor);
    g_timeout_add(5000, doNothing, nullptr);
    gtk_main();
    return 0;
}
