// vantoconnect.node: the library, its receipts layer and the emulated unit for Node.js, behind
// Node-API alone. Each environment that loads it (the main thread, each worker) gets state of
// its own (AddonData).

#include <napi.h>

#include <cctype>
#include <string>

#include "AddonData.hpp"
#include "BackgroundCall.hpp"
#include "FacadeWrap.hpp"
#include "ImageWrap.hpp"
#include "JsFunction.hpp"
#include "ReceiptWrap.hpp"
#include "UnitWrap.hpp"
#include "receipts/Names.hpp"
#include "receipts/PrinterQueueDrain.hpp"
#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/support/Console.hpp"

namespace vantonode {

namespace {

using std::chrono::milliseconds;
using vantoconnect::PrinterQueue;

// (VantoError, PrinterNotRespondingError, FatalError): the package's classes, which the native
// side makes its errors with.
Napi::Value setErrorClasses(const Napi::CallbackInfo& info) {
    auto& data = AddonData::of(info.Env());
    data.vantoError = Napi::Persistent(info[0].As<Napi::Function>());
    data.printerNotRespondingError = Napi::Persistent(info[1].As<Napi::Function>());
    data.fatalError = Napi::Persistent(info[2].As<Napi::Function>());
    return info.Env().Undefined();
}

// (fn or null): the library's diagnostic lines to fn(line) on the main thread instead of
// standard output; null restores standard output. The sink runs under the library's console
// lock, so it only posts the line.
Napi::Value setConsole(const Napi::CallbackInfo& info) {
    if (!info[0].IsFunction()) {
        vantoconnect::setConsoleSink({});
        return info.Env().Undefined();
    }
    auto channel = AddonData::of(info.Env()).channel;
    auto target = std::make_shared<JsFunction>(channel, info[0].As<Napi::Function>());
    vantoconnect::setConsoleSink([channel, target](std::string_view line) {
        channel->post([target, text = std::string(line)](Napi::Env env) {
            target->call(env, {Napi::String::New(env, text)});
        });
    });
    return info.Env().Undefined();
}

milliseconds millisecondsOf(const Napi::Value& value) {
    return vantoreceipts::PrinterQueueDrain::fromSeconds(value.As<Napi::Number>().DoubleValue() /
                                                         1000.0);
}

// (limitMs) -> Promise<boolean>: the process's printer queue idle within the limit.
Napi::Value waitForPrinterQueue(const Napi::CallbackInfo& info) {
    const milliseconds limit = millisecondsOf(info[0]);
    return BackgroundCall::start(info.Env(), [limit]() -> BackgroundCall::Result {
        const bool idle = vantoreceipts::PrinterQueueDrain::waitUntilIdle(limit);
        return [idle](Napi::Env env) { return Napi::Boolean::New(env, idle); };
    });
}

// (limitMs) -> Promise<boolean>: for tests, the queue's poll count and state cleared once idle.
Napi::Value resetPrinterQueue(const Napi::CallbackInfo& info) {
    const milliseconds limit = millisecondsOf(info[0]);
    return BackgroundCall::start(info.Env(), [limit]() -> BackgroundCall::Result {
        const bool reset = PrinterQueue::resetForTesting(limit);
        return [reset](Napi::Env env) { return Napi::Boolean::New(env, reset); };
    });
}

// The library's values, for the test that keeps the package's enums equal to them, each
// named by the receipts layer's short word in capitals.
Napi::Value libraryConstants(const Napi::CallbackInfo& info) {
    using vantoreceipts::Names;
    const Napi::Env env = info.Env();
    const auto table = [env](const Names::Table& entries) {
        Napi::Object values = Napi::Object::New(env);
        for (const auto& entry : entries) {
            std::string name(entry.word);
            for (char& c : name) {
                c = c == '-' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
            }
            values.Set(name, static_cast<double>(entry.value));
        }
        return values;
    };
    Napi::Object all = Napi::Object::New(env);
    all.Set("CutType", table(Names::cutTypes()));
    all.Set("TextStyle", table(Names::textStyles()));
    all.Set("TextSize", table(Names::textSizes()));
    all.Set("TextPosition", table(Names::textPositions()));
    all.Set("BarcodeType", table(Names::barcodeTypes()));
    all.Set("BarcodeHri", table(Names::barcodeHri()));
    all.Set("DiagnosticLed", table(Names::diagnosticPositions()));
    all.Set("LedColor", table(Names::ledColours()));
    all.Set("CosmeticColor", table(Names::cosmeticColours()));
    Napi::Object drawer = Napi::Object::New(env);
    drawer.Set("OPENED", static_cast<double>(vantoconnect::Vanto::CASH_DRAWER_STATUS_OPENED));
    drawer.Set("CLOSED", static_cast<double>(vantoconnect::Vanto::CASH_DRAWER_STATUS_CLOSED));
    all.Set("DrawerStatus", drawer);
    return all;
}

}  // namespace

Napi::Object init(Napi::Env env, Napi::Object exports) {
    auto* data = new AddonData();
    data->channel = MainThreadChannel::open(env);
    env.SetInstanceData<AddonData>(data);

    const Napi::Function receipt = ReceiptWrap::define(env);
    const Napi::Function image = ImageWrap::define(env);
    data->receiptClass = Napi::Persistent(receipt);
    data->imageClass = Napi::Persistent(image);
    exports.Set("Receipt", receipt);
    exports.Set("Image", image);
    exports.Set("Facade", FacadeWrap::define(env));
    exports.Set("Unit", UnitWrap::define(env));
    exports.Set("setErrorClasses", Napi::Function::New<setErrorClasses>(env));
    exports.Set("waitForPrinterQueue", Napi::Function::New<waitForPrinterQueue>(env));
    exports.Set("resetPrinterQueue", Napi::Function::New<resetPrinterQueue>(env));
    exports.Set("setTimerIntervalScale",
                Napi::Function::New(env, [](const Napi::CallbackInfo& info) {
                    PrinterQueue::setTimerIntervalScale(info[0].As<Napi::Number>().DoubleValue());
                }));
    exports.Set("setConsole", Napi::Function::New<setConsole>(env));
    exports.Set("libraryConstants", Napi::Function::New<libraryConstants>(env));
    return exports;
}

}  // namespace vantonode

namespace {

Napi::Object initModule(Napi::Env env, Napi::Object exports) {
    return vantonode::init(env, exports);
}

}  // namespace

NODE_API_MODULE(vantoconnect, initModule)
