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

// Width and height from the header alone; the pixels stay in the file.
std::pair<std::int64_t, std::int64_t> headerSize(const std::filesystem::path& file,
                                                 const std::string& where) {
    static std::once_flag started;
    std::call_once(started, [] {
        VIPS_INIT("vanto");
        // The image library warns on standard error about every damaged chunk; the command
        // reports a bad image in its own one line.
        g_log_set_handler(
            "VIPS", static_cast<GLogLevelFlags>(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_MESSAGE),
            [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {}, nullptr);
    });
    std::unique_ptr<VipsImage, Unref> image(vips_image_new_from_file(file.c_str(), nullptr));
    if (!image) {
        vips_error_clear();
        refuse(where, "\"" + file.string() +
                          "\" is not an image the command can read (PNG, JPEG, WebP, GIF, TIFF)");
    }
    return {vips_image_get_width(image.get()), vips_image_get_height(image.get())};
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
                         std::int64_t pixelsBefore) {
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
    const auto [width, height] = headerSize(file, where);
    const std::string size = std::to_string(width) + " x " + std::to_string(height);
    if (width < 1 || height < 1 || width > MAX_SIDE || height > MAX_SIDE ||
        pixelsBefore + width * height > MAX_PIXELS) {
        refuse(where, "\"" + file.string() + "\" is " + size + " pixels; images may have at most " +
                          std::to_string(MAX_SIDE) + " pixels a side and the images of one " +
                          "receipt at most " + std::to_string(MAX_PIXELS) + " together");
    }
    const auto rows = printedRows(width, height);
    if (rows > MAX_PRINTED_ROWS) {
        refuse(where, "\"" + file.string() + "\" is " + size + " pixels, " + std::to_string(rows) +
                          " dot rows once scaled to the paper's width; " + "at most " +
                          std::to_string(MAX_PRINTED_ROWS) + " fit one image line");
    }
    try {
        const Image decoded = Image::fromFile(file.string());
        return Image::fromRGBA(decoded.width(), decoded.height(), overWhite(decoded.rgba()));
    } catch (const Image::Error& e) {
        refuse(where, "\"" + file.string() + "\" cannot be decoded (corrupt or truncated?)");
    }
}

}  // namespace vantoreceipts
