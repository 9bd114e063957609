#include "icon_helper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "cairo_handles.h"
#include "scoped_environment.h"
#include "temporary_directory.h"
#include "theme.h"
#include "widget_tree.h"

namespace {

namespace fs = std::filesystem;

using Pixbuf = std::unique_ptr<GdkPixbuf, FreeWith<g_object_unref>>;

const fs::path kSourceTree = fs::path(FIXTURES_DIR).parent_path().parent_path();

std::string fallbackDirectory() {
    return findIconDirectory("/nowhere/bin/program");
}

/// The colour 0xRRGGBBAA of a pixel.
guint32 colorAt(GdkPixbuf* picture, gsize x, gsize y) {
    const gsize row_bytes = gdk_pixbuf_get_rowstride(picture);
    const gsize pixel_bytes = gdk_pixbuf_get_n_channels(picture);
    const guchar* pixel = gdk_pixbuf_get_pixels(picture) + y * row_bytes + x * pixel_bytes;
    const guint32 alpha = gdk_pixbuf_get_has_alpha(picture) ? pixel[3] : 255;
    return guint32{pixel[0]} << 24 | guint32{pixel[1]} << 16 | guint32{pixel[2]} << 8 | alpha;
}

/// Pictures of a test's own, which the icon directory reaches by a name with dots.
class Icons : public testing::Test {
protected:
    ~Icons() override { set_active_dark(false); }

    /// The name under which the loader finds the file `name`.png.
    std::string nameOf(const std::string& name) const {
        return fs::relative(fs::canonical(files_.path()), fs::canonical(fallbackDirectory())) / name;
    }

    fs::path fileOf(const std::string& name) const { return files_ / (name + ".png"); }

    /// Draws a picture of 10 x 10 pixels.
    std::string draw(const std::string& name, const std::function<void(cairo_t*)>& paint,
                     cairo_format_t format = CAIRO_FORMAT_ARGB32) const {
        const CairoSurface surface(cairo_image_surface_create(format, 10, 10));
        const CairoContext context(cairo_create(surface.get()));
        cairo_set_operator(context.get(), CAIRO_OPERATOR_SOURCE);
        paint(context.get());
        EXPECT_EQ(cairo_surface_write_to_png(surface.get(), fileOf(name).c_str()), CAIRO_STATUS_SUCCESS);
        return nameOf(name);
    }

    Pixbuf load(const std::string& name, bool& recolorable) const {
        recolorable = true;
        return Pixbuf(makeIconPixbuf(name.c_str(), &recolorable));
    }

    bool loadsAsEmptyImage(const std::string& name) const {
        bool recolorable = true;
        const Pixbuf picture = load(name, recolorable);
        GtkWidget* image = GTK_WIDGET(g_object_ref_sink(load_icon(name.c_str(), GTK_ICON_SIZE_MENU)));
        const bool empty = gtk_image_get_storage_type(GTK_IMAGE(image)) == GTK_IMAGE_EMPTY;
        g_object_unref(image);
        return picture == nullptr && !recolorable && empty;
    }

