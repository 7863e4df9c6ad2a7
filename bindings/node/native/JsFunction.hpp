#pragma once

// A JavaScript function kept by objects that the library's threads own and let go of. It is
// called on the main thread only, and its reference is deleted there too: when the last owner
// lets go on another thread, the deletion is posted to the main thread (and skipped once the
// environment is gone, when there is nothing left to delete it in).

#include <napi.h>

#include <memory>

#include "MainThreadChannel.hpp"

namespace vantonode {

class JsFunction {
  public:
    // Main thread.
    JsFunction(std::shared_ptr<MainThreadChannel> channel, Napi::Function function);
    ~JsFunction();
    JsFunction(const JsFunction&) = delete;
    JsFunction& operator=(const JsFunction&) = delete;

    // Main thread. Exceptions the function throws are dropped: the package's own functions
    // report their callers' exceptions before they get here.
    void call(Napi::Env env, const std::initializer_list<napi_value>& args) const;

  private:
    std::shared_ptr<MainThreadChannel> mChannel;
    Napi::FunctionReference* mReference;
};

}  // namespace vantonode
