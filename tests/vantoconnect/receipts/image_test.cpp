#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "tests/support/ConsoleCapture.hpp"
#include "tests/support/ImageFile.hpp"
#include "tests/support/ScratchDir.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptImageLine.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/Image.hpp"

namespace vantoconnect {
namespace {

using testing::ConsoleCapture;
using Rgba = std::array<std::uint8_t, 4>;

std::vector<std::uint8_t> pixelsOf(const Image& image) {
    return {image.rgba().begin(), image.rgba().end()};
}

TEST(ImageDecoding, FilesAndEncodedBytesBecomePremultipliedRgbaOrAClearError) {
    const testing::ScratchDir dir;
    // Opaque red, half-transparent white, fully transparent green.
    const std::string file = testing::writeImage(
        dir / "a.png", 3, 1, 4, {255, 0, 0, 255, 255, 255, 255, 128, 0, 255, 0, 0});
    const std::vector<std::uint8_t> premultiplied = {255, 0,   0, 255, 128, 128,
                                                     128, 128, 0, 0,   0,   0};
    EXPECT_EQ(pixelsOf(Image::fromFile(file)), premultiplied);
    std::ifstream in(file, std::ios::binary);
    EXPECT_EQ(pixelsOf(Image::fromEncoded(
                  std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {}))),
              premultiplied);
    EXPECT_EQ(pixelsOf(Image::fromFile(testing::writeImage(dir / "grey.png", 1, 2, 1, {0, 200}))),
              (std::vector<std::uint8_t>{0, 0, 0, 255, 200, 200, 200, 255}));

    // Whatever cannot be decoded is a clear error of its own.
    using namespace ::testing;
    const std::string broken = testing::writeImage(dir / "broken.png", 1, 1, 1, {0});
    { std::ofstream(broken) << "not an image at all"; }
    EXPECT_THAT([&] { Image::fromFile(broken); },
                ThrowsMessage<Image::Error>(AllOf(HasSubstr(broken), HasSubstr("cannot decode"))));
    EXPECT_THROW(Image::fromFile("/nonexistent/missing.png"), Image::Error);
    EXPECT_THROW(Image::fromEncoded(std::vector<std::uint8_t>{0x89, 'P', 'N', 'G', 1}),
                 Image::Error);
    EXPECT_THROW(Image::fromRGBA(1, 2, std::vector<std::uint8_t>(7)), Image::Error);
}

// ---- resampling against a reference --------------------------------------------------------

// Plain Lanczos-3 along one axis: output pixel o (its centre at o + 0.5) samples the source
// around (o + 0.5) * in / out, the kernel stretched by in / out when shrinking. Each tap is
// (source index, weight).
using Taps = std::vector<std::vector<std::pair<std::int64_t, double>>>;
Taps lanczosTaps(double in, double out) {
    Taps taps;
    const double ratio = in / out, scale = std::max(1.0, ratio);
    for (double o = 0.5; o < out; ++o) {
        auto& row = taps.emplace_back();
        for (double j = 0.5; j < in; ++j) {
            const double x = (j - o * ratio) / scale, px = std::numbers::pi * x;
            if (std::abs(x) < 3) {
                row.emplace_back(j, x == 0 ? 1 : 3 * std::sin(px) * std::sin(px / 3) / (px * px));
            }
        }
    }
    return taps;
}

// Weights are normalised per output pixel, so that those inside the image sum to one.
std::vector<std::uint8_t> referenceResize(const Image& image, int width, int height) {
    const Taps across = lanczosTaps(static_cast<double>(image.width()), width);
    const Taps down = lanczosTaps(static_cast<double>(image.height()), height);
    std::vector<std::uint8_t> out;
    for (const auto& rowTaps : down) {
        for (const auto& columnTaps : across) {
            double v[4] = {0, 0, 0, 0}, sum = 0;
            for (const auto& [y, wy] : rowTaps) {
                for (const auto& [x, wx] : columnTaps) {
                    const std::uint8_t* p = image.rgba().data() + (y * image.width() + x) * 4;
                    for (std::size_t c = 0; c < 4; ++c) {
                        v[c] += wy * wx * p[c];
                    }
                    sum += wy * wx;
                }
            }
            for (const double c : v) {
                out.push_back(
                    static_cast<std::uint8_t>(std::clamp(std::round(c / sum), 0.0, 255.0)));
            }
        }
    }
    return out;
}

// A picture with everything that trips a resampler: hard black/white edges, a gradient through
// the threshold, fine noise and a transparent corner.
Image testPicture(int width, int height, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<std::uint8_t> rgba;
    for (int i = 0; i < width * height; ++i) {
        const int x = i % width, y = i / width;
        const auto v =
            static_cast<std::uint8_t>((x / 7 + y / 5) % 3 == 0 ? (x / 3) % 2 * 255
                                      : y < height / 2         ? 255 * x / std::max(1, width - 1)
                                                               : static_cast<int>(random() % 256));
        const bool clear = x < width / 8 && y < height / 8;
        rgba.insert(rgba.end(), {v, static_cast<std::uint8_t>(255 - v / 2), v,
                                 static_cast<std::uint8_t>(clear ? 0 : 255)});
    }
    return Image::fromRGBA(width, height, rgba);
}

// Colours within a few steps of mid grey in every channel, each channel on its own, with
// steps and single-pixel spikes: nearly every output pixel lands close to the dot threshold,
// where a resampler that is merely close would print different dots.
Image nearThreshold(int width, int height, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<std::uint8_t> rgba;
    for (int i = 0; i < width * height; ++i) {
        const int x = i % width, y = i / width;
        const int step = ((x / 9 + y / 4) % 2 == 0) ? 3 : -3;
        Rgba p{};
        for (std::size_t c = 0; c < 3; ++c) {
            const int spike = random() % 23 == 0 ? 60 : 0;
            p[c] = static_cast<std::uint8_t>(127 + step + static_cast<int>(random() % 7) - 3 +
                                             (c == 1 ? -spike : spike));
        }
        p[3] = 255;
        rgba.insert(rgba.end(), p.begin(), p.end());
    }
    return Image::fromRGBA(width, height, rgba);
}

double luminance(const std::uint8_t* p) {
    return 0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2];
}