    TemporaryDirectory files_;
};

void fill(cairo_t* context, double red, double green, double blue, double alpha, int width = 10,
          int height = 10) {
    cairo_set_source_rgba(context, red / 255, green / 255, blue / 255, alpha);
    cairo_rectangle(context, 0, 0, width, height);
    cairo_fill(context);
}

// ---- where they lie ----

TEST(IconDirectory, WithoutAnInstallationItIsTheSourceTrees) {
    const ScopedEnvironment none({{"SNAP", std::nullopt}, {"APPDIR", std::nullopt}});
    EXPECT_EQ(fallbackDirectory(), (kSourceTree / "assets/icons").string());
    EXPECT_EQ(findIconDirectory(""), fallbackDirectory());
    EXPECT_EQ(findIconDirectory("program"), fallbackDirectory());
}

TEST(IconDirectory, AnInstalledProgramHasThemBesideIt) {
    const ScopedEnvironment none({{"SNAP", std::nullopt}, {"APPDIR", std::nullopt}});
    const TemporaryDirectory prefix;
    const std::string program = prefix / "bin/Korvalune";
    EXPECT_EQ(findIconDirectory(program), fallbackDirectory());
    fs::create_directories(prefix / "share/korvalune/icons");
    EXPECT_EQ(findIconDirectory(program), (prefix / "share/korvalune/icons").string());
}

TEST(IconDirectory, ASnapComesBeforeAnAppImageBeforeTheInstallation) {
    const TemporaryDirectory prefix;
    const std::string program = prefix / "bin/Korvalune";
    fs::create_directories(prefix / "share/korvalune/icons");
    const ScopedEnvironment both(
        {{"SNAP", (prefix / "snap").string()}, {"APPDIR", (prefix / "app").string()}});
    EXPECT_EQ(findIconDirectory(program), (prefix / "share/korvalune/icons").string());
    fs::create_directories(prefix / "app/usr/share/korvalune/icons");
    EXPECT_EQ(findIconDirectory(program), (prefix / "app/usr/share/korvalune/icons").string());
    writeFile(prefix / "snap/usr/share/korvalune/icons", "a file is no directory");
    EXPECT_EQ(findIconDirectory(program), (prefix / "app/usr/share/korvalune/icons").string());
    fs::remove(prefix / "snap/usr/share/korvalune/icons");
    fs::create_directories(prefix / "snap/usr/share/korvalune/icons");
    EXPECT_EQ(findIconDirectory(program), (prefix / "snap/usr/share/korvalune/icons").string());
}

// ---- what is recoloured ----

TEST_F(Icons, GreyOnesTakeTheDarkLooksTextColourEverywhere) {
    const std::string name = draw("grey", [](cairo_t* context) {
        fill(context, 100, 50, 100, 1);  // a difference of 50 is grey still
        fill(context, 0, 0, 0, 0.5, 10, 5);
        fill(context, 0, 0, 0, 0, 10, 1);
    });
    bool recolorable = false;
    const Pixbuf light = load(name, recolorable);
    ASSERT_TRUE(recolorable);
    EXPECT_EQ(colorAt(light.get(), 9, 9), 0x643264FFU);
    set_active_dark(true);
    const Pixbuf dark = load(name, recolorable);
    EXPECT_TRUE(recolorable);
    EXPECT_EQ(colorAt(dark.get(), 9, 9), 0xEAEAEAFFU);
    EXPECT_EQ(colorAt(dark.get(), 0, 3), 0xEAEAEA80U);
    EXPECT_EQ(colorAt(dark.get(), 0, 0), 0xEAEAEA00U);
}

TEST_F(Icons, ATenthInColourMakesOneThatKeepsItsColours) {
    const auto withColored = [&](int rows) {
        return draw("colour" + std::to_string(rows), [rows](cairo_t* context) {
            fill(context, 0, 0, 0, 0.5);  // a picture without transparency would be out anyway
            fill(context, 100, 49, 100, 1, rows, 1);
        });
    };
    bool recolorable = false;
    ASSERT_NE(load(withColored(9), recolorable), nullptr);  // 9 of 100 pixels
    EXPECT_TRUE(recolorable);
    set_active_dark(true);
    const Pixbuf tenth = load(withColored(10), recolorable);
    EXPECT_FALSE(recolorable);
    EXPECT_EQ(colorAt(tenth.get(), 9, 9), 0x00000080U);
    EXPECT_EQ(colorAt(tenth.get(), 0, 0), 0x643164FFU);
}

TEST_F(Icons, WhatCannotBeSeenDoesNotCount) {
    bool recolorable = false;
    const std::string faint = draw("faint", [](cairo_t* context) {
        fill(context, 255, 0, 0, 15.0 / 255);
        fill(context, 0, 0, 0, 1, 1, 1);
    });
    load(faint, recolorable);
    EXPECT_TRUE(recolorable) << "one black pixel among faint red";
    const std::string visible = draw("visible", [](cairo_t* context) {
        fill(context, 255, 0, 0, 16.0 / 255);
        fill(context, 0, 0, 0, 1, 1, 1);
    });
    load(visible, recolorable);
    EXPECT_FALSE(recolorable);
}

TEST_F(Icons, EmptyOnesAndThoseWithoutTransparencyStayAsTheyAre) {
    const std::string empty = draw("empty", [](cairo_t*) {});
    const std::string solid = draw(
        "solid", [](cairo_t* context) { fill(context, 0, 0, 0, 1); }, CAIRO_FORMAT_RGB24);
    set_active_dark(true);
    bool recolorable = false;
    const Pixbuf nothing = load(empty, recolorable);
    EXPECT_FALSE(recolorable);
    EXPECT_EQ(colorAt(nothing.get(), 0, 0), 0U);
    const Pixbuf black = load(solid, recolorable);
    EXPECT_FALSE(recolorable);
    EXPECT_EQ(colorAt(black.get(), 0, 0), 0x000000FFU);
}

TEST_F(Icons, TheFlagNeedNotBeAskedFor) {
    const Pixbuf picture(makeIconPixbuf("go-up-symbolic", nullptr));
    EXPECT_NE(picture, nullptr);
}

// ---- files that are none ----

TEST_F(Icons, WithoutAUsableFileTheImageIsEmpty) {
    EXPECT_TRUE(loadsAsEmptyImage(nameOf("missing")));
    EXPECT_TRUE(loadsAsEmptyImage(""));
    writeFile(fileOf("nothing"), "");
    EXPECT_TRUE(loadsAsEmptyImage(nameOf("nothing")));
    writeFile(fileOf("text"), std::string(5000, 'x'));
    EXPECT_TRUE(loadsAsEmptyImage(nameOf("text")));
    fs::create_directory(fileOf("directory"));
    EXPECT_TRUE(loadsAsEmptyImage(nameOf("directory")));
    ASSERT_EQ(mkfifo(fileOf("pipe").c_str(), 0600), 0);
    EXPECT_TRUE(loadsAsEmptyImage(nameOf("pipe")));
    fs::create_symlink("loop.png", fileOf("loop"));
    EXPECT_TRUE(loadsAsEmptyImage(nameOf("loop")));
}

TEST_F(Icons, ADamagedFileIsAnEmptyImageWhereverItEnds) {
    const std::string name = draw("whole", [](cairo_t* context) { fill(context, 9, 9, 9, 0.5); });
    const std::string png = contentOf(fileOf("whole"));
    for (std::size_t length = 0; length < png.size(); ++length) {
        writeFile(fileOf("part"), png.substr(0, length));
        EXPECT_TRUE(loadsAsEmptyImage(nameOf("part"))) << length << " of " << png.size();
    }
    for (std::size_t at = 0; at < png.size(); ++at) {  // must not crash; what it shows does not matter
        std::string changed = png;
        changed[at] = static_cast<char>(changed[at] ^ 0x55);
        writeFile(fileOf("changed"), changed);
        bool recolorable = false;
        load(nameOf("changed"), recolorable);
    }
}

TEST_F(Icons, AHugePictureIsAnEmptyImage) {
    const CairoSurface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1025, 1));
    cairo_surface_write_to_png(surface.get(), fileOf("wide").c_str());
    EXPECT_TRUE(loadsAsEmptyImage(nameOf("wide")));
    std::string png = contentOf(fileOf("wide"));
    png.replace(16, 8, std::string("\x7f\xff\xff\xff\x7f\xff\xff\xff"));
    writeFile(fileOf("huge"), png);
    EXPECT_TRUE(loadsAsEmptyImage(nameOf("huge")));
}

