// Receipts: built line by line (each line checked as it is added) or read from a receipt file,
// composed to printer bytes and drawn as paper without a unit.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "CallGuard.hpp"
#include "Handles.hpp"
#include "OutBuffers.hpp"
#include "receipts/ReceiptFile.hpp"
#include "receipts/ReceiptPreview.hpp"
#include "vantoconnect/vanto.h"

using namespace vantoc;

extern "C" {

vanto_status vanto_receipt_create(vanto_receipt_t** receipt) {
    return guarded(__func__, [&] {
        vanto_receipt_t*& out = required(receipt, "receipt");
        out = new vanto_receipt_t();
    });
}

vanto_status vanto_receipt_from_file(const char* path, vanto_receipt_t** receipt) {
    return guarded(__func__, [&] {
        vanto_receipt_t*& out = required(receipt, "receipt");
        out = new vanto_receipt_t(vantoreceipts::ReceiptFile::load(requiredString(path, "path")));
    });
}

vanto_status vanto_receipt_from_json(const char* json, const char* base_dir,
                                     vanto_receipt_t** receipt) {
    return guarded(__func__, [&] {
        vanto_receipt_t*& out = required(receipt, "receipt");
        const std::filesystem::path base = base_dir != nullptr ? base_dir : ".";
        out = new vanto_receipt_t(
            vantoreceipts::ReceiptFile::parse(requiredString(json, "json"), "json", base));
    });
}

void vanto_receipt_free(vanto_receipt_t* receipt) {
    delete receipt;
}

vanto_status vanto_receipt_set_cut_type(vanto_receipt_t* receipt, int64_t cut_type) {
    return guarded(__func__,
                   [&] { required(receipt, "receipt").setCutType(cut_type, "cut_type"); });
}

vanto_status vanto_receipt_set_header_feed(vanto_receipt_t* receipt, int64_t lines) {
    return guarded(__func__,
                   [&] { required(receipt, "receipt").setHeaderFeed(lines, "header_feed"); });
}

vanto_status vanto_receipt_set_footer_feed(vanto_receipt_t* receipt, int64_t lines) {
    return guarded(__func__,
                   [&] { required(receipt, "receipt").setFooterFeed(lines, "footer_feed"); });
}

vanto_status vanto_receipt_settings(const vanto_receipt_t* receipt, int64_t* cut_type,
                                    int64_t* header_feed, int64_t* footer_feed) {
    return guarded(__func__, [&] {
        const auto& r = *required(receipt, "receipt").model();
        int64_t& cut = required(cut_type, "cut_type");
        int64_t& header = required(header_feed, "header_feed");
        int64_t& footer = required(footer_feed, "footer_feed");
        cut = r.getCutType();
        header = r.getHeaderFeed();
        footer = r.getFooterFeed();
    });
}

vanto_status vanto_receipt_line_count(const vanto_receipt_t* receipt, size_t* count) {
    return guarded(__func__, [&] {
        size_t& out = required(count, "count");
        out = required(receipt, "receipt").lineCount();
    });
}

vanto_status vanto_receipt_add_text(vanto_receipt_t* receipt, const char* text_, int64_t style,
                                    int64_t size, int64_t position) {
    return guarded(__func__, [&] {
        required(receipt, "receipt").addText(requiredString(text_, "text"), style, size, position);
    });
}

vanto_status vanto_receipt_add_price(vanto_receipt_t* receipt, const char* left_text,
                                     int64_t left_style, const char* right_text,
                                     int64_t right_style) {
    return guarded(__func__, [&] {
        required(receipt, "receipt")
            .addPrice(requiredString(left_text, "left_text"), left_style,
                      requiredString(right_text, "right_text"), right_style);
    });
}

vanto_status vanto_receipt_add_separator(vanto_receipt_t* receipt, const char* chr) {
    return guarded(__func__,
                   [&] { required(receipt, "receipt").addSeparator(requiredString(chr, "chr")); });
}

vanto_status vanto_receipt_add_feed(vanto_receipt_t* receipt, int64_t lines) {
    return guarded(__func__, [&] { required(receipt, "receipt").addFeed(lines); });
}

vanto_status vanto_receipt_add_barcode(vanto_receipt_t* receipt, int64_t type, const char* data,
                                       int64_t hri, double height) {
    return guarded(__func__, [&] {
        required(receipt, "receipt").addBarcode(type, requiredString(data, "data"), hri, height);
    });
}

vanto_status vanto_receipt_add_image(vanto_receipt_t* receipt, const vanto_image_t* image) {
    return guarded(__func__,
                   [&] { required(receipt, "receipt").addImage(required(image, "image").image); });
}

vanto_status vanto_receipt_compose(const vanto_receipt_t* receipt, uint8_t** bytes, size_t* size) {
    return guarded(__func__, [&] {
        const auto& r = required(receipt, "receipt");
        uint8_t*& outBytes = required(bytes, "bytes");
        size_t& outSize = required(size, "size");
        uint8_t* composed = nullptr;
        outSize = r.composeInto(
            [&composed](std::size_t total) { return composed = OutBuffers::allocate(total); });
        outBytes = composed;
    });
}

vanto_status vanto_receipt_preview_png(const vanto_receipt_t* receipt, uint8_t** png,
                                       size_t* size) {
    return guarded(__func__, [&] {
        const auto& r = *required(receipt, "receipt").model();
        uint8_t*& outPng = required(png, "png");
        size_t& outSize = required(size, "size");
        const auto rendered = vantoreceipts::ReceiptPreview::render(r, "receipt");
        outPng = OutBuffers::bytes(rendered.png);
        outSize = rendered.png.size();
    });
}

vanto_status vanto_receipt_preview_text(const vanto_receipt_t* receipt, char** text_) {
    return guarded(__func__, [&] {
        const auto& r = *required(receipt, "receipt").model();
        char*& out = required(text_, "text");
        out = OutBuffers::string(vantoreceipts::ReceiptPreview::text(r, "receipt"));
    });
}

}  // extern "C"