// Every channel within 1 of the reference, and so the same dot wherever the reference's
// luminance is 2 or more away from the threshold: a channel off by one moves luminance by at
// most one, so only those nearer than 2 may print differently.
TEST(Lanczos, MatchesTheReferenceOnManySizes) {
    const std::pair<int, int> sizes[] = {{1, 1},     {1, 2},     {3, 4},     {17, 5},   {100, 33},
                                         {287, 61},  {288, 24},  {289, 50},  {575, 90}, {576, 25},
                                         {577, 130}, {1000, 37}, {4000, 120}};
    unsigned seed = 1;
    std::size_t nearPixels = 0, nearWithin8 = 0;
    for (const auto& [width, height] : sizes) {
        for (const bool near : {false, true}) {
            SCOPED_TRACE(::testing::Message()
                         << width << " x " << height << (near ? ", near the threshold" : ""));
            const Image picture =
                near ? nearThreshold(width, height, seed++) : testPicture(width, height, seed++);
            const int scaled = std::max(1, (2 * height * 576 + width) / (2 * width));
            const Image mine = picture.resizedLanczos3(288, scaled);
            const std::vector<std::uint8_t> reference = referenceResize(picture, 288, scaled);
            ASSERT_EQ(mine.rgba().size(), reference.size());
            std::size_t channelsOff = 0, dotsOff = 0;
            for (std::size_t i = 0; i < reference.size(); i += 4) {
                for (std::size_t c = 0; c < 4; ++c) {
                    channelsOff += std::abs(reference[i + c] - mine.rgba()[i + c]) > 1 ? 1 : 0;
                }
                const double level = luminance(&reference[i]);
                nearPixels += near ? 1 : 0;
                nearWithin8 += near && std::abs(level - 127) < 8 ? 1 : 0;
                if (std::abs(level - 127) >= 2) {
                    const bool referenceDot = static_cast<int>(level) < 127;
                    const bool myDot = static_cast<int>(luminance(&mine.rgba()[i])) < 127;
                    dotsOff += referenceDot != myDot ? 1 : 0;
                }
            }
            EXPECT_EQ(channelsOff, 0u);
            EXPECT_EQ(dotsOff, 0u);
        }
    }
    // The near pictures must really test the threshold: most of their pixels sit within 8 of
    // it (a tiny picture may be all spike), so a luminance error of a few steps would show.
    EXPECT_GT(nearWithin8 * 2, nearPixels);
    EXPECT_THROW(testPicture(3, 3, 0).resizedLanczos3(0, 5), Image::Error);
}

// ---- rasterising into bands ----------------------------------------------------------------

Image flat(int width, int height, Rgba colour) {
    std::vector<std::uint8_t> rgba;
    for (int i = 0; i < width * height; ++i) {
        rgba.insert(rgba.end(), colour.begin(), colour.end());
    }
    return Image::fromRGBA(width, height, rgba);
}

// The band groups of a receipt holding just this image.
std::vector<Bytes> bands(const Image& image) {
    VantoReceipt receipt;
    receipt.addLine(std::make_shared<VantoReceiptImageLine>(image));
    auto groups = ReceiptComposer().compose(receipt);
    return std::vector<Bytes>(groups.begin() + 1, groups.end() - 2);
}

// A band of 288 identical 24-dot columns: header, 3 bytes a column, line feed; 870 bytes.
Bytes band(int b0, int b1, int b2) {
    Bytes out{0x1B, 0x2A, 0x20, 0x20, 0x01};
    for (int i = 0; i < 288 * 3; ++i) {
        out.push_back(static_cast<std::int8_t>(i % 3 == 0 ? b0 : i % 3 == 1 ? b1 : b2));
    }
    out.push_back(0x0A);
    return out;
}

