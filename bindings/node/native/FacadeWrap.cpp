#include "FacadeWrap.hpp"

#include <string>
#include <string_view>

#include "AddonData.hpp"
#include "BackgroundCall.hpp"
#include "JsErrors.hpp"
#include "JsFunction.hpp"
#include "PrintEvents.hpp"
#include "ReceiptWrap.hpp"
#include "receipts/DeviceRequestCheck.hpp"

namespace vantonode {

namespace {

using vantoreceipts::CheckedFacade;

std::chrono::milliseconds millisecondsOf(const Napi::Object& settings, const char* name) {
    return std::chrono::milliseconds(settings.Get(name).As<Napi::Number>().Int64Value());
}

// The library's lines, each posted to the main thread for the user's function.
std::function<void(std::string_view)> logTo(Napi::Env env, Napi::Value log) {
    if (!log.IsFunction()) {
        return {};
    }
    auto channel = AddonData::of(env).channel;
    auto target = std::make_shared<JsFunction>(channel, log.As<Napi::Function>());
    return [channel, target](std::string_view line) {
        channel->post([target, text = std::string(line)](Napi::Env env) {
            target->call(env, {Napi::String::New(env, text)});
        });
    };
}

// Runs `work` on the facade off the main thread; its plain result becomes a JavaScript value.
template <typename Work>
Napi::Value offThread(Napi::Env env, std::shared_ptr<CheckedFacade> facade,
                      std::shared_ptr<CallCount> count, Work work) {
    return BackgroundCall::start(
        env,
        [facade = std::move(facade), work]() -> BackgroundCall::Result { return work(*facade); },
        std::move(count));
}

BackgroundCall::Result boolean(bool value) {
    return [value](Napi::Env env) { return Napi::Boolean::New(env, value); };
}

}  // namespace

Napi::Function FacadeWrap::define(Napi::Env env) {
    return DefineClass(env, "Facade",
                       {
                           InstanceMethod<&FacadeWrap::address>("address"),
                           InstanceMethod<&FacadeWrap::port>("port"),
                           InstanceMethod<&FacadeWrap::profile>("profile"),
                           InstanceMethod<&FacadeWrap::cashDrawerStatus>("cashDrawerStatus"),
                           InstanceMethod<&FacadeWrap::openCashDrawer>("openCashDrawer"),
                           InstanceMethod<&FacadeWrap::printerBusy>("printerBusy"),
                           InstanceMethod<&FacadeWrap::setDiagnosticLed>("setDiagnosticLed"),
                           InstanceMethod<&FacadeWrap::setCosmeticLed>("setCosmeticLed"),
                           InstanceMethod<&FacadeWrap::enableUsb>("enableUsb"),
                           InstanceMethod<&FacadeWrap::disableUsb>("disableUsb"),
                           InstanceMethod<&FacadeWrap::print>("print"),
                           InstanceMethod<&FacadeWrap::cancel>("cancel"),
                           InstanceMethod<&FacadeWrap::close>("close"),
                       });
}

FacadeWrap::FacadeWrap(const Napi::CallbackInfo& info) : Napi::ObjectWrap<FacadeWrap>(info) {
    const Napi::Env env = info.Env();
    const Napi::Object options = info[0].As<Napi::Object>();
    vantoreceipts::FacadeOptions settings;
    settings.profile = options.Get("profile").As<Napi::String>().Utf8Value() == "classic"
                           ? vantoreceipts::Profile::Classic
                           : vantoreceipts::Profile::Resilient;
    const Napi::Value address = options.Get("address");
    if (address.IsString()) {
        settings.address = address.As<Napi::String>().Utf8Value();
    }
    const std::int64_t port = options.Get("port").As<Napi::Number>().Int64Value();
    settings.readTimeout = millisecondsOf(options, "readTimeout");
    settings.connectTimeout = millisecondsOf(options, "connectTimeout");
    settings.log = logTo(env, options.Get("log"));
    try {
        vantoreceipts::DeviceRequestCheck::port(port);
        settings.port = static_cast<std::int32_t>(port);
        mFacade = std::make_shared<CheckedFacade>(settings);
    } catch (...) {
        throw JsErrors::from(env, std::current_exception());
    }
}

Napi::Value FacadeWrap::address(const Napi::CallbackInfo& info) {
    return Napi::String::New(info.Env(), facade(info.Env())->address());
}

Napi::Value FacadeWrap::port(const Napi::CallbackInfo& info) {
    return Napi::Number::New(info.Env(), facade(info.Env())->port());
}

Napi::Value FacadeWrap::profile(const Napi::CallbackInfo& info) {
    return Napi::String::New(
        info.Env(),
        facade(info.Env())->profile() == vantoreceipts::Profile::Classic ? "classic" : "resilient");
}

Napi::Value FacadeWrap::cashDrawerStatus(const Napi::CallbackInfo& info) {
    return offThread(info.Env(), facade(info.Env()), mCount,
                     [](CheckedFacade& facade) -> BackgroundCall::Result {
                         const auto status = facade.cashDrawerStatus();
                         return [status](Napi::Env env) {
                             return Napi::Number::New(env, static_cast<double>(status));
                         };
                     });
}

Napi::Value FacadeWrap::openCashDrawer(const Napi::CallbackInfo& info) {
    const bool validate = info[0].ToBoolean().Value();
    return offThread(info.Env(), facade(info.Env()), mCount, [validate](CheckedFacade& facade) {
        return boolean(facade.openCashDrawer(validate));
    });
}

Napi::Value FacadeWrap::printerBusy(const Napi::CallbackInfo& info) {
    return offThread(info.Env(), facade(info.Env()), mCount,
                     [](CheckedFacade& facade) { return boolean(facade.printerBusy()); });
}

Napi::Value FacadeWrap::setDiagnosticLed(const Napi::CallbackInfo& info) {
    const auto position = info[0].As<Napi::Number>().Int64Value();
    const auto colour = info[1].As<Napi::Number>().Int64Value();
    try {
        vantoreceipts::DeviceRequestCheck::diagnosticLed(position, colour);
    } catch (...) {
        throw JsErrors::from(info.Env(), std::current_exception());
    }
    return offThread(info.Env(), facade(info.Env()), mCount,
                     [position, colour](CheckedFacade& facade) {
                         facade.setDiagnosticLed(position, colour);
                         return BackgroundCall::undefined();
                     });
}

Napi::Value FacadeWrap::setCosmeticLed(const Napi::CallbackInfo& info) {
    const auto colour = info[0].As<Napi::Number>().Int64Value();
    try {
        vantoreceipts::DeviceRequestCheck::cosmeticColour(colour);
    } catch (...) {
        throw JsErrors::from(info.Env(), std::current_exception());
    }
    return offThread(info.Env(), facade(info.Env()), mCount, [colour](CheckedFacade& facade) {
        facade.setCosmeticLed(colour);
        return BackgroundCall::undefined();
    });
}

Napi::Value FacadeWrap::enableUsb(const Napi::CallbackInfo& info) {
    return offThread(info.Env(), facade(info.Env()), mCount, [](CheckedFacade& facade) {
        facade.enableUsb();
        return BackgroundCall::undefined();
    });
}

Napi::Value FacadeWrap::disableUsb(const Napi::CallbackInfo& info) {
    return offThread(info.Env(), facade(info.Env()), mCount, [](CheckedFacade& facade) {
        facade.disableUsb();
        return BackgroundCall::undefined();
    });
}

Napi::Value FacadeWrap::print(const Napi::CallbackInfo& info) {
    const Napi::Env env = info.Env();
    const vantoreceipts::CheckedReceipt& receipt = ReceiptWrap::checked(env, info[0]);
    auto events = std::make_shared<PrintEvents>(env, info[1].As<Napi::Function>(), mCount);
    std::uint64_t id = 0;
    try {
        id = facade(env)->print(receipt, events, events);
    } catch (...) {
        throw JsErrors::from(env, std::current_exception());
    }
    return Napi::Number::New(env, static_cast<double>(id));
}

Napi::Value FacadeWrap::cancel(const Napi::CallbackInfo& info) {
    const auto id = static_cast<std::uint64_t>(info[0].As<Napi::Number>().Int64Value());
    // An abort that comes after close() finds nothing left to withdraw.
    return Napi::Boolean::New(info.Env(), mFacade && mFacade->cancel(id));
}

Napi::Value FacadeWrap::close(const Napi::CallbackInfo& info) {
    // The facade goes on a thread of its own: in the resilient profile that withdraws the
    // receipts still waiting and cuts short the one being sent, so nothing waits on the unit.
    // Calls already running hold it until they end.
    return BackgroundCall::start(info.Env(),
                                 [facade = std::move(mFacade), count = mCount]() mutable {
                                     facade.reset();
                                     count->waitIdle();
                                     return BackgroundCall::undefined();
                                 });
}

std::shared_ptr<CheckedFacade> FacadeWrap::facade(Napi::Env env) const {
    if (!mFacade) {
        throw Napi::Error::New(env, "this Vanto is closed");
    }
    return mFacade;
}

}  // namespace vantonode
