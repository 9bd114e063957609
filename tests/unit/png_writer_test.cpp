#include "png_writer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <numeric>
#include <random>

#include "fake_kernel.h"
#include "picture_matchers.h"

namespace {

std::vector<std::uint8_t> bytesOf(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// An image whose pixels `pixel(x, y)` gives, made premultiplied by lowering what exceeds the alpha.
template <typename Pixel>
CairoSurface imageOf(int width, int height, Pixel pixel) {
    CairoSurface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const std::uint32_t wanted = pixel(x, y);
            const std::uint32_t alpha = wanted >> 24;
            std::uint32_t valid = alpha << 24;
            for (const int shift : {0, 8, 16})
                valid |= std::min(wanted >> shift & 0xff, alpha) << shift;
            std::memcpy(cairo_image_surface_get_data(surface.get()) +
                            std::ptrdiff_t{y} * cairo_image_surface_get_stride(surface.get()) +
                            std::ptrdiff_t{4} * x,
                        &valid, sizeof valid);
        }
    }
    cairo_surface_mark_dirty(surface.get());
    return surface;
}

/// Whether cairo reads the same from our bytes as from its own.
testing::AssertionResult roundTrips(PngWriter& writer, cairo_surface_t* image) {
    const auto png = writer.encode(image);
    if (png.empty()) return testing::AssertionFailure() << "nothing encoded";
    return samePixels(decodePng(png).get(), decodePng(cairoPng(image)).get());
}

/// The uncompressed rows of a PNG file that has a single IDAT chunk where ours have it.
std::vector<std::uint8_t> rowsOf(std::span<const std::uint8_t> png, std::size_t size) {
    std::vector<std::uint8_t> rows(size + 1);
    uLongf length = rows.size();
    EXPECT_EQ(uncompress(rows.data(), &length, png.data() + 41, png.size() - 57), Z_OK);
    rows.resize(length);
    return rows;
}

}  // namespace

TEST(PngWriter, HoldsThePixelsThatCairoWrites) {
    PngWriter writer;
    EXPECT_TRUE(roundTrips(writer, imageOf(1, 1, [](int, int) { return 0U; }).get()));
    EXPECT_TRUE(roundTrips(writer, imageOf(1, 1, [](int, int) { return 0xFF123456; }).get()));
    EXPECT_TRUE(
        roundTrips(writer, imageOf(1, 500, [](int, int y) { return y % 7 ? 0U : 0x80808080; }).get()));
    EXPECT_TRUE(roundTrips(writer, imageOf(500, 28, [](int, int) { return 0U; }).get()));
    EXPECT_TRUE(roundTrips(writer, imageOf(500, 28, [](int, int) { return 0xFF336699; }).get()));
    EXPECT_TRUE(
        roundTrips(writer, imageOf(9000, 3, [](int x, int) { return x % 300 ? 0xFF000000 : 0U; }).get()))
        << "rows longer than the farthest copy";
    EXPECT_TRUE(
        roundTrips(writer, imageOf(32767, 2, [](int x, int) { return 0x01010101U * (x % 256); }).get()));
}

TEST(PngWriter, MakesStraightColoursOfEveryAlphaAsCairoDoes) {
    const auto image = imageOf(256, 256, [](int x, int y) {
        const auto c = static_cast<std::uint32_t>(x);
        return static_cast<std::uint32_t>(y) << 24 | c << 16 | (255 - c) << 8 | (c ^ 0x55);
    });
    PngWriter writer;
    const auto ours = rowsOf(writer.encode(image.get()), std::size_t{256} * 1025);
    ASSERT_EQ(ours.size(), 256U * 1025);
    for (std::size_t y = 0; y < 256; ++y) {
        ASSERT_EQ(ours[y * 1025], 0) << "the filter type";
        for (std::size_t x = 0; x < 256; ++x) {
            const std::uint32_t p = pixelAt(image.get(), static_cast<int>(x), static_cast<int>(y));
            const std::uint32_t a = p >> 24;
            const auto* rgba = &ours[y * 1025 + 1 + 4 * x];
            ASSERT_EQ(rgba[3], a);
            for (int i = 0; i < 3; ++i) {
                ASSERT_EQ(rgba[i], a == 0 ? 0 : ((p >> (16 - 8 * i) & 0xff) * 255 + a / 2) / a)
                    << x << "," << y;
            }
        }
    }
}

