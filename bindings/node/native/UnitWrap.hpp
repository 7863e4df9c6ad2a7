#pragma once

// The native side of the package's Emulator: the emulated unit in this process, its faults by
// the words of `vanto emulate`, what it shows, and the receipts it printed as plain values
// (each PNG copied into a buffer JavaScript owns). Starting and stopping run off the main
// thread; a running unit holds the event loop open, as a listening server does. A unit still
// running when its environment is torn down is stopped then.

#include <napi.h>

#include <memory>

#include "CallCount.hpp"
#include "MainThreadChannel.hpp"
#include "emulator/EmulatedUnit.hpp"

namespace vantonode {

class UnitWrap : public Napi::ObjectWrap<UnitWrap> {
  public:
    static Napi::Function define(Napi::Env env);
    // options: { bind, port, outDir, keep, drawerCloseAfterMs, printerState, printerNotReady,
    // printerError, reply, corruptCrc, delayMs, refuse }, checked for type by the package.
    explicit UnitWrap(const Napi::CallbackInfo& info);
    ~UnitWrap() override;

  private:
    Napi::Value start(const Napi::CallbackInfo& info);
    // (drainMs): waits up to drainMs for the library's printer queue to fall idle first, and
    // rejects, leaving the unit running, when it does not.
    Napi::Value stop(const Napi::CallbackInfo& info);
    Napi::Value running(const Napi::CallbackInfo& info);
    Napi::Value port(const Napi::CallbackInfo& info);
    Napi::Value address(const Napi::CallbackInfo& info);
    Napi::Value state(const Napi::CallbackInfo& info);
    Napi::Value receipts(const Napi::CallbackInfo& info);
    Napi::Value events(const Napi::CallbackInfo& info);
    // (count, timeoutMs) -> Promise<boolean>
    Napi::Value waitForReceipts(const Napi::CallbackInfo& info);
    // (name, value): a fault or the drawer's closing time, by the option's name.
    Napi::Value set(const Napi::CallbackInfo& info);
    Napi::Value openDrawer(const Napi::CallbackInfo& info);
    Napi::Value closeDrawer(const Napi::CallbackInfo& info);

    struct RunningHold;

    std::shared_ptr<vantoemu::EmulatedUnit> mUnit;
    std::shared_ptr<CallCount> mCount = std::make_shared<CallCount>();
    std::shared_ptr<RunningHold> mHold;
};

}  // namespace vantonode
