#pragma once

// Images of receipt files, read the way paper shows them. The library prints a pixel by its
// colour alone, so a transparent background (stored as transparent black) would come out as a
// black block; here every image is laid onto white paper first. Its size is checked from the
// file's header before any pixel is decoded, so a small file that unpacks to gigabytes is
// refused unread.

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "vantoconnect/support/Image.hpp"

namespace vantoreceipts {

class ReceiptImage {
  public:
    static constexpr std::uintmax_t MAX_FILE_BYTES = 8u << 20;
    static constexpr std::int64_t MAX_SIDE = 8192;
    // For all images of a receipt together: the receipt holds them decoded until it is printed.
    static constexpr std::int64_t MAX_PIXELS = 4096 * 4096;
    // Rows after scaling to the printer's 288 raster columns: 200 bands, about 60 cm of paper.
    static constexpr std::int64_t MAX_PRINTED_ROWS = 4800;

    // `where` prefixes every message ("receipt.json: lines[2].image"); `pixelsBefore` counts the
    // receipt's images read so far. With `flatten` the image is laid onto white paper; without,
    // the library gets the pixels as they are (transparent parts print by their colour, black).
    // Throws ReceiptInputError.
    static vantoconnect::Image load(const std::filesystem::path& file, const std::string& where,
                                    std::int64_t pixelsBefore = 0, bool flatten = true);
    // Encoded bytes in memory (PNG, JPEG, WebP, GIF, TIFF), under the same limits as a file.
    static vantoconnect::Image fromEncoded(std::span<const std::uint8_t> encoded,
                                           const std::string& where, bool flatten = true);
    // Straight (not premultiplied) 8-bit RGBA, width * height * 4 bytes, rows packed.
    static vantoconnect::Image fromRGBA(std::int64_t width, std::int64_t height,
                                        std::span<const std::uint8_t> rgba,
                                        const std::string& where, bool flatten = true);

    // The rows an image of this size takes once scaled for the printer (the library's rounding).
    static std::int64_t printedRows(std::int64_t width, std::int64_t height);

    // Premultiplied RGBA over white: each colour byte plus what the pixel lets through.
    static std::vector<std::uint8_t> overWhite(std::span<const std::uint8_t> premultiplied);
};

}  // namespace vantoreceipts
