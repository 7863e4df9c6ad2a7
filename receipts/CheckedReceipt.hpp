#pragma once

// A receipt as the language bindings build it: the library's receipt model, with every line
// made by ReceiptLines (the C++ constructors and setters, then the checks) before it is added.
// A line the printer bytes cannot carry as meant is refused with ReceiptInputError, naming it
// by the place it would have taken ("line 4"), and is not added. The C API's receipt handle and
// the Python package's Receipt are this class.
//
// Thread-safe as the model is: every call takes the receipt model's lock, which composition
// holds on the printer queue's thread. Bindings call it without holding an interpreter lock.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/support/Image.hpp"

namespace vantoreceipts {

class CheckedReceipt {
  public:
    // The model's defaults: a full cut, no header feed, a footer feed of 12 lines.
    CheckedReceipt();
    // A receipt whose lines were checked already: ReceiptFile checks every line it reads.
    explicit CheckedReceipt(std::shared_ptr<vantoconnect::VantoReceipt> model);
    CheckedReceipt(const CheckedReceipt&) = delete;
    CheckedReceipt& operator=(const CheckedReceipt&) = delete;

    void addText(std::string text, std::int64_t style, std::int64_t size, std::int64_t position);
    void addPrice(std::string leftText, std::int64_t leftStyle, std::string rightText,
                  std::int64_t rightStyle);
    void addSeparator(const std::string& chr);
    void addFeed(std::int64_t lines);
    void addBarcode(std::int64_t type, std::string data, std::int64_t hri, double height);
    void addImage(const vantoconnect::Image& image);

    // The settings, under the limits of receipt files; `where` names the setting in messages.
    void setCutType(std::int64_t cutType, const std::string& where);
    void setHeaderFeed(std::int64_t lines, const std::string& where);
    void setFooterFeed(std::int64_t lines, const std::string& where);

    std::size_t lineCount() const;

    // Every command group of the library's composer, joined into room that `allocate(size)`
    // provides; returns the size. One allocation: the caller decides where the bytes live.
    std::size_t composeInto(const std::function<std::uint8_t*(std::size_t)>& allocate) const;

    const std::shared_ptr<vantoconnect::VantoReceipt>& model() const noexcept { return mModel; }

  private:
    template <typename Make>
    void add(Make&& make);

    std::shared_ptr<vantoconnect::VantoReceipt> mModel;
    // Lines so far, to name the next one in messages.
    std::atomic<std::size_t> mLines{0};
};

}  // namespace vantoreceipts
