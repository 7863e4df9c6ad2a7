#include <gtest/gtest.h>
#include <vips/vips.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/support/ConsoleCapture.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptImageLine.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/Image.hpp"

namespace vantoconnect {
namespace {

using testing::ConsoleCapture;

// An image whose every pixel in row y is rowColour(y).
Image rows(int width, int height, const std::function<std::array<std::uint8_t, 4>(int)>& colour) {
    std::vector<std::uint8_t> rgba;
    rgba.reserve(static_cast<std::size_t>(width) * height * 4);
    for (int y = 0; y < height; ++y) {
        const auto c = colour(y);
        for (int x = 0; x < width; ++x) {
            rgba.insert(rgba.end(), c.begin(), c.end());
        }
    }
    return Image::fromRGBA(width, height, rgba);
}

Image flat(int width, int height, std::array<std::uint8_t, 4> colour) {
    return rows(width, height, [&](int) { return colour; });
}

// The band groups of a receipt holding just this image.
std::vector<Bytes> bands(const Image& image) {
    VantoReceipt receipt;
    receipt.addLine(std::make_shared<VantoReceiptImageLine>(image));
    auto groups = ReceiptComposer().compose(receipt);
    return std::vector<Bytes>(groups.begin() + 1, groups.end() - 2);
}

// The columns of a band after its 5-byte header, each as 3 unsigned bytes.
std::vector<std::array<std::uint8_t, 3>> columns(const Bytes& band) {
    std::vector<std::array<std::uint8_t, 3>> out;
    for (std::size_t i = 5; i + 3 < band.size(); i += 3) {
        out.push_back({static_cast<std::uint8_t>(band[i]), static_cast<std::uint8_t>(band[i + 1]),
                       static_cast<std::uint8_t>(band[i + 2])});
    }
    return out;
}

// A 576-wide image halves across and keeps its height, so rows map one to one.
constexpr int kWide = 576;

TEST(Raster, BandLayoutOf288Columns) {
    ConsoleCapture console;
    auto groups = bands(flat(kWide, 24, {0, 0, 0, 255}));
    ASSERT_EQ(groups.size(), 1u);
    const Bytes& band = groups[0];
    ASSERT_EQ(band.size(), 870u);
    EXPECT_EQ(Bytes(band.begin(), band.begin() + 5), (Bytes{0x1B, 0x2A, 0x20, 0x20, 0x01}));
    EXPECT_EQ(band.back(), 0x0A);
    for (const auto& column : columns(band)) {
        ASSERT_EQ(column, (std::array<std::uint8_t, 3>{0xFF, 0xFF, 0xFF}));
    }
    EXPECT_EQ(console.lines(), (std::vector<std::string>{"width : 288 pixels", "height: 24 pixels",
                                                         "bits per pixel: 32"}));
}

TEST(Raster, LuminanceThresholdAndAlpha) {
    auto firstColumn = [](std::array<std::uint8_t, 4> colour) {
        ConsoleCapture quiet;
        return columns(bands(flat(kWide, 24, colour))[0])[0][0];
    };
    EXPECT_EQ(firstColumn({127, 127, 127, 255}), 0xFF);  // 126.99... truncates to 126
    EXPECT_EQ(firstColumn({128, 128, 128, 255}), 0x00);
    EXPECT_EQ(firstColumn({255, 255, 255, 255}), 0x00);
    EXPECT_EQ(firstColumn({0, 0, 255, 255}), 0xFF);  // blue is dark
    EXPECT_EQ(firstColumn({0, 255, 0, 255}), 0x00);  // green is light
    // Premultiplied: a fully transparent white pixel is black, and prints.
    EXPECT_EQ(firstColumn({255, 255, 255, 0}), 0xFF);
}

TEST(Raster, PartialLastBandIsPaddedWithBlankRows) {
    ConsoleCapture quiet;
    EXPECT_EQ(bands(flat(kWide, 24, {0, 0, 0, 255})).size(), 1u);
    auto groups = bands(flat(kWide, 25, {0, 0, 0, 255}));
    ASSERT_EQ(groups.size(), 2u);
    ASSERT_EQ(groups[1].size(), 870u);
    for (const auto& column : columns(groups[1])) {
        ASSERT_EQ(column, (std::array<std::uint8_t, 3>{0x80, 0x00, 0x00}));
    }
}

TEST(Raster, BitOrderWithinAColumn) {
    ConsoleCapture quiet;
    const auto topOnly = columns(bands(rows(kWide, 24, [](int y) {
        return y == 0 ? std::array<std::uint8_t, 4>{0, 0, 0, 255}
                      : std::array<std::uint8_t, 4>{255, 255, 255, 255};
    }))[0]);
    for (const auto& column : topOnly) {
        ASSERT_EQ(column, (std::array<std::uint8_t, 3>{0x80, 0x00, 0x00}));
    }
    // Rows 7, 8 and 23: the lowest bit of the first byte, the top of the second, the lowest of
    // the third.
    const auto spread = columns(bands(rows(kWide, 24, [](int y) {
        return (y == 7 || y == 8 || y == 23) ? std::array<std::uint8_t, 4>{0, 0, 0, 255}
                                             : std::array<std::uint8_t, 4>{255, 255, 255, 255};
    }))[0]);
    EXPECT_EQ(spread[100], (std::array<std::uint8_t, 3>{0x01, 0x80, 0x01}));
}

TEST(Raster, ScaledHeightRoundsHalfUpAndNeverReachesZero) {
    auto scaledHeight = [](int width, int height) {
        ConsoleCapture console;
        bands(flat(width, height, {255, 255, 255, 255}));
        return console.lines().at(1);
    };
    EXPECT_EQ(scaledHeight(1, 1), "height: 576 pixels");
    EXPECT_EQ(scaledHeight(1152, 1), "height: 1 pixels");  // exactly one half rounds up
    EXPECT_EQ(scaledHeight(1153, 1), "height: 1 pixels");  // below a half: never zero
    EXPECT_EQ(scaledHeight(10000, 3), "height: 1 pixels");
    EXPECT_EQ(scaledHeight(1000, 999), "height: 575 pixels");  // 575.424
    EXPECT_EQ(scaledHeight(288, 10), "height: 20 pixels");
}

TEST(Raster, ImageWithoutPixelsIsFatal) {
    VantoReceipt receipt;
    receipt.addLine(std::make_shared<VantoReceiptImageLine>(Image::fromRGBA(0, 0, {})));
    try {
        ReceiptComposer().compose(receipt);
        FAIL() << "composed an empty image";
    } catch (const FatalError& e) {
        EXPECT_EQ(std::string(e.what()), fatal::EMPTY_RANGE);
    }
}

// Files of awkward shapes from disk, through the whole path to bands.
TEST(Raster, OddlyShapedFilesFromDisk) {
    const auto dir = std::filesystem::temp_directory_path() /
                     ("vanto-raster-test-" + std::to_string(std::random_device{}()));
    std::filesystem::create_directories(dir);
    struct Case {
        std::string name;
        int width, height, bands;
        std::size_t expectedBands;
    };
    const Case cases[] = {
        {"one-wide.png", 1, 5, 4, 120},      // 2880 rows
        {"very-wide.jpg", 10000, 40, 3, 1},  // 2.3 rows
        {"tall.png", 30, 200, 2, 160},       // 3840 rows, grey with alpha
        {"tall.jpg", 97, 301, 1, 75},        // 1787.3 rows, grey
    };
    const std::uint8_t one[4] = {0, 0, 0, 255};
    (void)Image::fromRGBA(1, 1, one);  // the library under test starts the image library
    for (const Case& c : cases) {
        std::vector<std::uint8_t> pixels(static_cast<std::size_t>(c.width) * c.height * c.bands);
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            pixels[i] =
                static_cast<std::uint8_t>((i / static_cast<std::size_t>(c.bands)) % 2 ? 0 : 255);
        }
        VipsImage* image = vips_image_new_from_memory_copy(pixels.data(), pixels.size(), c.width,
                                                           c.height, c.bands, VIPS_FORMAT_UCHAR);
        ASSERT_NE(image, nullptr);
        const std::string path = (dir / c.name).string();
        ASSERT_EQ(vips_image_write_to_file(image, path.c_str(), nullptr), 0) << c.name;
        g_object_unref(image);

        const Image decoded = Image::fromFile(path);
        EXPECT_EQ(decoded.width(), c.width) << c.name;
        EXPECT_EQ(decoded.height(), c.height) << c.name;
        ConsoleCapture quiet;
        const auto groups = bands(decoded);
        EXPECT_EQ(groups.size(), c.expectedBands) << c.name;
        for (const Bytes& band : groups) {
            ASSERT_EQ(band.size(), 870u) << c.name;
        }
    }
    std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace vantoconnect
