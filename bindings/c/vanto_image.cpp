// Images for receipts: decoded and checked against the limits of receipt files when made.

#include <memory>
#include <span>
#include <string>

#include "CallGuard.hpp"
#include "Handles.hpp"
#include "receipts/ReceiptImage.hpp"
#include "vantoconnect/vanto.h"

using namespace vantoc;
using vantoreceipts::ReceiptImage;

namespace {

void hand(vanto_image_t*& out, vantoconnect::Image image) {
    out = new vanto_image_t{std::move(image)};
}

}  // namespace

extern "C" {

vanto_status vanto_image_from_file(const char* path, int flatten, vanto_image_t** image) {
    return guarded(__func__, [&] {
        vanto_image_t*& out = required(image, "image");
        const std::string file = requiredString(path, "path");
        hand(out, ReceiptImage::load(file, "image", 0, flatten != 0));
    });
}

vanto_status vanto_image_from_encoded(const uint8_t* data, size_t size, int flatten,
                                      vanto_image_t** image) {
    return guarded(__func__, [&] {
        vanto_image_t*& out = required(image, "image");
        if (data == nullptr && size > 0) {
            throw CApiError(VANTO_ERROR_INVALID, "data is NULL");
        }
        hand(out, ReceiptImage::fromEncoded(std::span(data, size), "image", flatten != 0));
    });
}

vanto_status vanto_image_from_rgba(int64_t width, int64_t height, const uint8_t* rgba, size_t size,
                                   int flatten, vanto_image_t** image) {
    return guarded(__func__, [&] {
        vanto_image_t*& out = required(image, "image");
        if (rgba == nullptr && size > 0) {
            throw CApiError(VANTO_ERROR_INVALID, "rgba is NULL");
        }
        hand(out,
             ReceiptImage::fromRGBA(width, height, std::span(rgba, size), "image", flatten != 0));
    });
}

vanto_status vanto_image_size(const vanto_image_t* image, int64_t* width, int64_t* height) {
    return guarded(__func__, [&] {
        const auto& img = required(image, "image").image;
        int64_t& w = required(width, "width");
        int64_t& h = required(height, "height");
        w = img.width();
        h = img.height();
    });
}

void vanto_image_free(vanto_image_t* image) {
    delete image;
}

}  // extern "C"
