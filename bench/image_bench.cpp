// Image printing costs: rasterising an already-decoded image to the composer's band groups,
// and, separately, decoding, each beside what the image library itself takes for the same job.

#include <benchmark/benchmark.h>
#include <vips/vips.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptImageLine.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/Image.hpp"

namespace {

using namespace vantoconnect;

// A photo-like picture: smooth light and shade with texture, opaque.
std::vector<std::uint8_t> photoPixels(int width, int height) {
    std::vector<std::uint8_t> rgb(static_cast<std::size_t>(width) * height * 3);
    std::uint32_t noise = 12345;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            noise = noise * 1664525u + 1013904223u;
            const double shade = 127.5 + 100.0 * std::sin(x * 0.004) * std::cos(y * 0.006);
            const int v = static_cast<int>(shade) + static_cast<int>((noise >> 24) % 31) - 15;
            std::uint8_t* p = &rgb[(static_cast<std::size_t>(y) * width + x) * 3];
            p[0] = static_cast<std::uint8_t>(std::clamp(v, 0, 255));
            p[1] = static_cast<std::uint8_t>(std::clamp(v + 20, 0, 255));
            p[2] = static_cast<std::uint8_t>(std::clamp(255 - v, 0, 255));
        }
    }
    return rgb;
}

std::vector<std::uint8_t> encodedJpeg(int width, int height) {
    (void)Image::fromRGBA(0, 0, {});  // the library starts the image library
    const auto rgb = photoPixels(width, height);
    VipsImage* image = vips_image_new_from_memory_copy(rgb.data(), rgb.size(), width, height, 3,
                                                       VIPS_FORMAT_UCHAR);
    void* buffer = nullptr;
    std::size_t size = 0;
    if (image == nullptr || vips_jpegsave_buffer(image, &buffer, &size, "Q", 90, nullptr) != 0) {
        throw std::runtime_error(vips_error_buffer());
    }
    std::vector<std::uint8_t> jpeg(static_cast<std::uint8_t*>(buffer),
                                   static_cast<std::uint8_t*>(buffer) + size);
    g_free(buffer);
    g_object_unref(image);
    return jpeg;
}

const std::vector<std::uint8_t>& photoJpeg() {
    static const auto jpeg = encodedJpeg(4000, 3000);
    return jpeg;
}

void rasterise(benchmark::State& state, int width, int height) {
    setConsoleSink([](auto) {});
    const Image image = Image::fromEncoded(encodedJpeg(width, height));
    VantoReceipt receipt;
    receipt.addLine(std::make_shared<VantoReceiptImageLine>(image));
    for (auto _ : state) {
        auto groups = ReceiptComposer().compose(receipt);
        benchmark::DoNotOptimize(groups);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_RasteriseLogo600x200(benchmark::State& state) {
    rasterise(state, 600, 200);
}
BENCHMARK(BM_RasteriseLogo600x200)->Unit(benchmark::kMillisecond);

void BM_RasterisePhoto4000x3000(benchmark::State& state) {
    rasterise(state, 4000, 3000);
}
BENCHMARK(BM_RasterisePhoto4000x3000)->Unit(benchmark::kMillisecond);

// Our resampler alone, to the printer's size for the photo.
void BM_Lanczos3Photo(benchmark::State& state) {
    const Image image = Image::fromEncoded(photoJpeg());
    for (auto _ : state) {
        benchmark::DoNotOptimize(image.resizedLanczos3(288, 432));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Lanczos3Photo)->Unit(benchmark::kMillisecond);

// For scale: the image library's own Lanczos-3 resize of the same decoded photo, pure Lanczos
// (no shrink-on-load shortcut), into memory.
void BM_VipsResizeLanczos3Photo(benchmark::State& state) {
    const Image image = Image::fromEncoded(photoJpeg());
    VipsImage* in = vips_image_new_from_memory(image.rgba().data(), image.rgba().size(), 4000, 3000,
                                               4, VIPS_FORMAT_UCHAR);
    for (auto _ : state) {
        VipsImage* out = nullptr;
        if (vips_resize(in, &out, 288.0 / 4000.0, "vscale", 432.0 / 3000.0, "kernel",
                        VIPS_KERNEL_LANCZOS3, "gap", 0.0, nullptr) != 0) {
            state.SkipWithError(vips_error_buffer());
            break;
        }
        std::size_t size = 0;
        void* memory = vips_image_write_to_memory(out, &size);
        benchmark::DoNotOptimize(memory);
        g_free(memory);
        g_object_unref(out);
    }
    g_object_unref(in);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_VipsResizeLanczos3Photo)->Unit(benchmark::kMillisecond);

// Decoding the photo's JPEG into an Image (decode, colour, alpha, premultiply) ...
void BM_DecodePhotoToImage(benchmark::State& state) {
    const auto& jpeg = photoJpeg();
    for (auto _ : state) {
        benchmark::DoNotOptimize(Image::fromEncoded(jpeg));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DecodePhotoToImage)->Unit(benchmark::kMillisecond);

// ... beside the image library decoding the same bytes to memory and nothing more.
void BM_VipsDecodePhoto(benchmark::State& state) {
    const auto& jpeg = photoJpeg();
    for (auto _ : state) {
        VipsImage* image = vips_image_new_from_buffer(jpeg.data(), jpeg.size(), "", "access",
                                                      VIPS_ACCESS_SEQUENTIAL, nullptr);
        std::size_t size = 0;
        void* memory = vips_image_write_to_memory(image, &size);
        benchmark::DoNotOptimize(memory);
        g_free(memory);
        g_object_unref(image);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_VipsDecodePhoto)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
