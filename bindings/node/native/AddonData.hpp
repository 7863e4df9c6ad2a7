#pragma once

// What one environment (the main thread's, or a worker's) keeps of the addon: its channel to
// the main thread, the package's error classes and the native classes' constructors. Nothing
// of it is shared between environments, so the addon loads in workers too.

#include <napi.h>

#include <memory>

#include "MainThreadChannel.hpp"

namespace vantonode {

struct AddonData {
    std::shared_ptr<MainThreadChannel> channel;
    Napi::FunctionReference vantoError;
    Napi::FunctionReference printerNotRespondingError;
    Napi::FunctionReference fatalError;
    Napi::FunctionReference receiptClass;
    Napi::FunctionReference imageClass;

    static AddonData& of(Napi::Env env) { return *env.GetInstanceData<AddonData>(); }
};

}  // namespace vantonode
