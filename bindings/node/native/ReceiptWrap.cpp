#include "ReceiptWrap.hpp"

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "AddonData.hpp"
#include "BackgroundCall.hpp"
#include "ImageWrap.hpp"
#include "JsErrors.hpp"
#include "receipts/ReceiptFile.hpp"
#include "receipts/ReceiptPreview.hpp"

namespace vantonode {

namespace {

using vantoreceipts::CheckedReceipt;

std::int64_t integer(const Napi::Value& value) {
    return value.As<Napi::Number>().Int64Value();
}

std::string text(const Napi::Value& value) {
    return value.As<Napi::String>().Utf8Value();
}

// Runs a receipts-layer call, turning what it refuses into the package's errors.
template <typename Call>
void guarded(Napi::Env env, Call call) {
    try {
        call();
    } catch (...) {
        throw JsErrors::from(env, std::current_exception());
    }
}

}  // namespace

Napi::Function ReceiptWrap::define(Napi::Env env) {
    return DefineClass(env, "Receipt",
                       {
                           StaticMethod<&ReceiptWrap::fromJSON>("fromJSON"),
                           StaticMethod<&ReceiptWrap::fromFile>("fromFile"),
                           InstanceMethod<&ReceiptWrap::addText>("addText"),
                           InstanceMethod<&ReceiptWrap::addPrice>("addPrice"),
                           InstanceMethod<&ReceiptWrap::addSeparator>("addSeparator"),
                           InstanceMethod<&ReceiptWrap::addFeed>("addFeed"),
                           InstanceMethod<&ReceiptWrap::addBarcode>("addBarcode"),
                           InstanceMethod<&ReceiptWrap::addImage>("addImage"),
                           InstanceMethod<&ReceiptWrap::settings>("settings"),
                           InstanceMethod<&ReceiptWrap::setSetting>("setSetting"),
                           InstanceMethod<&ReceiptWrap::length>("length"),
                           InstanceMethod<&ReceiptWrap::compose>("compose"),
                           InstanceMethod<&ReceiptWrap::preview>("preview"),
                           InstanceMethod<&ReceiptWrap::previewText>("previewText"),
                       });
}

ReceiptWrap::ReceiptWrap(const Napi::CallbackInfo& info) : Napi::ObjectWrap<ReceiptWrap>(info) {
    if (info.Length() < 3) {
        return;  // filled in by fromJSON or fromFile
    }
    const Napi::Env env = info.Env();
    guarded(env, [&] {
        auto receipt = std::make_unique<CheckedReceipt>();
        receipt->setCutType(integer(info[0]), "cut");
        receipt->setHeaderFeed(integer(info[1]), "headerFeed");
        receipt->setFooterFeed(integer(info[2]), "footerFeed");
        mReceipt = std::move(receipt);
    });
}

const CheckedReceipt& ReceiptWrap::checked(Napi::Env env, Napi::Value value) {
    if (value.IsObject() &&
        value.As<Napi::Object>().InstanceOf(AddonData::of(env).receiptClass.Value())) {
        const ReceiptWrap* wrapped = Unwrap(value.As<Napi::Object>());
        if (wrapped->mReceipt) {
            return *wrapped->mReceipt;
        }
    }
    throw Napi::TypeError::New(env, "receipt must be a Receipt");
}

// (json text, base folder for image paths)
Napi::Value ReceiptWrap::fromJSON(const Napi::CallbackInfo& info) {
    const Napi::Env env = info.Env();
    const std::string json = text(info[0]);
    const std::string base = text(info[1]);
    Napi::Object object = AddonData::of(env).receiptClass.New({});
    ReceiptWrap* wrapped = Unwrap(object);
    guarded(env, [&] {
        wrapped->mReceipt =
            std::make_unique<CheckedReceipt>(vantoreceipts::ReceiptFile::parse(json, "json", base));
    });
    return object;
}

// (path)
Napi::Value ReceiptWrap::fromFile(const Napi::CallbackInfo& info) {
    const Napi::Env env = info.Env();
    const std::string path = text(info[0]);
    Napi::Object object = AddonData::of(env).receiptClass.New({});
    ReceiptWrap* wrapped = Unwrap(object);
    guarded(env, [&] {
        wrapped->mReceipt =
            std::make_unique<CheckedReceipt>(vantoreceipts::ReceiptFile::load(path));
    });
    return object;
}

// (text, style, size, position)
Napi::Value ReceiptWrap::addText(const Napi::CallbackInfo& info) {
    guarded(info.Env(), [&] {
        mReceipt->addText(text(info[0]), integer(info[1]), integer(info[2]), integer(info[3]));
    });
    return info.Env().Undefined();
}

// (left, leftStyle, right, rightStyle)
Napi::Value ReceiptWrap::addPrice(const Napi::CallbackInfo& info) {
    guarded(info.Env(), [&] {
        mReceipt->addPrice(text(info[0]), integer(info[1]), text(info[2]), integer(info[3]));
    });
    return info.Env().Undefined();
}

Napi::Value ReceiptWrap::addSeparator(const Napi::CallbackInfo& info) {
    guarded(info.Env(), [&] { mReceipt->addSeparator(text(info[0])); });
    return info.Env().Undefined();
}

Napi::Value ReceiptWrap::addFeed(const Napi::CallbackInfo& info) {
    guarded(info.Env(), [&] { mReceipt->addFeed(integer(info[0])); });
    return info.Env().Undefined();
}

// (type, data, hri, height)
Napi::Value ReceiptWrap::addBarcode(const Napi::CallbackInfo& info) {
    guarded(info.Env(), [&] {
        mReceipt->addBarcode(integer(info[0]), text(info[1]), integer(info[2]),
                             info[3].As<Napi::Number>().DoubleValue());
    });
    return info.Env().Undefined();
}

Napi::Value ReceiptWrap::addImage(const Napi::CallbackInfo& info) {
    const vantoconnect::Image& image = ImageWrap::image(info.Env(), info[0]);
    guarded(info.Env(), [&] { mReceipt->addImage(image); });
    return info.Env().Undefined();
}

// [cut, headerFeed, footerFeed]
Napi::Value ReceiptWrap::settings(const Napi::CallbackInfo& info) {
    const Napi::Env env = info.Env();
    const auto& model = *mReceipt->model();
    Napi::Array values = Napi::Array::New(env, 3);
    values.Set(0u, Napi::Number::New(env, static_cast<double>(model.getCutType())));
    values.Set(1u, Napi::Number::New(env, static_cast<double>(model.getHeaderFeed())));
    values.Set(2u, Napi::Number::New(env, static_cast<double>(model.getFooterFeed())));
    return values;
}

// (name, value): "cut", "headerFeed" or "footerFeed"
Napi::Value ReceiptWrap::setSetting(const Napi::CallbackInfo& info) {
    const std::string name = text(info[0]);
    const std::int64_t value = integer(info[1]);
    guarded(info.Env(), [&] {
        if (name == "cut") {
            mReceipt->setCutType(value, name);
        } else if (name == "headerFeed") {
            mReceipt->setHeaderFeed(value, name);
        } else {
            mReceipt->setFooterFeed(value, name);
        }
    });
    return info.Env().Undefined();
}

Napi::Value ReceiptWrap::length(const Napi::CallbackInfo& info) {
    return Napi::Number::New(info.Env(), static_cast<double>(mReceipt->lineCount()));
}

// The printer command bytes, composed into one buffer JavaScript owns.
Napi::Value ReceiptWrap::compose(const Napi::CallbackInfo& info) {
    const Napi::Env env = info.Env();
    std::vector<std::uint8_t> bytes;
    guarded(env, [&] {
        mReceipt->composeInto([&bytes](std::size_t size) {
            bytes.resize(size);
            return bytes.data();
        });
    });
    return Napi::Buffer<std::uint8_t>::Copy(env, bytes.data(), bytes.size());
}

// Drawn off the main thread: a long receipt takes a while. The PNG is copied into a buffer
// JavaScript owns.
Napi::Value ReceiptWrap::preview(const Napi::CallbackInfo& info) {
    return BackgroundCall::start(
        info.Env(), [model = mReceipt->model()]() -> BackgroundCall::Result {
            auto png = std::make_shared<std::vector<std::uint8_t>>(
                vantoreceipts::ReceiptPreview::render(*model, "receipt").png);
            return [png](Napi::Env env) {
                return Napi::Buffer<std::uint8_t>::Copy(env, png->data(), png->size());
            };
        });
}

Napi::Value ReceiptWrap::previewText(const Napi::CallbackInfo& info) {
    std::string shown;
    guarded(info.Env(),
            [&] { shown = vantoreceipts::ReceiptPreview::text(*mReceipt->model(), "receipt"); });
    return Napi::String::New(info.Env(), shown);
}

}  // namespace vantonode
