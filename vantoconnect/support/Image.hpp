#pragma once

// An immutable decoded image: 8-bit RGBA, 4 bytes per pixel, rows packed top to bottom, alpha
// premultiplied (a fully transparent pixel has colour bytes 0). Decoding happens when the value
// is made, so a file that cannot be read fails there with Image::Error and never reaches a
// receipt. Copies share the pixels.

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>

namespace vantoconnect {

class Image {
  public:
    // An image that cannot be decoded or whose pixels do not add up. Not a fatal error: the
    // bytes come from outside the library.
    class Error : public std::runtime_error {
      public:
        using std::runtime_error::runtime_error;
    };

    // Any format the image library reads (PNG, JPEG, WebP, GIF, TIFF, ...), any colour space;
    // the first frame of an animation.
    static Image fromFile(const std::string& path);
    static Image fromEncoded(std::span<const std::uint8_t> encoded);
    // Straight (not premultiplied) 8-bit RGBA, width * height * 4 bytes, rows packed.
    static Image fromRGBA(std::int64_t width, std::int64_t height,
                          std::span<const std::uint8_t> rgba);

    std::int64_t width() const;
    std::int64_t height() const;
    // Premultiplied RGBA, width() * height() * 4 bytes.
    std::span<const std::uint8_t> rgba() const;

    // Separable Lanczos-3 resampling to exactly width x height, each axis reduced or enlarged
    // on its own; when reducing, the kernel widens with the factor so every source pixel counts.
    Image resizedLanczos3(std::int64_t width, std::int64_t height) const;

  private:
    struct Pixels;
    explicit Image(std::shared_ptr<const Pixels> pixels);
    std::shared_ptr<const Pixels> mPixels;
};

}  // namespace vantoconnect
