#include "JsFunction.hpp"

#include <utility>

namespace vantonode {

JsFunction::JsFunction(std::shared_ptr<MainThreadChannel> channel, Napi::Function function)
    : mChannel(std::move(channel)),
      mReference(new Napi::FunctionReference(Napi::Persistent(function))) {}

JsFunction::~JsFunction() {
    Napi::FunctionReference* reference = mReference;
    mChannel->post([reference](Napi::Env) { delete reference; });
}

void JsFunction::call(Napi::Env env, const std::initializer_list<napi_value>& args) const {
    const Napi::HandleScope scope(env);
    try {
        mReference->Call(env.Undefined(), args);
    } catch (const Napi::Error&) {
        // See the header.
    }
}

}  // namespace vantonode
