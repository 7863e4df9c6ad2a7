// Receipts, images and previews. Receipt's methods are the native calls themselves (no Python
// layer in front): building and composing receipts is the package's hot path.

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <cctype>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

#include "Bindings.hpp"
#include "receipts/CheckedReceipt.hpp"
#include "receipts/ReceiptFile.hpp"
#include "receipts/ReceiptImage.hpp"
#include "receipts/ReceiptPreview.hpp"
#include "vantoconnect/Vanto.hpp"

namespace vantopy {

namespace {

using Release = py::call_guard<py::gil_scoped_release>;
using vantoconnect::Image;
using vantoconnect::Vanto;
using vantoreceipts::CheckedReceipt;
using vantoreceipts::ReceiptFile;
using vantoreceipts::ReceiptImage;

// Bytes-like objects become an immutable copy while the GIL is held: a bytearray may change
// under a decoder that runs without it. The copy itself may then be read without the GIL.
py::bytes immutableCopy(const py::buffer& data) {
    auto copy = py::reinterpret_steal<py::bytes>(PyBytes_FromObject(data.ptr()));
    if (!copy) {
        throw py::error_already_set();
    }
    return copy;
}

std::span<const std::uint8_t> bytesOf(const py::bytes& bytes) {
    return {reinterpret_cast<const std::uint8_t*>(PyBytes_AS_STRING(bytes.ptr())),
            static_cast<std::size_t>(PyBytes_GET_SIZE(bytes.ptr()))};
}

bool looksLikeJsonText(const std::string& text) {
    for (const char c : text) {
        if (std::isspace(static_cast<unsigned char>(c)) == 0) {
            return c == '{';
        }
    }
    return false;
}

void bindImage(py::module_& module) {
    py::class_<Image>(module, "Image",
                      "A decoded picture for Receipt.add_image, checked against the limits of "
                      "receipt files.\n\nWith flatten (the default) it is laid onto white paper "
                      "first: the printer prints a pixel by its colour alone, so a transparent "
                      "background would print as a black block. flatten=False hands the library "
                      "the pixels as they are.")
        .def_static(
            "from_file",
            [](const std::filesystem::path& path, bool flatten) {
                const py::gil_scoped_release released;
                return ReceiptImage::load(path, "image", 0, flatten);
            },
            py::arg("path"), py::arg("flatten") = true,
            "Reads an image file (PNG, JPEG, WebP, GIF, TIFF); ValueError when it cannot.")
        .def_static(
            "from_bytes",
            [](const py::buffer& data, bool flatten) {
                const py::bytes copy = immutableCopy(data);
                const py::gil_scoped_release released;
                return ReceiptImage::fromEncoded(bytesOf(copy), "image", flatten);
            },
            py::arg("data"), py::arg("flatten") = true,
            "Decodes an encoded image held in memory; ValueError when it cannot.")
        .def_static(
            "from_rgba",
            [](std::int64_t width, std::int64_t height, const py::buffer& data, bool flatten) {
                const py::bytes copy = immutableCopy(data);
                const py::gil_scoped_release released;
                return ReceiptImage::fromRGBA(width, height, bytesOf(copy), "image", flatten);
            },
            py::arg("width"), py::arg("height"), py::arg("data"), py::arg("flatten") = true,
            "Straight 8-bit RGBA pixels, width * height * 4 bytes, rows top to bottom.")
        .def_property_readonly("width", &Image::width, "Width in pixels.")
        .def_property_readonly("height", &Image::height, "Height in pixels.")
        .def("__repr__", [](const Image& image) {
            return "<vantoconnect.Image " + std::to_string(image.width()) + " x " +
                   std::to_string(image.height()) + ">";
        });
}

// A setting read or written without the GIL: properties take no call guard.
std::int64_t readSetting(const CheckedReceipt& receipt,
                         std::int64_t (vantoconnect::VantoReceipt::*get)() const) {
    const py::gil_scoped_release released;
    return ((*receipt.model()).*get)();
}

void bindReceipt(py::module_& module) {
    py::class_<CheckedReceipt>(
        module, "Receipt",
        "A receipt: lines in print order and the receipt-wide settings.\n\n"
        "Each add_* checks the line first: one the printer bytes cannot carry as meant raises "
        "ValueError naming it (\"line 3: ...\") and is not added. Vanto.print queues the receipt "
        "itself, not a copy.")
        .def(py::init([](std::int64_t cut, std::int64_t headerFeed, std::int64_t footerFeed) {
                 const py::gil_scoped_release released;
                 auto receipt = std::make_unique<CheckedReceipt>();
                 receipt->setCutType(cut, "cut");
                 receipt->setHeaderFeed(headerFeed, "header_feed");
                 receipt->setFooterFeed(footerFeed, "footer_feed");
                 return receipt;
             }),
             py::arg("cut") = constant("CutType", Vanto::CUT_TYPE_FULL), py::arg("header_feed") = 0,
             py::arg("footer_feed") = 12)
        .def_static(
            "from_json",
            [](const py::object& source, const std::optional<std::filesystem::path>& baseDir) {
                if (py::isinstance<py::str>(source)) {
                    const auto text = source.cast<std::string>();
                    if (looksLikeJsonText(text)) {
                        const py::gil_scoped_release released;
                        return std::make_unique<CheckedReceipt>(
                            ReceiptFile::parse(text, "json", baseDir.value_or(".")));
                    }
                }
                const auto path = source.cast<std::filesystem::path>();
                const py::gil_scoped_release released;
                return std::make_unique<CheckedReceipt>(ReceiptFile::load(path));
            },
            py::arg("path_or_text"), py::arg("base_dir") = py::none(),
            "Reads a receipt file, or receipt-file JSON text when it starts with '{'.")
        .def("add_text", &CheckedReceipt::addText, py::arg("text"),
             py::arg("style") = constant("TextStyle", Vanto::TEXT_STYLE_NONE),
             py::arg("size") = constant("TextSize", Vanto::TEXT_SIZE_NORMAL),
             py::arg("position") = constant("TextPosition", Vanto::TEXT_POSITION_LEFT), Release(),
             "Adds a line of text; ValueError when the printer bytes cannot carry it.")
        .def(
            "add_price",
            [](CheckedReceipt& receipt, std::string leftText, std::string rightText,
               std::int64_t leftStyle, std::int64_t rightStyle) {
                receipt.addPrice(std::move(leftText), leftStyle, std::move(rightText), rightStyle);
            },
            py::arg("left_text"), py::arg("right_text"),
            py::arg("left_style") = constant("TextStyle", Vanto::TEXT_STYLE_NONE),
            py::arg("right_style") = constant("TextStyle", Vanto::TEXT_STYLE_NONE), Release(),
            "Adds a price line: left text, right text, padded to 44 columns.")
        .def("add_separator", &CheckedReceipt::addSeparator, py::arg("chr") = "-", Release(),
             "Adds one character repeated across the paper.")
        .def("add_feed", &CheckedReceipt::addFeed, py::arg("lines"), Release(),
             "Adds blank lines (0...127).")
        .def(
            "add_barcode",
            [](CheckedReceipt& receipt, std::string data, std::int64_t type, std::int64_t hri,
               double height) { receipt.addBarcode(type, std::move(data), hri, height); },
            py::arg("data"), py::arg("type") = constant("BarcodeType", Vanto::BARCODE_TYPE_UPCA),
            py::arg("hri") = constant("BarcodeHri", Vanto::BARCODE_HRI_BELOW),
            py::arg("height") = 54.0 / 154.0, Release(),
            "Adds a barcode; height is in units of 154 dots.")
        .def("add_image", &CheckedReceipt::addImage, py::arg("image"), Release(), "Adds an image.")
        .def_property(
            "cut",
            [](const CheckedReceipt& receipt) {
                return constant("CutType",
                                readSetting(receipt, &vantoconnect::VantoReceipt::getCutType));
            },
            [](CheckedReceipt& receipt, std::int64_t cut) {
                const py::gil_scoped_release released;
                receipt.setCutType(cut, "cut");
            },
            "How the paper is cut after the receipt.")
        .def_property(
            "header_feed",
            [](const CheckedReceipt& receipt) {
                return readSetting(receipt, &vantoconnect::VantoReceipt::getHeaderFeed);
            },
            [](CheckedReceipt& receipt, std::int64_t lines) {
                const py::gil_scoped_release released;
                receipt.setHeaderFeed(lines, "header_feed");
            },
            "Blank lines before the first line (0...127).")
        .def_property(
            "footer_feed",
            [](const CheckedReceipt& receipt) {
                return readSetting(receipt, &vantoconnect::VantoReceipt::getFooterFeed);
            },
            [](CheckedReceipt& receipt, std::int64_t lines) {
                const py::gil_scoped_release released;
                receipt.setFooterFeed(lines, "footer_feed");
            },
            "Blank lines after the last line, before the cut (0...127).")
        .def("__len__", &CheckedReceipt::lineCount, Release())
        .def(
            "compose",
            [](const CheckedReceipt& receipt) {
                std::string bytes;
                {
                    const py::gil_scoped_release released;
                    receipt.composeInto([&bytes](std::size_t size) {
                        bytes.resize(size);
                        return reinterpret_cast<std::uint8_t*>(bytes.data());
                    });
                }
                return py::bytes(bytes);
            },
            "The printer command bytes of the receipt, as the library sends them.");
}

}  // namespace

void bindReceipts(py::module_& module) {
    bindImage(module);
    bindReceipt(module);
    module.def(
        "preview",
        [](const CheckedReceipt& receipt) {
            std::vector<std::uint8_t> png;
            {
                const py::gil_scoped_release released;
                png = vantoreceipts::ReceiptPreview::render(*receipt.model(), "receipt").png;
            }
            return py::bytes(reinterpret_cast<const char*>(png.data()), png.size());
        },
        py::arg("receipt"), "The receipt drawn as the paper would show it: PNG bytes.");
    module.def(
        "preview_text",
        [](const CheckedReceipt& receipt) {
            const py::gil_scoped_release released;
            return vantoreceipts::ReceiptPreview::text(*receipt.model(), "receipt");
        },
        py::arg("receipt"), "The text the paper would show, one line per printed line.");
}

}  // namespace vantopy
