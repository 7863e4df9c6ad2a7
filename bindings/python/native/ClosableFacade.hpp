#pragma once

// The facade as Python holds it (vantoconnect.Vanto). Python can close it (Vanto.close, the end
// of a with block) while another of its threads is still inside a call on it, so each call holds
// a share of the facade while it runs and closing lets go of this object's share only: the
// library's facade goes when the last call in flight returns.
//
// At exit every open facade of the resilient profile is closed (closeAll): its waiting receipts
// are reported cancelled, the one being sent is cut short and its threads are joined, none of
// which waits on a unit. Nothing of it is then still at work while the process is torn down.
// Classic facades are left as they were: their printer queue is the process's, and closing one
// stops nothing.

#include <memory>
#include <mutex>

#include "receipts/CheckedFacade.hpp"

namespace vantopy {

class ClosableFacade {
  public:
    // Without the GIL: a ReceiptInputError for a port outside 1...65535.
    explicit ClosableFacade(const vantoreceipts::FacadeOptions& options);
    // Closes it. Without the GIL.
    ~ClosableFacade();
    ClosableFacade(const ClosableFacade&) = delete;
    ClosableFacade& operator=(const ClosableFacade&) = delete;

    // The facade for one call; std::runtime_error once closed.
    std::shared_ptr<vantoreceipts::CheckedFacade> get() const;
    // The same, or null once closed.
    std::shared_ptr<vantoreceipts::CheckedFacade> ifOpen() const;
    // Idempotent. Without the GIL: closing a resilient facade reports its receipts cancelled,
    // through callbacks that take the GIL on this thread or on the facade's own.
    void close() noexcept;
    vantoreceipts::Profile profile() const noexcept { return mProfile; }

    // Closes every open resilient facade; from the exit handler, without the GIL.
    static void closeAllResilient() noexcept;

  private:
    const vantoreceipts::Profile mProfile;
    mutable std::mutex mMutex;
    std::shared_ptr<vantoreceipts::CheckedFacade> mFacade;
};

}  // namespace vantopy
