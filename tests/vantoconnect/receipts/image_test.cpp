#include <gtest/gtest.h>
#include <vips/vips.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "vantoconnect/support/Image.hpp"

namespace vantoconnect {
namespace {

namespace fs = std::filesystem;

class TempDir {
  public:
    TempDir() {
        path_ = fs::temp_directory_path() /
                ("vanto-image-test-" + std::to_string(std::random_device{}()));
        fs::create_directories(path_);
    }
    ~TempDir() { fs::remove_all(path_); }
    std::string file(const std::string& name) const { return (path_ / name).string(); }

  private:
    fs::path path_;
};

// Writes bands-per-pixel 8-bit pixels to a file in the format its suffix names.
void writeImage(const std::string& path, int width, int height, int bands,
                const std::vector<std::uint8_t>& pixels) {
    // The library under test starts the image library itself; make sure it has before we use it.
    const std::uint8_t one[4] = {0, 0, 0, 255};
    (void)Image::fromRGBA(1, 1, one);
    VipsImage* image = vips_image_new_from_memory_copy(pixels.data(), pixels.size(), width, height,
                                                       bands, VIPS_FORMAT_UCHAR);
    ASSERT_NE(image, nullptr);
    ASSERT_EQ(vips_image_write_to_file(image, path.c_str(), nullptr), 0) << vips_error_buffer();
    g_object_unref(image);
}

TEST(ImageDecoding, PngKeepsSizeColourAndPremultipliesAlpha) {
    TempDir dir;
    // Opaque red, half-transparent white, fully transparent green.
    writeImage(dir.file("a.png"), 3, 1, 4, {255, 0, 0, 255, 255, 255, 255, 128, 0, 255, 0, 0});
    const Image image = Image::fromFile(dir.file("a.png"));
    ASSERT_EQ(image.width(), 3);
    ASSERT_EQ(image.height(), 1);
    const std::vector<std::uint8_t> expected = {255, 0, 0, 255, 128, 128, 128, 128, 0, 0, 0, 0};
    EXPECT_EQ(std::vector<std::uint8_t>(image.rgba().begin(), image.rgba().end()), expected);
}

TEST(ImageDecoding, GreyAndRgbGainOpaqueAlphaFromFileAndMemory) {
    TempDir dir;
    writeImage(dir.file("grey.png"), 1, 2, 1, {0, 200});
    const Image grey = Image::fromFile(dir.file("grey.png"));
    EXPECT_EQ(std::vector<std::uint8_t>(grey.rgba().begin(), grey.rgba().end()),
              (std::vector<std::uint8_t>{0, 0, 0, 255, 200, 200, 200, 255}));

    writeImage(dir.file("rgb.jpg"), 16, 8, 3, std::vector<std::uint8_t>(16 * 8 * 3, 255));
    std::ifstream in(dir.file("rgb.jpg"), std::ios::binary);
    const std::vector<std::uint8_t> encoded((std::istreambuf_iterator<char>(in)),
                                            std::istreambuf_iterator<char>());
    const Image jpeg = Image::fromEncoded(encoded);
    EXPECT_EQ(jpeg.width(), 16);
    EXPECT_EQ(jpeg.height(), 8);
    for (std::uint8_t v : jpeg.rgba()) {
        EXPECT_GE(v, 250);
    }
}

TEST(ImageDecoding, UndecodableInputIsAClearImageError) {
    TempDir dir;
    { std::ofstream(dir.file("broken.png")) << "not an image at all"; }
    const auto messageOf = [](auto&& make) -> std::string {
        try {
            make();
        } catch (const Image::Error& e) {
            return e.what();
        }
        return "<no error>";
    };
    const std::string broken = messageOf([&] { Image::fromFile(dir.file("broken.png")); });
    EXPECT_NE(broken.find(dir.file("broken.png")), std::string::npos) << broken;
    EXPECT_NE(broken.find("cannot decode"), std::string::npos) << broken;
    const std::string missing = messageOf([&] { Image::fromFile(dir.file("missing.png")); });
    EXPECT_NE(missing.find("missing.png"), std::string::npos) << missing;

    const std::vector<std::uint8_t> garbage = {0x89, 'P', 'N', 'G', 1, 2, 3};
    EXPECT_NE(messageOf([&] { Image::fromEncoded(garbage); }).find("cannot decode"),
              std::string::npos);
    EXPECT_THROW(Image::fromEncoded({}), Image::Error);

    const std::vector<std::uint8_t> seven(7);
    EXPECT_THROW(Image::fromRGBA(1, 2, seven), Image::Error);
    EXPECT_THROW(Image::fromRGBA(-1, -1, {}), Image::Error);
    EXPECT_EQ(Image::fromRGBA(0, 0, {}).width(), 0);
}

// ---- resampling against a reference --------------------------------------------------------

double lanczos(double x) {
    if (x == 0.0) {
        return 1.0;
    }
    if (std::abs(x) >= 3.0) {
        return 0.0;
    }
    const double px = std::numbers::pi * x;
    return 3.0 * std::sin(px) * std::sin(px / 3.0) / (px * px);
}

// One axis of a plain Lanczos-3 resampling: output position o is centred at (o + 0.5) * in/out
// in source coordinates, the kernel is stretched by in/out when shrinking, and the weights of
// the source pixels inside the image are normalised to sum to one.
std::vector<double> referenceAxis(const std::vector<double>& src, int in, int out, int count,
                                  int stride, int step) {
    std::vector<double> dst(static_cast<std::size_t>(count) * out * 4);
    const double ratio = static_cast<double>(in) / out;
    const double scale = std::max(1.0, ratio);
    for (int line = 0; line < count; ++line) {
        for (int o = 0; o < out; ++o) {
            const double centre = (o + 0.5) * ratio;
            double acc[4] = {0, 0, 0, 0};
            double sum = 0;
            const int first = std::max(0, static_cast<int>(std::floor(centre - 3 * scale)));
            const int last = std::min(in - 1, static_cast<int>(std::ceil(centre + 3 * scale)));
            for (int j = first; j <= last; ++j) {
                const double w = lanczos((j + 0.5 - centre) / scale);
                if (w == 0.0) {
                    continue;
                }
                sum += w;
                for (int c = 0; c < 4; ++c) {
                    acc[c] += w * src[static_cast<std::size_t>(line) * stride + j * step + c];
                }
            }
            for (int c = 0; c < 4; ++c) {
                dst[(static_cast<std::size_t>(line) * out + o) * 4 + c] = acc[c] / sum;
            }
        }
    }
    return dst;
}

std::vector<std::uint8_t> referenceResize(const Image& image, int width, int height) {
    const int w = static_cast<int>(image.width());
    const int h = static_cast<int>(image.height());
    std::vector<double> src(image.rgba().begin(), image.rgba().end());
    // Rows first (each row a line of w pixels), then columns of the narrowed image, transposed
    // back as we go.
    const std::vector<double> rows = referenceAxis(src, w, width, h, w * 4, 4);
    const std::vector<double> cols = referenceAxis(rows, h, height, width, 4, width * 4);
    std::vector<std::uint8_t> out(static_cast<std::size_t>(width) * height * 4);
    for (int x = 0; x < width; ++x) {
        for (int y = 0; y < height; ++y) {
            for (int c = 0; c < 4; ++c) {
                const double v = cols[(static_cast<std::size_t>(x) * height + y) * 4 + c];
                out[(static_cast<std::size_t>(y) * width + x) * 4 + c] =
                    static_cast<std::uint8_t>(std::clamp(std::floor(v + 0.5), 0.0, 255.0));
            }
        }
    }
    return out;
}

// A picture with everything that trips a resampler: hard black/white edges, a gradient through
// the threshold, fine noise and a transparent corner.
Image testPicture(int width, int height, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<std::uint8_t> rgba(static_cast<std::size_t>(width) * height * 4);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::uint8_t* p = &rgba[(static_cast<std::size_t>(y) * width + x) * 4];
            std::uint8_t v;
            if ((x / 7 + y / 5) % 3 == 0) {
                v = ((x / 3) % 2) != 0 ? 0 : 255;
            } else if (y < height / 2) {
                v = static_cast<std::uint8_t>(255 * x / std::max(1, width - 1));
            } else {
                v = static_cast<std::uint8_t>(random() % 256);
            }
            p[0] = v;
            p[1] = static_cast<std::uint8_t>(255 - v / 2);
            p[2] = v;
            p[3] = (x < width / 8 && y < height / 8) ? 0 : 255;
        }
    }
    return Image::fromRGBA(width, height, rgba);
}