TEST(PngWriter, HoldsRandomPictures) {
    std::mt19937 random(3);
    PngWriter writer;
    for (int turn = 0; turn < 300; ++turn) {
        const int width = 1 + static_cast<int>(random() % (turn % 10 ? 90 : 900));
        const int height = 1 + static_cast<int>(random() % 40);
        const unsigned colors = 1U << random() % 12;
        const unsigned blank = random() % 101;
        const unsigned runs = 1 + random() % 20;
        std::vector<std::uint32_t> palette(colors);
        for (auto& color : palette)
            color = static_cast<std::uint32_t>(random()) | (random() % 2 ? 0xFF000000 : 0U);
        std::uint32_t current = 0;
        const auto image = imageOf(width, height, [&](int, int) {
            if (random() % runs == 0) current = random() % 100 < blank ? 0 : palette[random() % colors];
            return current;
        });
        ASSERT_TRUE(roundTrips(writer, image.get())) << "turn " << turn;
    }
}

TEST(PngWriter, HoldsNoiseThatCannotBeCompressed) {
    PngWriter writer;
    EXPECT_TRUE(roundTrips(writer, imageOf(600, 79, [](int, int) { return 0U; }).get()));
    std::mt19937 random(4);
    const auto noise = imageOf(600, 79, [&](int, int) { return static_cast<std::uint32_t>(random()); });
    EXPECT_TRUE(roundTrips(writer, noise.get()));
}

TEST(PngWriter, RefusesWhatIsNoIntactArgb32Image) {
    PngWriter writer;
    EXPECT_TRUE(writer.encode(nullptr).empty());
    const CairoSurface gray(cairo_image_surface_create(CAIRO_FORMAT_A8, 8, 8));
    EXPECT_TRUE(writer.encode(gray.get()).empty());
    const CairoSurface empty(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 0, 0));
    EXPECT_TRUE(writer.encode(empty.get()).empty());
    const CairoSurface broken(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 40000, 8));
    EXPECT_TRUE(writer.encode(broken.get()).empty());
    FakeKernel files;
    EXPECT_FALSE(writer.write(broken.get(), files.at("icon.png").string()));
    EXPECT_FALSE(std::filesystem::exists(files.at("icon.png")));
}

class PngWriterFile : public testing::Test {
protected:
    FakeKernel files;
    PngWriter writer;
    CairoSurface image = imageOf(40, 20, [](int x, int) { return x < 20 ? 0xFF00FF00 : 0U; });
    std::string path = files.at("icon.png").string();

    void expectWritten() {
        EXPECT_TRUE(writer.write(image.get(), path));
        EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(path)));
        EXPECT_TRUE(samePixels(decodePng(bytesOf(path)).get(), image.get()));
    }
};

TEST_F(PngWriterFile, IsNewOrReplaced) {
    expectWritten();
    expectWritten();
    files.file("icon.png", std::string(100'000, 'x'));
    expectWritten();
}

TEST_F(PngWriterFile, IsWritableForItsOwnerAlone) {
    for (const mode_t mask : {022U, 0U}) {
        const mode_t before = umask(mask);
        EXPECT_TRUE(writer.write(image.get(), path));
        umask(before);
        struct stat status {};
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0644U);
    }
}

TEST_F(PngWriterFile, NeverGoesThroughALink) {
    files.file("precious", "keep me");
    std::filesystem::create_symlink(files.at("precious"), path);
    expectWritten();
    std::filesystem::remove(path);
    std::filesystem::create_hard_link(files.at("precious"), path);
    expectWritten();
    std::filesystem::remove(path);
    std::filesystem::create_symlink(files.at("nowhere"), path);
    expectWritten();
    EXPECT_FALSE(std::filesystem::exists(files.at("nowhere")));
    const auto kept = bytesOf(files.at("precious"));
    EXPECT_EQ(std::string(kept.begin(), kept.end()), "keep me");
}

TEST_F(PngWriterFile, DoesNotWaitForAPipe) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    expectWritten();
}

TEST_F(PngWriterFile, FailsWhereNoFileCanBe) {
    files.directory("icon.png/inside");
    EXPECT_FALSE(writer.write(image.get(), path));
    EXPECT_TRUE(std::filesystem::exists(files.at("icon.png/inside")));
    EXPECT_FALSE(writer.write(image.get(), files.at("missing/icon.png").string()));
    EXPECT_FALSE(writer.write(image.get(), ""));
}

TEST_F(PngWriterFile, AFullDiskLeavesNoHalfFile) {
    const auto ignored = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{.rlim_cur = 60, .rlim_max = before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const bool written = writer.write(image.get(), path);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, ignored);
    EXPECT_FALSE(written);
    EXPECT_FALSE(std::filesystem::exists(path));
    expectWritten();
}
