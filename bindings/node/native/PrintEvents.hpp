#pragma once

// One receipt's outcome, carried from the library's threads to JavaScript. The library calls
// on its own threads; each call becomes plain C++ values posted to the main thread, where the
// package's dispatcher for the receipt gets them as ("started", address), ("completed",
// address), ("error", error) and last ("report", report, error-or-undefined). Nothing here
// waits for JavaScript. The receipt holds the event loop open until its report is delivered;
// should the library let go of it without one, the dispatcher hears ("lost").

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "CallCount.hpp"
#include "JsFunction.hpp"
#include "MainThreadChannel.hpp"
#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"

namespace vantonode {

class PrintEvents final : public vantoconnect::VantoPrinterCallback,
                          public vantoconnect::VantoDeliveryListener {
  public:
    // Main thread: holds the event loop and counts the receipt in `count` until its report.
    PrintEvents(Napi::Env env, Napi::Function dispatch, std::shared_ptr<CallCount> count);
    ~PrintEvents() override;

    void onPrinterStarted(const std::string& ipAddress) override;
    void onPrinterCompleted(const std::string& ipAddress) override;
    void onPrinterError(const vantoconnect::VantoError& error) override;
    void onDeliveryReport(const vantoconnect::VantoDeliveryReport& report) override;

    static Napi::Object reportObject(Napi::Env env,
                                     const vantoconnect::VantoDeliveryReport& report);

  private:
    void postAddress(const char* event, const std::string& ipAddress);

    std::shared_ptr<MainThreadChannel> mChannel;
    std::shared_ptr<JsFunction> mDispatch;
    std::shared_ptr<CallCount> mCount;
    // Set by onPrinterError for the report that follows it on the same thread.
    std::optional<vantoconnect::VantoError> mError;
    std::atomic<bool> mReported{false};
};

}  // namespace vantonode
