#pragma once

// The native side of the package's Image: a decoded picture under the limits of receipt
// files, laid onto white paper unless asked not to. Bytes from JavaScript are copied before
// they are decoded.

#include <napi.h>

#include <optional>

#include "vantoconnect/support/Image.hpp"

namespace vantonode {

class ImageWrap : public Napi::ObjectWrap<ImageWrap> {
  public:
    static Napi::Function define(Napi::Env env);
    // Made only by the static factories.
    explicit ImageWrap(const Napi::CallbackInfo& info);

    // The image inside a value made by this class; TypeError for anything else.
    static const vantoconnect::Image& image(Napi::Env env, Napi::Value value);

  private:
    static Napi::Value fromFile(const Napi::CallbackInfo& info);
    static Napi::Value fromBuffer(const Napi::CallbackInfo& info);
    static Napi::Value fromRGBA(const Napi::CallbackInfo& info);
    static Napi::Value wrap(Napi::Env env, vantoconnect::Image image);
    Napi::Value width(const Napi::CallbackInfo& info);
    Napi::Value height(const Napi::CallbackInfo& info);

    std::optional<vantoconnect::Image> mImage;
};

}  // namespace vantonode