// ---- on screen ----

TEST_F(Icons, ImagesOnScreenFollowTheLookInPlace) {
    const std::string colored = draw("red", [](cairo_t* context) { fill(context, 255, 0, 0, 1); });
    GtkWidget* window = gtk_window_new(GTK_WINDOW_POPUP);
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_container_add(GTK_CONTAINER(window), box);
    GtkWidget* grey = load_icon("view-grid-symbolic", GTK_ICON_SIZE_DIALOG);
    GtkWidget* red = load_icon(colored.c_str(), GTK_ICON_SIZE_MENU);
    gtk_container_add(GTK_CONTAINER(box), grey);
    gtk_container_add(GTK_CONTAINER(box), red);
    gtk_container_add(GTK_CONTAINER(box), icon_button("view-grid-symbolic", GTK_ICON_SIZE_MENU));
    gtk_widget_show_all(window);
    const auto colors = [&] {
        std::vector<guint32> found;
        for (GtkWidget* image : widgetsOfType(window, GTK_TYPE_IMAGE))
            found.push_back(colorAt(gtk_image_get_pixbuf(GTK_IMAGE(image)), 4, 4));
        return found;
    };
    EXPECT_EQ(gdk_pixbuf_get_width(gtk_image_get_pixbuf(GTK_IMAGE(grey))), 16);
    EXPECT_STREQ(static_cast<const char*>(g_object_get_data(G_OBJECT(grey), "icon_name")),
                 "view-grid-symbolic");
    EXPECT_EQ(g_object_get_data(G_OBJECT(red), "icon_name"), nullptr);
    const std::vector<guint32> light{0x2E3436FF, 0xFF0000FF, 0x2E3436FF};
    const std::vector<guint32> dark{0xEAEAEAFF, 0xFF0000FF, 0xEAEAEAFF};
    EXPECT_EQ(colors(), light);
    set_active_dark(true);
    EXPECT_EQ(colors(), light) << "only a refresh repaints";
    refresh_recolorable_icons();
    EXPECT_EQ(colors(), dark);
    set_active_dark(false);
    refresh_recolorable_icons();
    EXPECT_EQ(colors(), light);
    gtk_widget_destroy(window);
}

