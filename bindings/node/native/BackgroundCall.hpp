#pragma once

// A call that may wait on a unit, run on a thread of its own so the event loop goes on (the
// library's calls block, for minutes when a unit cannot be reached). Its inputs are plain C++
// values before it leaves the main thread; it returns a maker that turns its plain result into
// a JavaScript value on the main thread, where its promise settles. A thread of its own rather
// than libuv's small pool: a call held by a silent unit must not starve file and DNS work.

#include <napi.h>

#include <functional>
#include <memory>

#include "CallCount.hpp"

namespace vantonode {

class BackgroundCall {
  public:
    using Result = std::function<Napi::Value(Napi::Env)>;
    using Work = std::function<Result()>;

    // The promise resolves with what the result makes, or rejects with the JavaScript form of
    // what the work threw. `count`, when given, counts the call while it runs.
    static Napi::Promise start(Napi::Env env, Work work,
                               std::shared_ptr<CallCount> count = nullptr);

    static Result undefined();
};

}  // namespace vantonode
