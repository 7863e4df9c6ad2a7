#include "vantoconnect/support/Image.hpp"

#include <vips/vips.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <mutex>
#include <numbers>
#include <vector>

namespace vantoconnect {

struct Image::Pixels {
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::vector<std::uint8_t> rgba;
};

namespace {

// The image library keeps per-process state; start it on first use, from whichever thread.
void startImageLibrary() {
    static std::once_flag started;
    std::call_once(started, [] {
        if (VIPS_INIT("vantoconnect") != 0) {
            throw Image::Error("cannot start the image library");
        }
    });
}

std::string takeLibraryError() {
    std::string reason = vips_error_buffer();
    vips_error_clear();
    while (!reason.empty() && (reason.back() == '\n' || reason.back() == ' ')) {
        reason.pop_back();
    }
    std::replace(reason.begin(), reason.end(), '\n', ';');
    return reason.empty() ? "unknown reason" : reason;
}

class VipsRef {
  public:
    explicit VipsRef(VipsImage* image = nullptr) : mImage(image) {}
    ~VipsRef() {
        if (mImage != nullptr) {
            g_object_unref(mImage);
        }
    }
    VipsRef(const VipsRef&) = delete;
    VipsRef& operator=(const VipsRef&) = delete;
    VipsImage* get() const { return mImage; }
    VipsImage** out() { return &mImage; }