bool dot(const std::uint8_t* p) {
    return static_cast<int>(0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2]) < 127;
}

TEST(Lanczos, MatchesReferenceOnManySizes) {
    struct Size {
        int width, height;
    };
    const Size sizes[] = {{1, 1},     {1, 2},     {3, 4},     {17, 5},   {100, 33},
                          {287, 61},  {288, 24},  {289, 50},  {575, 90}, {576, 25},
                          {577, 130}, {1000, 37}, {4000, 120}};
    unsigned seed = 1;
    for (const Size& s : sizes) {
        const Image picture = testPicture(s.width, s.height, seed++);
        const int height =
            std::max(1, static_cast<int>((2LL * s.height * 576 + s.width) / (2LL * s.width)));
        const Image mine = picture.resizedLanczos3(288, height);
        ASSERT_EQ(mine.width(), 288);
        ASSERT_EQ(mine.height(), height);
        const std::vector<std::uint8_t> reference = referenceResize(picture, 288, height);
        std::size_t differentDots = 0;
        int worst = 0;
        for (std::size_t i = 0; i < reference.size(); i += 4) {
            differentDots += dot(&reference[i]) != dot(&mine.rgba()[i]) ? 1 : 0;
            for (int c = 0; c < 4; ++c) {
                worst = std::max(worst, std::abs(reference[i + c] - mine.rgba()[i + c]));
            }
        }
        const double dots = static_cast<double>(reference.size() / 4);
        EXPECT_LT(static_cast<double>(differentDots) / dots, 0.005) << s.width << " x " << s.height;
        EXPECT_LE(worst, 1) << s.width << " x " << s.height;
    }
}

TEST(Lanczos, FlatImagesStayFlatAndIdentityIsExact) {
    std::vector<std::uint8_t> grey(40 * 30 * 4);
    for (std::size_t i = 0; i < grey.size(); ++i) {
        grey[i] = (i % 4 == 3) ? 255 : 127;
    }
    const Image flat = Image::fromRGBA(40, 30, grey);
    for (const auto& [w, h] : {std::pair{288, 432}, std::pair{7, 3}, std::pair{1, 1}}) {
        const Image scaled = flat.resizedLanczos3(w, h);
        for (std::size_t i = 0; i < scaled.rgba().size(); ++i) {
            ASSERT_EQ(scaled.rgba()[i], i % 4 == 3 ? 255 : 127);
        }
    }
    const Image picture = testPicture(31, 9, 99);
    const Image same = picture.resizedLanczos3(31, 9);
    EXPECT_TRUE(std::equal(same.rgba().begin(), same.rgba().end(), picture.rgba().begin()));
    EXPECT_THROW(picture.resizedLanczos3(0, 5), Image::Error);
}

}  // namespace
}  // namespace vantoconnect
