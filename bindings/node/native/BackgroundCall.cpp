#include "BackgroundCall.hpp"

#include <exception>
#include <thread>
#include <utility>

#include "AddonData.hpp"
#include "JsErrors.hpp"

namespace vantonode {

Napi::Promise BackgroundCall::start(Napi::Env env, Work work, std::shared_ptr<CallCount> count) {
    auto channel = AddonData::of(env).channel;
    // Settled on the main thread only; freed there, or never when the environment is gone.
    auto* deferred = new Napi::Promise::Deferred(env);
    const Napi::Promise promise = deferred->Promise();
    channel->hold();
    if (count) {
        count->add();
    }
    try {
        std::thread([channel, deferred, count, work = std::move(work)]() mutable {
            Result result;
            std::exception_ptr thrown;
            try {
                result = work();
            } catch (...) {
                thrown = std::current_exception();
            }
            work = nullptr;  // what the work held goes here, off the main thread
            channel->post([channel, deferred, result = std::move(result), thrown](Napi::Env env) {
                std::unique_ptr<Napi::Promise::Deferred> owned(deferred);
                channel->release();
                const Napi::HandleScope scope(env);
                if (thrown) {
                    owned->Reject(JsErrors::from(env, thrown).Value());
                    return;
                }
                try {
                    owned->Resolve(result(env));
                } catch (...) {
                    owned->Reject(JsErrors::from(env, std::current_exception()).Value());
                }
            });
            if (count) {
                count->done();
            }
        }).detach();
    } catch (const std::system_error& e) {
        if (count) {
            count->done();
        }
        channel->release();
        delete deferred;
        throw Napi::Error::New(env, std::string("cannot start a thread: ") + e.what());
    }
    return promise;
}

BackgroundCall::Result BackgroundCall::undefined() {
    return [](Napi::Env env) { return env.Undefined(); };
}

}  // namespace vantonode