TEST_F(Icons, ADestroyedImageIsLeftAloneByTheNextRefresh) {
    std::vector<GtkWidget*> images;
    images.reserve(5);
    for (int i = 0; i < 5; ++i) {
        images.push_back(GTK_WIDGET(g_object_ref_sink(load_icon("go-up-symbolic", GTK_ICON_SIZE_MENU))));
    }
    for (const int gone : {2, 0, 4}) {
        gtk_widget_destroy(images[gone]);
        gtk_widget_destroy(images[gone]);
    }
    std::vector<int> repainted(images.size(), 0);
    for (std::size_t i = 0; i < images.size(); ++i) {
        g_signal_connect(images[i], "notify::pixbuf",
                         G_CALLBACK(+[](GObject*, GParamSpec*, int* n) { ++*n; }), &repainted[i]);
    }
    refresh_recolorable_icons();
    EXPECT_EQ(repainted, (std::vector<int>{0, 1, 0, 1, 0}));
    for (GtkWidget* image : images)
        g_object_unref(image);
    refresh_recolorable_icons();
}

TEST_F(Icons, AnImageWhoseFileHasGoneKeepsItsPicture) {
    const std::string name = draw("gone", [](cairo_t* context) { fill(context, 0, 0, 0, 0.5); });
    GtkWidget* image = GTK_WIDGET(g_object_ref_sink(load_icon(name.c_str(), GTK_ICON_SIZE_MENU)));
    fs::remove(fileOf("gone"));
    refresh_recolorable_icons();
    EXPECT_NE(gtk_image_get_pixbuf(GTK_IMAGE(image)), nullptr);
    g_object_unref(image);
}

// ---- the program's own ----

/// Every image's name that the program's sources mention.
std::set<std::string> usedNames() {
    const std::string ending = "-symbolic\"";
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(kSourceTree / "src")) {
        const std::string source = contentOf(entry.path());
        for (auto at = source.find(ending); at != source.npos; at = source.find(ending, at + 1)) {
            const auto start = source.rfind('"', at) + 1;
            names.insert(source.substr(start, at + ending.size() - 1 - start));
        }
    }
    return names;
}

TEST_F(Icons, EveryImageThatThePagesUseIsThereAndFollowsTheLook) {
    const auto names = usedNames();
    EXPECT_THAT(names, testing::Not(testing::IsEmpty()));
    for (const std::string& name : names) {
        bool recolorable = false;
        EXPECT_NE(load(name, recolorable), nullptr) << name;
        EXPECT_TRUE(recolorable) << name;
    }
}

TEST_F(Icons, AllFilesAreSmallSymbolicImages) {
    int files = 0;
    for (const auto& entry : fs::directory_iterator(kSourceTree / "assets/icons")) {
        if (entry.path().extension() != ".png") continue;
        ++files;
        bool recolorable = false;
        const Pixbuf picture = load(entry.path().stem(), recolorable);
        ASSERT_NE(picture, nullptr) << entry.path();
        EXPECT_TRUE(recolorable) << entry.path();
        EXPECT_EQ(gdk_pixbuf_get_width(picture.get()), 16) << entry.path();
        EXPECT_EQ(gdk_pixbuf_get_height(picture.get()), 16) << entry.path();
    }
    EXPECT_EQ(files, 19);
}

}  // namespace
