#pragma once

// The native side of the package's Receipt: a checked receipt whose add* calls are the
// receipts layer's, on the main thread (building a receipt is the package's hot path and
// touches no unit). Codes arrive as integers the package's JavaScript has checked for type;
// their values, and every line, are checked here by the receipts layer.

#include <napi.h>

#include <memory>

#include "receipts/CheckedReceipt.hpp"

namespace vantonode {

class ReceiptWrap : public Napi::ObjectWrap<ReceiptWrap> {
  public:
    static Napi::Function define(Napi::Env env);
    // (cut, headerFeed, footerFeed), or no arguments for a receipt fromJSON fills in.
    explicit ReceiptWrap(const Napi::CallbackInfo& info);

    // The receipt inside a value made by this class; TypeError for anything else.
    static const vantoreceipts::CheckedReceipt& checked(Napi::Env env, Napi::Value value);

  private:
    static Napi::Value fromJSON(const Napi::CallbackInfo& info);
    static Napi::Value fromFile(const Napi::CallbackInfo& info);
    Napi::Value addText(const Napi::CallbackInfo& info);
    Napi::Value addPrice(const Napi::CallbackInfo& info);
    Napi::Value addSeparator(const Napi::CallbackInfo& info);
    Napi::Value addFeed(const Napi::CallbackInfo& info);
    Napi::Value addBarcode(const Napi::CallbackInfo& info);
    Napi::Value addImage(const Napi::CallbackInfo& info);
    Napi::Value settings(const Napi::CallbackInfo& info);
    Napi::Value setSetting(const Napi::CallbackInfo& info);
    Napi::Value length(const Napi::CallbackInfo& info);
    Napi::Value compose(const Napi::CallbackInfo& info);
    Napi::Value preview(const Napi::CallbackInfo& info);
    Napi::Value previewText(const Napi::CallbackInfo& info);

    std::unique_ptr<vantoreceipts::CheckedReceipt> mReceipt;
};

}  // namespace vantonode