// A 576-wide image halves across and keeps its height, so rows map one to one.
constexpr int kWide = 576;
constexpr Rgba kBlack = {0, 0, 0, 255};
constexpr Rgba kWhite = {255, 255, 255, 255};

TEST(Raster, BandsOf288ColumnsPaddedWithBlankRowsThresholdBitOrderAndNoPixels) {
    ConsoleCapture console;
    EXPECT_EQ(bands(flat(kWide, 25, kBlack)),
              (std::vector<Bytes>{band(0xFF, 0xFF, 0xFF), band(0x80, 0x00, 0x00)}));
    EXPECT_EQ(console.lines(), (std::vector<std::string>{"width : 288 pixels", "height: 25 pixels",
                                                         "bits per pixel: 32"}));
    // Luminance is 0.299 red + 0.587 green + 0.114 blue, truncated. Each weight is told apart:
    // swapping any two of them flips at least one of the four colours in the middle, and the
    // last two sit within 0.3 of the threshold, where rounder weights land on the other side.
    const std::pair<Rgba, bool> cases[] = {
        {{127, 127, 127, 255}, true},  // 126.99... truncates to 126
        {{128, 128, 128, 255}, false}, {kWhite, false},
        {{200, 100, 0, 255}, true},   // 118.5; red and green swapped: 147.3
        {{255, 100, 0, 255}, false},  // 134.9; red and blue swapped: 87.8
        {{0, 255, 0, 255}, false},    // 149.7; green and blue or red swapped: 29.1 or 76.2
        {{0, 0, 255, 255}, true},     // 29.1; green and blue swapped: 149.7
        {{255, 86, 0, 255}, true},    // 126.73; 0.3 and 0.59 would give 127.24
        {{0, 167, 255, 255}, false},  // 127.10; 0.11 for blue would give 126.08
        {{255, 255, 255, 0}, true},   // premultiplied: fully transparent white is black, and prints
    };
    for (const auto& [colour, prints] : cases) {
        EXPECT_EQ(bands(flat(kWide, 24, colour)),
                  std::vector<Bytes>{prints ? band(0xFF, 0xFF, 0xFF) : band(0, 0, 0)})
            << int(colour[0]) << " " << int(colour[1]) << " " << int(colour[2]);
    }
    const auto blackRows = [](std::initializer_list<int> black) {
        std::vector<std::uint8_t> rgba(kWide * 24 * 4, 255);
        for (int y : black) {
            std::fill_n(rgba.begin() + y * kWide * 4, kWide * 4, 0);  // transparent black prints
        }
        return bands(Image::fromRGBA(kWide, 24, rgba))[0];
    };
    // Rows 7, 8 and 23: the lowest bit of the first byte, the top of the second, the lowest of
    // the third.
    EXPECT_EQ(blackRows({7, 8, 23}), band(0x01, 0x80, 0x01));
    EXPECT_THAT([] { bands(Image::fromRGBA(0, 0, {})); },
                ::testing::ThrowsMessage<FatalError>(std::string(fatal::EMPTY_RANGE)));
}

// Images from memory and files of awkward shapes from disk, through the whole path to bands.
TEST(Raster, ScaledHeightRoundsHalfUpAndNeverReachesZero) {
    const testing::ScratchDir dir;
    const struct {
        std::string file;  // none: raw RGBA
        int width, height, bands, scaled;
    } cases[] = {
        {"", 1, 1, 4, 576},
        {"", 1152, 1, 4, 1},      // exactly one half rounds up
        {"", 1153, 1, 4, 1},      // below a half: never zero
        {"", 1000, 999, 4, 575},  // 575.424
        {"one-wide.png", 1, 5, 4, 2880},
        {"very-wide.jpg", 10000, 40, 3, 2},  // 2.304
        {"tall.png", 30, 200, 2, 3840},      // grey with alpha
        {"tall.jpg", 97, 301, 1, 1787},      // 1787.3, grey
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.width << " x " << c.height);
        const std::vector<std::uint8_t> pixels(
            static_cast<std::size_t>(c.width * c.height * c.bands), 255);
        const Image image = c.file.empty() ? Image::fromRGBA(c.width, c.height, pixels)
                                           : Image::fromFile(testing::writeImage(
                                                 dir / c.file, c.width, c.height, c.bands, pixels));
        ConsoleCapture console;
        const auto groups = bands(image);
        EXPECT_EQ(console.lines().at(1), "height: " + std::to_string(c.scaled) + " pixels");
        EXPECT_EQ(groups, std::vector<Bytes>((c.scaled + 23) / 24, band(0, 0, 0)));
    }
}

}  // namespace
}  // namespace vantoconnect
