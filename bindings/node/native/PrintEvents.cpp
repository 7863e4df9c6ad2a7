#include "PrintEvents.hpp"

#include <utility>

#include "AddonData.hpp"
#include "JsErrors.hpp"

namespace vantonode {

PrintEvents::PrintEvents(Napi::Env env, Napi::Function dispatch, std::shared_ptr<CallCount> count)
    : mChannel(AddonData::of(env).channel),
      mDispatch(std::make_shared<JsFunction>(mChannel, dispatch)),
      mCount(std::move(count)) {
    mChannel->hold();
    mCount->add();
}

PrintEvents::~PrintEvents() {
    if (mReported.load()) {
        return;
    }
    mChannel->post([channel = mChannel, dispatch = mDispatch](Napi::Env env) {
        channel->release();
        dispatch->call(env, {Napi::String::New(env, "lost")});
    });
    mCount->done();
}

void PrintEvents::postAddress(const char* event, const std::string& ipAddress) {
    mChannel->post([dispatch = mDispatch, event, ipAddress](Napi::Env env) {
        dispatch->call(env, {Napi::String::New(env, event), Napi::String::New(env, ipAddress)});
    });
}

void PrintEvents::onPrinterStarted(const std::string& ipAddress) {
    postAddress("started", ipAddress);
}

void PrintEvents::onPrinterCompleted(const std::string& ipAddress) {
    postAddress("completed", ipAddress);
}

void PrintEvents::onPrinterError(const vantoconnect::VantoError& error) {
    mError = error;
    mChannel->post([dispatch = mDispatch, error](Napi::Env env) {
        dispatch->call(env, {Napi::String::New(env, "error"),
                             JsErrors::vantoError(env, error, env.Undefined()).Value()});
    });
}

void PrintEvents::onDeliveryReport(const vantoconnect::VantoDeliveryReport& report) {
    if (mReported.exchange(true)) {
        return;
    }
    mCount->done();
    mChannel->post(
        [channel = mChannel, dispatch = mDispatch, report, error = mError](Napi::Env env) {
            channel->release();
            const Napi::HandleScope scope(env);
            const Napi::Object shown = reportObject(env, report);
            const Napi::Value failure =
                error ? JsErrors::vantoError(env, *error, shown).Value() : env.Undefined();
            dispatch->call(env, {Napi::String::New(env, "report"), shown, failure});
        });
}

Napi::Object PrintEvents::reportObject(Napi::Env env,
                                       const vantoconnect::VantoDeliveryReport& report) {
    Napi::Object shown = Napi::Object::New(env);
    shown.Set("receiptId", static_cast<double>(report.receiptId));
    shown.Set("packetsSent", static_cast<double>(report.packetsSent));
    shown.Set("packetsAcknowledged", static_cast<double>(report.packetsAcknowledged));
    shown.Set("packetsRefused", static_cast<double>(report.packetsRefused));
    shown.Set("packetsUnrecognised", static_cast<double>(report.packetsUnrecognised));
    shown.Set("packetsNotSent", static_cast<double>(report.packetsNotSent));
    shown.Set("packetsUnanswered", static_cast<double>(report.packetsUnanswered));
    shown.Set("endOfJobSent", report.endOfJobSent);
    shown.Set("allAcknowledged", report.allAcknowledged);
    shown.Set("cancelled", report.cancelled);
    shown.Set("summary", report.summary());
    return shown;
}

}  // namespace vantonode