  private:
    VipsImage* mImage;
};

// Straight alpha to premultiplied, rounding to nearest, so an opaque pixel keeps its colour and
// a fully transparent one becomes 0, 0, 0, 0.
void premultiply(std::vector<std::uint8_t>& rgba) {
    for (std::size_t i = 0; i + 3 < rgba.size(); i += 4) {
        const unsigned a = rgba[i + 3];
        if (a == 255) {
            continue;
        }
        for (std::size_t c = 0; c < 3; ++c) {
            rgba[i + c] = static_cast<std::uint8_t>((rgba[i + c] * a + 127) / 255);
        }
    }
}

// Brings any decoded image to 8-bit sRGB with alpha and copies its pixels out. what names the
// source in the error message.
std::vector<std::uint8_t> toRGBA(VipsImage* decoded, const std::string& what, std::int64_t& width,
                                 std::int64_t& height) {
    const auto fail = [&](const std::string& step) -> Image::Error {
        return Image::Error("cannot decode " + what + " (" + step + "): " + takeLibraryError());
    };
    VipsRef srgb;
    if (vips_colourspace(decoded, srgb.out(), VIPS_INTERPRETATION_sRGB, nullptr) != 0) {
        throw fail("colour conversion");
    }
    VipsRef bytes;
    if (vips_cast_uchar(srgb.get(), bytes.out(), nullptr) != 0) {
        throw fail("8-bit conversion");
    }
    VipsRef four;
    const int bands = vips_image_get_bands(bytes.get());
    int status = 0;
    if (bands == 3) {
        status = vips_bandjoin_const1(bytes.get(), four.out(), 255.0, nullptr);
    } else if (bands > 4) {
        status = vips_extract_band(bytes.get(), four.out(), 0, "n", 4, nullptr);
    } else if (bands == 4) {
        status = vips_copy(bytes.get(), four.out(), nullptr);
    } else {
        vips_error("vantoconnect", "%d bands after colour conversion", bands);
        status = -1;
    }
    if (status != 0) {
        throw fail("alpha channel");
    }
    std::size_t size = 0;
    void* memory = vips_image_write_to_memory(four.get(), &size);
    if (memory == nullptr) {
        throw fail("pixels");
    }
    const auto* begin = static_cast<const std::uint8_t*>(memory);
    std::vector<std::uint8_t> rgba(begin, begin + size);
    g_free(memory);
    width = vips_image_get_width(four.get());
    height = vips_image_get_height(four.get());
    if (rgba.size() != static_cast<std::size_t>(width * height * 4)) {
        throw Image::Error("cannot decode " + what + ": unexpected pixel layout");
    }
    premultiply(rgba);
    return rgba;
}

// ---- Lanczos-3 resampling -------------------------------------------------------------------

double lanczos3(double x) {
    x = std::abs(x);
    if (x < 1e-9) {
        return 1.0;
    }
    if (x >= 3.0) {
        return 0.0;
    }
    const double px = std::numbers::pi * x;
    return 3.0 * std::sin(px) * std::sin(px / 3.0) / (px * px);
}

// The weights of one axis: every output position reads `taps` consecutive source positions from
// start[o]. Each output has the same number of taps (zero-weighted where its window is narrower),
// rounded up to an even count, so the inner loops have a fixed, vectorisable shape.
struct AxisWeights {
    std::int64_t taps = 0;
    std::vector<std::int64_t> start;
    std::vector<float> weights;  // out x taps
};

AxisWeights axisWeights(std::int64_t in, std::int64_t out) {
    const double ratio = static_cast<double>(in) / static_cast<double>(out);
    const double filterScale = std::max(1.0, ratio);
    const double support = 3.0 * filterScale;
    struct Window {
        std::int64_t first;
        std::int64_t last;
        double centre;
    };
    std::vector<Window> windows(static_cast<std::size_t>(out));
    std::int64_t widest = 1;
    for (std::int64_t o = 0; o < out; ++o) {
        const double centre = (static_cast<double>(o) + 0.5) * ratio;
        auto first = static_cast<std::int64_t>(std::ceil(centre - support - 0.5));
        auto last = static_cast<std::int64_t>(std::floor(centre + support - 0.5));
        first = std::clamp<std::int64_t>(first, 0, in - 1);
        last = std::clamp<std::int64_t>(last, 0, in - 1);
        windows[static_cast<std::size_t>(o)] = {first, last, centre};
        widest = std::max(widest, last - first + 1);
    }
    AxisWeights axis;
    axis.taps = std::min<std::int64_t>(widest + (widest & 1), in);
    axis.start.resize(static_cast<std::size_t>(out));
    axis.weights.assign(static_cast<std::size_t>(out * axis.taps), 0.0f);
    for (std::int64_t o = 0; o < out; ++o) {
        const Window& w = windows[static_cast<std::size_t>(o)];
        const std::int64_t start = std::min(w.first, in - axis.taps);
        axis.start[static_cast<std::size_t>(o)] = start;
        double sum = 0.0;
        std::vector<double> raw(static_cast<std::size_t>(axis.taps), 0.0);
        for (std::int64_t j = w.first; j <= w.last; ++j) {
            const double weight = lanczos3((static_cast<double>(j) + 0.5 - w.centre) / filterScale);
            raw[static_cast<std::size_t>(j - start)] = weight;
            sum += weight;
        }
        if (sum == 0.0) {
            // Cannot happen for a Lanczos window around a centre, but never divide by it.
            raw[static_cast<std::size_t>(
                std::clamp<std::int64_t>(static_cast<std::int64_t>(w.centre), 0, in - 1) - start)] =
                1.0;
            sum = 1.0;
        }
        for (std::int64_t k = 0; k < axis.taps; ++k) {
            axis.weights[static_cast<std::size_t>(o * axis.taps + k)] =
                static_cast<float>(raw[static_cast<std::size_t>(k)] / sum);
        }
    }
    return axis;
}

// Eight floats in one value; the compiler maps it to whatever vector registers the target has.
using Float8 = float __attribute__((vector_size(32)));

// The resampling kernels are written once and compiled twice, for the baseline instruction set
// and for AVX2, picked at run time; everything they call must inline into both.
#define VANTO_KERNEL [[gnu::always_inline]] inline

VANTO_KERNEL void load8(Float8& v, const float* p) {
    std::memcpy(&v, p, sizeof v);
}

// Resamples each of `rows` rows, `in` RGBA pixels wide, to `axis`'s output width. Rows are
// widened to floats a few at a time and share each weight load, which is what bounds this loop.
template <typename In>
VANTO_KERNEL void resampleRows(const In* src, std::int64_t in, std::int64_t rows,
                               const AxisWeights& axis, float* dst) {
    constexpr std::int64_t block = 4;
    const std::int64_t out = static_cast<std::int64_t>(axis.start.size());
    // Each weight repeated for the four channels and the run padded to a multiple of eight
    // with zero weights, so a tap run is whole vectors.
    const std::int64_t span = (axis.taps * 4 + 7) / 8 * 8;
    std::vector<float> wide(static_cast<std::size_t>(out * span), 0.0f);
    for (std::int64_t o = 0; o < out; ++o) {
        for (std::int64_t k = 0; k < axis.taps; ++k) {
            for (int c = 0; c < 4; ++c) {
                wide[static_cast<std::size_t>(o * span + k * 4 + c)] =
                    axis.weights[static_cast<std::size_t>(o * axis.taps + k)];
            }
        }
    }
    // The padding may read up to one pixel past a row; those floats exist and are zero.
    const std::int64_t stride = in * 4 + 8;
    std::vector<float> scratch(static_cast<std::size_t>(block * stride), 0.0f);
    for (std::int64_t y0 = 0; y0 < rows; y0 += block) {
        const std::int64_t count = std::min(block, rows - y0);
        for (std::int64_t r = 0; r < count; ++r) {
            const In* row = src + (y0 + r) * in * 4;
            float* widened = scratch.data() + r * stride;
            for (std::int64_t i = 0; i < in * 4; ++i) {
                widened[i] = static_cast<float>(row[i]);
            }
        }
        const float* r0 = scratch.data();
        const float* r1 = r0 + stride;
        const float* r2 = r1 + stride;
        const float* r3 = r2 + stride;
        for (std::int64_t o = 0; o < out; ++o) {
            const std::int64_t s = axis.start[static_cast<std::size_t>(o)] * 4;
            const float* w = wide.data() + o * span;
            Float8 a0 = {}, a1 = {}, a2 = {}, a3 = {};
            for (std::int64_t m = 0; m < span; m += 8) {
                Float8 weight, p0, p1, p2, p3;
                load8(weight, w + m);
                load8(p0, r0 + s + m);
                load8(p1, r1 + s + m);
                load8(p2, r2 + s + m);
                load8(p3, r3 + s + m);
                a0 += weight * p0;
                a1 += weight * p1;
                a2 += weight * p2;
                a3 += weight * p3;
            }
            float sums[block][4];
            for (int c = 0; c < 4; ++c) {
                sums[0][c] = a0[c] + a0[c + 4];
                sums[1][c] = a1[c] + a1[c + 4];
                sums[2][c] = a2[c] + a2[c + 4];
                sums[3][c] = a3[c] + a3[c + 4];
            }
            for (std::int64_t r = 0; r < count; ++r) {
                std::memcpy(dst + ((y0 + r) * out + o) * 4, sums[r], sizeof sums[r]);
            }
        }
    }
}

// Resamples the columns of an image `rowLength` values wide to `axis`'s output height.
template <typename In>
VANTO_KERNEL void resampleColumns(const In* src, std::int64_t rowLength, const AxisWeights& axis,
                                  float* dst) {
    const std::int64_t out = static_cast<std::int64_t>(axis.start.size());
    for (std::int64_t o = 0; o < out; ++o) {
        float* outRow = dst + o * rowLength;
        std::fill(outRow, outRow + rowLength, 0.0f);
        const float* w = axis.weights.data() + o * axis.taps;
        const In* first = src + axis.start[static_cast<std::size_t>(o)] * rowLength;
        for (std::int64_t k = 0; k < axis.taps; ++k) {
            const float weight = w[k];
            if (weight == 0.0f) {
                continue;
            }
            const In* row = first + k * rowLength;
            for (std::int64_t x = 0; x < rowLength; ++x) {
                outRow[x] += weight * static_cast<float>(row[x]);
            }
        }
    }
}

VANTO_KERNEL std::vector<std::uint8_t> toBytes(const float* floats, std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    for (std::size_t i = 0; i < count; ++i) {
        const float v = std::clamp(floats[i] + 0.5f, 0.0f, 255.0f);
        bytes[i] = static_cast<std::uint8_t>(v);
    }
    return bytes;
}

VANTO_KERNEL std::vector<std::uint8_t> resizeKernel(const std::uint8_t* source, std::int64_t inW,
                                                    std::int64_t inH, std::int64_t width,
                                                    std::int64_t height) {
    const AxisWeights across = axisWeights(inW, width);
    const AxisWeights down = axisWeights(inH, height);
    // Every float of these buffers is written before it is read: no zero-filling.
    const std::unique_ptr<float[]> result(new float[static_cast<std::size_t>(width * height * 4)]);
    // Whichever order does less work; the first pass runs over the whole source, so the axis
    // that shrinks most usually goes first.
    const double rowsFirst = static_cast<double>(width * inH * across.taps) +
                             static_cast<double>(width * height * down.taps);
    const double columnsFirst = static_cast<double>(inW * height * down.taps) +
                                static_cast<double>(width * height * across.taps);
    if (rowsFirst <= columnsFirst) {
        const std::unique_ptr<float[]> middle(new float[static_cast<std::size_t>(width * inH * 4)]);
        resampleRows(source, inW, inH, across, middle.get());
        resampleColumns(middle.get(), width * 4, down, result.get());
    } else {
        const std::unique_ptr<float[]> middle(
            new float[static_cast<std::size_t>(inW * height * 4)]);
        resampleColumns(source, inW * 4, down, middle.get());
        resampleRows(middle.get(), inW, height, across, result.get());
    }
    return toBytes(result.get(), static_cast<std::size_t>(width * height * 4));
}

std::vector<std::uint8_t> resizeBaseline(const std::uint8_t* source, std::int64_t inW,
                                         std::int64_t inH, std::int64_t width,
                                         std::int64_t height) {
    return resizeKernel(source, inW, inH, width, height);
}

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
__attribute__((target("avx2,fma"))) std::vector<std::uint8_t> resizeAvx2(const std::uint8_t* source,
                                                                         std::int64_t inW,
                                                                         std::int64_t inH,
                                                                         std::int64_t width,
                                                                         std::int64_t height) {
    return resizeKernel(source, inW, inH, width, height);
}
#endif

std::vector<std::uint8_t> resize(const std::uint8_t* source, std::int64_t inW, std::int64_t inH,
                                 std::int64_t width, std::int64_t height) {
#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
    static const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    if (avx2) {
        return resizeAvx2(source, inW, inH, width, height);
    }
#endif
    return resizeBaseline(source, inW, inH, width, height);
}

}  // namespace

Image::Image(std::shared_ptr<const Pixels> pixels) : mPixels(std::move(pixels)) {}

Image Image::fromFile(const std::string& path) {
    startImageLibrary();
    VipsRef decoded(
        vips_image_new_from_file(path.c_str(), "access", VIPS_ACCESS_SEQUENTIAL, nullptr));
    if (decoded.get() == nullptr) {
        throw Error("cannot decode image file '" + path + "': " + takeLibraryError());
    }
    auto pixels = std::make_shared<Pixels>();
    pixels->rgba =
        toRGBA(decoded.get(), "image file '" + path + "'", pixels->width, pixels->height);
    return Image(std::move(pixels));
}

Image Image::fromEncoded(std::span<const std::uint8_t> encoded) {
    startImageLibrary();
    VipsRef decoded(vips_image_new_from_buffer(encoded.data(), encoded.size(), "", "access",
                                               VIPS_ACCESS_SEQUENTIAL, nullptr));
    const std::string what = "encoded image of " + std::to_string(encoded.size()) + " bytes";
    if (decoded.get() == nullptr) {
        throw Error("cannot decode " + what + ": " + takeLibraryError());
    }
    auto pixels = std::make_shared<Pixels>();
    pixels->rgba = toRGBA(decoded.get(), what, pixels->width, pixels->height);
    return Image(std::move(pixels));
}

Image Image::fromRGBA(std::int64_t width, std::int64_t height, std::span<const std::uint8_t> rgba) {
    if (width < 0 || height < 0 || (height > 0 && width > INT64_MAX / 4 / height) ||
        static_cast<std::uint64_t>(width * height * 4) != rgba.size()) {
        throw Error("RGBA pixels of " + std::to_string(rgba.size()) + " bytes do not make a " +
                    std::to_string(width) + " x " + std::to_string(height) + " image");
    }
    auto pixels = std::make_shared<Pixels>();
    pixels->width = width;
    pixels->height = height;
    pixels->rgba.assign(rgba.begin(), rgba.end());
    premultiply(pixels->rgba);
    return Image(std::move(pixels));
}

std::int64_t Image::width() const {
    return mPixels->width;
}
std::int64_t Image::height() const {
    return mPixels->height;
}
std::span<const std::uint8_t> Image::rgba() const {
    return mPixels->rgba;
}

Image Image::resizedLanczos3(std::int64_t width, std::int64_t height) const {
    const std::int64_t inW = mPixels->width;
    const std::int64_t inH = mPixels->height;
    if (width <= 0 || height <= 0 || inW <= 0 || inH <= 0) {
        throw Error("cannot resize a " + std::to_string(inW) + " x " + std::to_string(inH) +
                    " image to " + std::to_string(width) + " x " + std::to_string(height));
    }
    auto pixels = std::make_shared<Pixels>();
    pixels->width = width;
    pixels->height = height;
    pixels->rgba = resize(mPixels->rgba.data(), inW, inH, width, height);
    return Image(std::move(pixels));
}

}  // namespace vantoconnect
