#include "UnitWrap.hpp"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "AddonData.hpp"
#include "BackgroundCall.hpp"
#include "JsErrors.hpp"
#include "emulator/UnitOptions.hpp"
#include "emulator/UnitSnapshot.hpp"
#include "receipts/PrinterQueueDrain.hpp"

namespace vantonode {

namespace {

using std::chrono::milliseconds;
using vantoemu::EmulatedUnit;

std::int64_t integer(const Napi::Object& options, const char* name) {
    return options.Get(name).As<Napi::Number>().Int64Value();
}

std::string text(const Napi::Object& options, const char* name) {
    return options.Get(name).As<Napi::String>().Utf8Value();
}

vantoemu::PrinterCondition printerCondition(Napi::Env env, const std::string& word) {
    const auto condition = vantoemu::printerConditionFromWord(word);
    if (!condition) {
        throw Napi::RangeError::New(
            env,
            "printerState must be \"ready\", \"not-ready\" or \"error\", not \"" + word + "\"");
    }
    return *condition;
}

vantoemu::ReplyMode replyMode(Napi::Env env, const std::string& word) {
    const auto mode = vantoemu::replyModeFromWord(word);
    if (!mode) {
        throw Napi::RangeError::New(
            env, "reply must be \"normal\", \"silent\" or \"unrecognised\", not \"" + word + "\"");
    }
    return *mode;
}

Napi::Buffer<std::uint8_t> bufferOf(Napi::Env env, const std::vector<std::uint8_t>& bytes) {
    return Napi::Buffer<std::uint8_t>::Copy(env, bytes.data(), bytes.size());
}

// Every unit of an environment still running at its teardown, stopped then: their threads
// must not outlive the addon's environment.
void stopAtTeardown(void* kept) {
    std::unique_ptr<std::weak_ptr<EmulatedUnit>> unit(
        static_cast<std::weak_ptr<EmulatedUnit>*>(kept));
    if (auto alive = unit->lock()) {
        alive->stop();
    }
}

}  // namespace

// Whether the unit holds the event loop open: set on the main thread when it starts and
// stops; a unit let go of while running gives the loop back.
struct UnitWrap::RunningHold {
    std::shared_ptr<MainThreadChannel> channel;
    bool holding = false;  // main thread only

