// Receipts: built line by line (each line checked as it is added) or read from a receipt file,
// composed to printer bytes and drawn as paper without a unit.

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "CallGuard.hpp"
#include "Handles.hpp"
#include "OutBuffers.hpp"
#include "receipts/ReceiptFile.hpp"
#include "receipts/ReceiptLines.hpp"
#include "receipts/ReceiptPreview.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/vanto.h"

using namespace vantoc;
using vantoreceipts::ReceiptLines;

namespace {

void hand(vanto_receipt_t*& out, std::shared_ptr<vantoconnect::VantoReceipt> receipt) {
    auto made = std::make_unique<vanto_receipt_t>();
    made->lines = receipt->getLines().size();
    made->receipt = std::move(receipt);
    out = made.release();
}

// Makes the line with `make`, which checks it, and adds it; a refused line is not added.
template <typename Make>
void addLine(vanto_receipt_t* handle, Make&& make) {
    auto& receipt = required(handle, "receipt");
    const std::string where = "line " + std::to_string(receipt.lines.load() + 1);
    receipt.receipt->addLine(make(where));
    ++receipt.lines;
}

}  // namespace

extern "C" {

vanto_status vanto_receipt_create(vanto_receipt_t** receipt) {
    return guarded(__func__, [&] {
        vanto_receipt_t*& out = required(receipt, "receipt");
        hand(out, std::make_shared<vantoconnect::VantoReceipt>());
    });
}

vanto_status vanto_receipt_from_file(const char* path, vanto_receipt_t** receipt) {
    return guarded(__func__, [&] {
        vanto_receipt_t*& out = required(receipt, "receipt");
        hand(out, vantoreceipts::ReceiptFile::load(requiredString(path, "path")));
    });
}

vanto_status vanto_receipt_from_json(const char* json, const char* base_dir,
                                     vanto_receipt_t** receipt) {
    return guarded(__func__, [&] {
        vanto_receipt_t*& out = required(receipt, "receipt");
        const std::filesystem::path base = base_dir != nullptr ? base_dir : ".";
        hand(out, vantoreceipts::ReceiptFile::parse(requiredString(json, "json"), "json", base));
    });
}

void vanto_receipt_free(vanto_receipt_t* receipt) {
    delete receipt;
}

vanto_status vanto_receipt_set_cut_type(vanto_receipt_t* receipt, int64_t cut_type) {
    return guarded(__func__, [&] {
        ReceiptLines::setCutType(*required(receipt, "receipt").receipt, cut_type, "cut_type");
    });
}

vanto_status vanto_receipt_set_header_feed(vanto_receipt_t* receipt, int64_t lines) {
    return guarded(__func__, [&] {
        ReceiptLines::setHeaderFeed(*required(receipt, "receipt").receipt, lines, "header_feed");
    });
}

vanto_status vanto_receipt_set_footer_feed(vanto_receipt_t* receipt, int64_t lines) {
    return guarded(__func__, [&] {
        ReceiptLines::setFooterFeed(*required(receipt, "receipt").receipt, lines, "footer_feed");
    });
}

vanto_status vanto_receipt_settings(const vanto_receipt_t* receipt, int64_t* cut_type,
                                    int64_t* header_feed, int64_t* footer_feed) {
    return guarded(__func__, [&] {
        const auto& r = *required(receipt, "receipt").receipt;
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
        out = required(receipt, "receipt").receipt->getLines().size();
    });
}

vanto_status vanto_receipt_add_text(vanto_receipt_t* receipt, const char* text_, int64_t style,
                                    int64_t size, int64_t position) {
    return guarded(__func__, [&] {
        addLine(receipt, [&](const std::string& where) {
            return ReceiptLines::text(requiredString(text_, "text"), style, size, position, where);
        });
    });
}

vanto_status vanto_receipt_add_price(vanto_receipt_t* receipt, const char* left_text,
                                     int64_t left_style, const char* right_text,
                                     int64_t right_style) {
    return guarded(__func__, [&] {
        addLine(receipt, [&](const std::string& where) {
            return ReceiptLines::price(requiredString(left_text, "left_text"), left_style,
                                       requiredString(right_text, "right_text"), right_style,
                                       where);
        });
    });
}

vanto_status vanto_receipt_add_separator(vanto_receipt_t* receipt, const char* chr) {
    return guarded(__func__, [&] {
        addLine(receipt, [&](const std::string& where) {
            return ReceiptLines::separator(requiredString(chr, "chr"), where);
        });
    });
}

vanto_status vanto_receipt_add_feed(vanto_receipt_t* receipt, int64_t lines) {
    return guarded(__func__, [&] {
        addLine(receipt,
                [&](const std::string& where) { return ReceiptLines::feed(lines, where); });
    });
}

vanto_status vanto_receipt_add_barcode(vanto_receipt_t* receipt, int64_t type, const char* data,
                                       int64_t hri, double height) {
    return guarded(__func__, [&] {
        addLine(receipt, [&](const std::string& where) {
            return ReceiptLines::barcode(type, requiredString(data, "data"), hri, height, where);
        });
    });
}

vanto_status vanto_receipt_add_image(vanto_receipt_t* receipt, const vanto_image_t* image) {
    return guarded(__func__, [&] {
        const auto& picture = required(image, "image").image;
        addLine(receipt, [&](const std::string&) { return ReceiptLines::image(picture); });
    });
}

vanto_status vanto_receipt_compose(const vanto_receipt_t* receipt, uint8_t** bytes, size_t* size) {
    return guarded(__func__, [&] {
        const auto& r = *required(receipt, "receipt").receipt;
        uint8_t*& outBytes = required(bytes, "bytes");
        size_t& outSize = required(size, "size");
        const std::vector<vantoconnect::Bytes> groups = vantoconnect::ReceiptComposer().compose(r);
        std::size_t total = 0;
        for (const auto& group : groups) {
            total += group.size();
        }
        std::uint8_t* joined = OutBuffers::allocate(total);
        std::size_t at = 0;
        for (const auto& group : groups) {
            std::memcpy(joined + at, group.data(), group.size());
            at += group.size();
        }
        outBytes = joined;
        outSize = total;
    });
}

vanto_status vanto_receipt_preview_png(const vanto_receipt_t* receipt, uint8_t** png,
                                       size_t* size) {
    return guarded(__func__, [&] {
        const auto& r = *required(receipt, "receipt").receipt;
        uint8_t*& outPng = required(png, "png");
        size_t& outSize = required(size, "size");
        const auto rendered = vantoreceipts::ReceiptPreview::render(r, "receipt");
        outPng = OutBuffers::bytes(rendered.png);
        outSize = rendered.png.size();
    });
}

vanto_status vanto_receipt_preview_text(const vanto_receipt_t* receipt, char** text_) {
    return guarded(__func__, [&] {
        const auto& r = *required(receipt, "receipt").receipt;
        char*& out = required(text_, "text");
        out = OutBuffers::string(vantoreceipts::ReceiptPreview::text(r, "receipt"));
    });
}

}  // extern "C"
