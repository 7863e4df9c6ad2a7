#pragma once

// The native side of the package's Vanto: the checked facade (FacadeProfile makes it), with
// every call that may wait on a unit run by BackgroundCall and every device request checked
// on the main thread first, so a bad argument throws before anything leaves it.

#include <napi.h>

#include <memory>

#include "CallCount.hpp"
#include "receipts/CheckedFacade.hpp"

namespace vantonode {

class FacadeWrap : public Napi::ObjectWrap<FacadeWrap> {
  public:
    static Napi::Function define(Napi::Env env);
    // settings: { profile, address, port, readTimeout, connectTimeout, log }, checked by the
    // package's JavaScript for type.
    explicit FacadeWrap(const Napi::CallbackInfo& info);

  private:
    Napi::Value address(const Napi::CallbackInfo& info);
    Napi::Value port(const Napi::CallbackInfo& info);
    Napi::Value profile(const Napi::CallbackInfo& info);
    Napi::Value cashDrawerStatus(const Napi::CallbackInfo& info);
    Napi::Value openCashDrawer(const Napi::CallbackInfo& info);
    Napi::Value printerBusy(const Napi::CallbackInfo& info);
    Napi::Value setDiagnosticLed(const Napi::CallbackInfo& info);
    Napi::Value setCosmeticLed(const Napi::CallbackInfo& info);
    Napi::Value enableUsb(const Napi::CallbackInfo& info);
    Napi::Value disableUsb(const Napi::CallbackInfo& info);
    // (receipt, dispatch) -> receipt id; see PrintEvents for the dispatcher's calls.
    Napi::Value print(const Napi::CallbackInfo& info);
    Napi::Value cancel(const Napi::CallbackInfo& info);
    // Resolves once no call of this facade runs and every receipt it queued has its report.
    Napi::Value close(const Napi::CallbackInfo& info);

    // Throws once close() has let the facade go.
    std::shared_ptr<vantoreceipts::CheckedFacade> facade(Napi::Env env) const;

    std::shared_ptr<vantoreceipts::CheckedFacade> mFacade;
    std::shared_ptr<CallCount> mCount = std::make_shared<CallCount>();
};

}  // namespace vantonode