    void set(bool running) {
        if (running != holding) {
            holding = running;
            running ? channel->hold() : channel->release();
        }
    }
    ~RunningHold() {
        if (holding) {
            channel->post([channel = channel](Napi::Env) { channel->release(); });
        }
    }
};

Napi::Function UnitWrap::define(Napi::Env env) {
    return DefineClass(env, "Unit",
                       {
                           InstanceMethod<&UnitWrap::start>("start"),
                           InstanceMethod<&UnitWrap::stop>("stop"),
                           InstanceMethod<&UnitWrap::running>("running"),
                           InstanceMethod<&UnitWrap::port>("port"),
                           InstanceMethod<&UnitWrap::address>("address"),
                           InstanceMethod<&UnitWrap::state>("state"),
                           InstanceMethod<&UnitWrap::receipts>("receipts"),
                           InstanceMethod<&UnitWrap::events>("events"),
                           InstanceMethod<&UnitWrap::waitForReceipts>("waitForReceipts"),
                           InstanceMethod<&UnitWrap::set>("set"),
                           InstanceMethod<&UnitWrap::openDrawer>("openDrawer"),
                           InstanceMethod<&UnitWrap::closeDrawer>("closeDrawer"),
                       });
}

UnitWrap::UnitWrap(const Napi::CallbackInfo& info) : Napi::ObjectWrap<UnitWrap>(info) {
    const Napi::Env env = info.Env();
    const Napi::Object o = info[0].As<Napi::Object>();
    vantoemu::UnitOptions options;
    options.bind = text(o, "bind");
    options.port = static_cast<std::uint16_t>(integer(o, "port"));
    options.outDir = text(o, "outDir");
    options.keep = static_cast<std::size_t>(integer(o, "keep"));
    options.drawerCloseAfter = milliseconds(integer(o, "drawerCloseAfterMs"));
    // The faults go in with the options, so the unit starts with them and its event log does
    // not open with a change for each.
    options.faults.printer = printerCondition(env, text(o, "printerState"));
    options.faults.printerNotReadyPolls = static_cast<int>(integer(o, "printerNotReady"));
    options.faults.printerErrorReplies = static_cast<int>(integer(o, "printerError"));
    options.faults.replyMode = replyMode(env, text(o, "reply"));
    options.faults.corruptCrcReplies = static_cast<int>(integer(o, "corruptCrc"));
    options.faults.replyDelay = milliseconds(integer(o, "delayMs"));
    options.faults.refuseConnections = o.Get("refuse").ToBoolean().Value();
    try {
        mUnit = std::make_shared<EmulatedUnit>(options);
    } catch (...) {
        throw JsErrors::from(env, std::current_exception());
    }
    mHold = std::make_shared<RunningHold>();
    mHold->channel = AddonData::of(env).channel;
    napi_add_env_cleanup_hook(env, &stopAtTeardown, new std::weak_ptr<EmulatedUnit>(mUnit));
}

// Collected while running: the unit stops with its last owner, here or on the thread of a call
// still holding it, and the teardown hook finds nothing left to stop.
UnitWrap::~UnitWrap() = default;

Napi::Value UnitWrap::start(const Napi::CallbackInfo& info) {
    return BackgroundCall::start(
        info.Env(),
        [unit = mUnit, hold = mHold]() -> BackgroundCall::Result {
            unit->start();
            return [hold](Napi::Env env) {
                hold->set(true);
                return env.Undefined();
            };
        },
        mCount);
}

Napi::Value UnitWrap::stop(const Napi::CallbackInfo& info) {
    const auto drain = milliseconds(info[0].As<Napi::Number>().Int64Value());
    return BackgroundCall::start(
        info.Env(),
        [unit = mUnit, drain, hold = mHold]() -> BackgroundCall::Result {
            if (unit->running() && !vantoreceipts::PrinterQueueDrain::waitUntilIdle(drain)) {
                throw std::runtime_error(
                    "the library's printer queue was still sending after " +
                    std::to_string(drain.count()) +
                    " ms; the emulated unit is left running, since stopping it while the library "
                    "waits for its answer would end the process");
            }
            unit->stop();
            return [hold](Napi::Env env) {
                hold->set(false);
                return env.Undefined();
            };
        },
        mCount);
}

Napi::Value UnitWrap::running(const Napi::CallbackInfo& info) {
    return Napi::Boolean::New(info.Env(), mUnit->running());
}

Napi::Value UnitWrap::port(const Napi::CallbackInfo& info) {
    return Napi::Number::New(info.Env(), mUnit->port());
}

Napi::Value UnitWrap::address(const Napi::CallbackInfo& info) {
    return Napi::String::New(info.Env(), mUnit->address());
}

Napi::Value UnitWrap::state(const Napi::CallbackInfo& info) {
    const Napi::Env env = info.Env();
    const vantoemu::UnitSnapshot snapshot = mUnit->snapshot();
    Napi::Object leds = Napi::Object::New(env);
    for (const auto& led : snapshot.diagnosticLeds) {
        leds.Set(Napi::Number::New(env, led.position), led.colour);
    }
    const vantoemu::Faults& faults = snapshot.faults;
    Napi::Object state = Napi::Object::New(env);
    state.Set("leds", leds);
    state.Set("cosmetic", snapshot.cosmeticColour);
    state.Set("usbPower", snapshot.usbPower);
    state.Set("drawerOpen", snapshot.drawerOpen);
    state.Set("drawerCloseAfterMs", static_cast<double>(snapshot.drawerCloseAfter.count()));
    state.Set("printerState", vantoemu::printerConditionWord(faults.printer));
    state.Set("printerNotReady", faults.printerNotReadyPolls);
    state.Set("printerError", faults.printerErrorReplies);
    state.Set("reply", vantoemu::replyModeName(faults.replyMode));
    state.Set("corruptCrc", faults.corruptCrcReplies);
    state.Set("delayMs", static_cast<double>(faults.replyDelay.count()));
    state.Set("refuse", faults.refuseConnections);
    state.Set("receipts", static_cast<double>(snapshot.receipts));
    return state;
}

Napi::Value UnitWrap::receipts(const Napi::CallbackInfo& info) {
    const Napi::Env env = info.Env();
    const std::vector<vantoemu::PrintedReceipt> receipts = mUnit->receipts();
    Napi::Array out = Napi::Array::New(env, receipts.size());
    for (std::size_t i = 0; i < receipts.size(); ++i) {
        const auto& receipt = receipts[i];
        const auto picture = receipt.picture();
        Napi::Object fields = Napi::Object::New(env);
        fields.Set("number", receipt.number);
        fields.Set("text", receipt.rendered.text);
        fields.Set("png", picture ? Napi::Value(bufferOf(env, *picture)) : env.Null());
        fields.Set("data", bufferOf(env, receipt.bytes));
        fields.Set("packets", static_cast<double>(receipt.packets));
        fields.Set("incomplete", receipt.incomplete);
        fields.Set("interleaved", receipt.interleaved);
        Napi::Array notes = Napi::Array::New(env, receipt.notes.size());
        for (std::size_t n = 0; n < receipt.notes.size(); ++n) {
            notes.Set(n, receipt.notes[n]);
        }
        fields.Set("notes", notes);
        out.Set(i, fields);
    }
    return out;
}

Napi::Value UnitWrap::events(const Napi::CallbackInfo& info) {
    const Napi::Env env = info.Env();
    const auto events = mUnit->events();
    Napi::Array out = Napi::Array::New(env, events.size());
    for (std::size_t i = 0; i < events.size(); ++i) {
        out.Set(i, events[i].json);
    }
    return out;
}

Napi::Value UnitWrap::waitForReceipts(const Napi::CallbackInfo& info) {
    const auto count = static_cast<std::size_t>(info[0].As<Napi::Number>().Int64Value());
    const auto timeout = milliseconds(info[1].As<Napi::Number>().Int64Value());
    return BackgroundCall::start(
        info.Env(),
        [unit = mUnit, count, timeout]() -> BackgroundCall::Result {
            const bool printed = unit->waitForReceipts(count, timeout);
            return [printed](Napi::Env env) { return Napi::Boolean::New(env, printed); };
        },
        mCount);
}

Napi::Value UnitWrap::set(const Napi::CallbackInfo& info) {
    const Napi::Env env = info.Env();
    const std::string name = info[0].As<Napi::String>().Utf8Value();
    const Napi::Value value = info[1];
    const auto number = [&] { return value.As<Napi::Number>().Int64Value(); };
    if (name == "printerState") {
        mUnit->setPrinterCondition(printerCondition(env, value.As<Napi::String>().Utf8Value()));
    } else if (name == "reply") {
        mUnit->setReplyMode(replyMode(env, value.As<Napi::String>().Utf8Value()));
    } else if (name == "printerNotReady") {
        mUnit->setPrinterNotReadyPolls(static_cast<int>(number()));
    } else if (name == "printerError") {
        mUnit->setPrinterErrorReplies(static_cast<int>(number()));
    } else if (name == "corruptCrc") {
        mUnit->corruptNextReplies(static_cast<int>(number()));
    } else if (name == "delayMs") {
        mUnit->setReplyDelay(milliseconds(number()));
    } else if (name == "refuse") {
        mUnit->setRefuseConnections(value.ToBoolean().Value());
    } else if (name == "drawerCloseAfterMs") {
        mUnit->setDrawerCloseAfter(milliseconds(number()));
    } else {
        throw Napi::TypeError::New(env, "no such setting: " + name);
    }
    return env.Undefined();
}

Napi::Value UnitWrap::openDrawer(const Napi::CallbackInfo& info) {
    mUnit->openDrawer();
    return info.Env().Undefined();
}

Napi::Value UnitWrap::closeDrawer(const Napi::CallbackInfo& info) {
    mUnit->closeDrawer();
    return info.Env().Undefined();
}

}  // namespace vantonode
