#include "ImageWrap.hpp"

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "AddonData.hpp"
#include "JsErrors.hpp"
#include "receipts/ReceiptImage.hpp"

namespace vantonode {

namespace {

using vantoreceipts::ReceiptImage;

std::vector<std::uint8_t> copyOf(const Napi::Value& value) {
    const auto buffer = value.As<Napi::Uint8Array>();
    return {buffer.Data(), buffer.Data() + buffer.ByteLength()};
}

template <typename Make>
Napi::Value decoded(Napi::Env env, Make make) {
    try {
        return make();
    } catch (const Napi::Error&) {
        throw;
    } catch (...) {
        throw JsErrors::from(env, std::current_exception());
    }
}

}  // namespace

Napi::Function ImageWrap::define(Napi::Env env) {
    return DefineClass(env, "Image",
                       {
                           StaticMethod<&ImageWrap::fromFile>("fromFile"),
                           StaticMethod<&ImageWrap::fromBuffer>("fromBuffer"),
                           StaticMethod<&ImageWrap::fromRGBA>("fromRGBA"),
                           InstanceMethod<&ImageWrap::width>("width"),
                           InstanceMethod<&ImageWrap::height>("height"),
                       });
}

ImageWrap::ImageWrap(const Napi::CallbackInfo& info) : Napi::ObjectWrap<ImageWrap>(info) {}

Napi::Value ImageWrap::wrap(Napi::Env env, vantoconnect::Image image) {
    Napi::Object object = AddonData::of(env).imageClass.New({});
    Unwrap(object)->mImage.emplace(std::move(image));
    return object;
}

const vantoconnect::Image& ImageWrap::image(Napi::Env env, Napi::Value value) {
    if (value.IsObject() &&
        value.As<Napi::Object>().InstanceOf(AddonData::of(env).imageClass.Value())) {
        const ImageWrap* wrapped = Unwrap(value.As<Napi::Object>());
        if (wrapped->mImage) {
            return *wrapped->mImage;
        }
    }
    throw Napi::TypeError::New(env,
                               "image must be an Image (Image.fromFile, fromBuffer or fromRGBA)");
}

// (path, flatten)
Napi::Value ImageWrap::fromFile(const Napi::CallbackInfo& info) {
    const Napi::Env env = info.Env();
    const std::string path = info[0].As<Napi::String>().Utf8Value();
    const bool flatten = info[1].ToBoolean().Value();
    return decoded(env, [&] { return wrap(env, ReceiptImage::load(path, "image", 0, flatten)); });
}

// (bytes, flatten)
Napi::Value ImageWrap::fromBuffer(const Napi::CallbackInfo& info) {
    const Napi::Env env = info.Env();
    const std::vector<std::uint8_t> bytes = copyOf(info[0]);
    const bool flatten = info[1].ToBoolean().Value();
    return decoded(env,
                   [&] { return wrap(env, ReceiptImage::fromEncoded(bytes, "image", flatten)); });
}

// (width, height, rgba, flatten)
Napi::Value ImageWrap::fromRGBA(const Napi::CallbackInfo& info) {
    const Napi::Env env = info.Env();
    const auto width = info[0].As<Napi::Number>().Int64Value();
    const auto height = info[1].As<Napi::Number>().Int64Value();
    const std::vector<std::uint8_t> rgba = copyOf(info[2]);
    const bool flatten = info[3].ToBoolean().Value();
    return decoded(env, [&] {
        return wrap(env, ReceiptImage::fromRGBA(width, height, rgba, "image", flatten));
    });
}

Napi::Value ImageWrap::width(const Napi::CallbackInfo& info) {
    return Napi::Number::New(info.Env(), static_cast<double>(image(info.Env(), Value()).width()));
}

Napi::Value ImageWrap::height(const Napi::CallbackInfo& info) {
    return Napi::Number::New(info.Env(), static_cast<double>(image(info.Env(), Value()).height()));
}

}  // namespace vantonode
