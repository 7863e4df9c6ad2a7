#include "receipts/ReceiptImage.hpp"

#include <vips/vips.h>

#include <memory>
#include <mutex>
#include <system_error>

#include "receipts/ReceiptInputError.hpp"

namespace vantoreceipts {

using vantoconnect::Image;

namespace {

[[noreturn]] void refuse(const std::string& where, const std::string& why) {
    throw ReceiptInputError(where + ": " + why);
}

struct Unref {
    void operator()(VipsImage* image) const { g_object_unref(image); }
};

void startImageLibrary() {
    static std::once_flag started;
    std::call_once(started, [] {
        VIPS_INIT("vanto");
        // The image library warns on standard error about every damaged chunk; we report a bad
        // image in our own one line.
        g_log_set_handler(
            "VIPS", static_cast<GLogLevelFlags>(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_MESSAGE),
            [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {}, nullptr);
    });
}

// Width and height from the header alone; the pixels stay encoded. `what` names the image in
// messages ("\"logo.png\"", "the image bytes").
std::pair<std::int64_t, std::int64_t> headerSize(VipsImage* opened, const std::string& where,
                                                 const std::string& what) {
    std::unique_ptr<VipsImage, Unref> image(opened);
    if (!image) {
        vips_error_clear();
        refuse(where, what + " is not an image that can be read (PNG, JPEG, WebP, GIF, TIFF)");
    }
    return {vips_image_get_width(image.get()), vips_image_get_height(image.get())};
}

// The limits every image meets before a pixel is decoded.
void checkSize(std::int64_t width, std::int64_t height, std::int64_t pixelsBefore,
               const std::string& where, const std::string& what) {
    const std::string size = std::to_string(width) + " x " + std::to_string(height);
    if (width < 1 || height < 1 || width > ReceiptImage::MAX_SIDE ||
        height > ReceiptImage::MAX_SIDE ||
        pixelsBefore + width * height > ReceiptImage::MAX_PIXELS) {
        refuse(where, what + " is " + size + " pixels; images may have at most " +
                          std::to_string(ReceiptImage::MAX_SIDE) +
                          " pixels a side and the images of " + "one receipt at most " +
                          std::to_string(ReceiptImage::MAX_PIXELS) + " together");
    }
    const auto rows = ReceiptImage::printedRows(width, height);
    if (rows > ReceiptImage::MAX_PRINTED_ROWS) {
        refuse(where, what + " is " + size + " pixels, " + std::to_string(rows) +
                          " dot rows once scaled to the paper's width; " + "at most " +
                          std::to_string(ReceiptImage::MAX_PRINTED_ROWS) + " fit one image line");
    }
}

Image finish(const Image& decoded, bool flatten) {
    if (!flatten) {
        return decoded;
    }
    return Image::fromRGBA(decoded.width(), decoded.height(),
                           ReceiptImage::overWhite(decoded.rgba()));
}

}  // namespace

std::int64_t ReceiptImage::printedRows(std::int64_t width, std::int64_t height) {
    return std::max<std::int64_t>(1, (height * 4 * 288 + width) / (2 * width));
}

std::vector<std::uint8_t> ReceiptImage::overWhite(std::span<const std::uint8_t> premultiplied) {
    std::vector<std::uint8_t> out(premultiplied.size());
    for (std::size_t i = 0; i + 3 < premultiplied.size(); i += 4) {
        const int through = 255 - premultiplied[i + 3];
        for (std::size_t c = 0; c < 3; ++c) {
            out[i + c] = static_cast<std::uint8_t>(std::min(255, premultiplied[i + c] + through));
        }
        out[i + 3] = 255;
    }
    return out;
}

Image ReceiptImage::load(const std::filesystem::path& file, const std::string& where,
                         std::int64_t pixelsBefore, bool flatten) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (!std::filesystem::exists(status)) {
        refuse(where, "no image file \"" + file.string() + "\"");
    }
    if (!std::filesystem::is_regular_file(status)) {
        refuse(where, "\"" + file.string() + "\" is not a regular file");
    }
    const auto bytes = std::filesystem::file_size(file, error);
    if (error || bytes == 0) {
        refuse(where, "\"" + file.string() + "\" is empty or unreadable");
    }
    if (bytes > MAX_FILE_BYTES) {
        refuse(where, "\"" + file.string() + "\" has " + std::to_string(bytes) +
                          " bytes; an image file may have at most " +
                          std::to_string(MAX_FILE_BYTES) + " (8 MiB)");
    }
    startImageLibrary();
    const std::string what = "\"" + file.string() + "\"";
    const auto [width, height] =
        headerSize(vips_image_new_from_file(file.c_str(), nullptr), where, what);
    checkSize(width, height, pixelsBefore, where, what);
    try {
        return finish(Image::fromFile(file.string()), flatten);
    } catch (const Image::Error& e) {
        refuse(where, what + " cannot be decoded (corrupt or truncated?)");
    }
}

Image ReceiptImage::fromEncoded(std::span<const std::uint8_t> encoded, const std::string& where,
                                bool flatten) {
    const std::string what = "the image bytes";
    if (encoded.empty()) {
        refuse(where, what + " are empty");
    }
    if (encoded.size() > MAX_FILE_BYTES) {
        refuse(where, what + " are " + std::to_string(encoded.size()) +
                          " bytes; an encoded image may have at most " +
                          std::to_string(MAX_FILE_BYTES) + " (8 MiB)");
    }
    startImageLibrary();
    const auto [width, height] = headerSize(
        vips_image_new_from_buffer(encoded.data(), encoded.size(), "", nullptr), where, what);
    checkSize(width, height, 0, where, what);
    try {
        return finish(Image::fromEncoded(encoded), flatten);
    } catch (const Image::Error& e) {
        refuse(where, what + " cannot be decoded (corrupt or truncated?)");
    }
}

Image ReceiptImage::fromRGBA(std::int64_t width, std::int64_t height,
                             std::span<const std::uint8_t> rgba, const std::string& where,
                             bool flatten) {
    const std::string what = "the RGBA pixels";
    checkSize(width, height, 0, where, what);
    const auto expected =
        static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) * 4;
    if (rgba.size() != expected) {
        refuse(where, what + " are " + std::to_string(rgba.size()) + " bytes; " +
                          std::to_string(width) + " x " + std::to_string(height) + " pixels take " +
                          std::to_string(expected) + " (4 bytes a pixel)");
    }
    try {
        return finish(Image::fromRGBA(width, height, rgba), flatten);
    } catch (const Image::Error& e) {
        refuse(where, what + " cannot be used: " + e.what());
    }
}

}  // namespace vantoreceipts
