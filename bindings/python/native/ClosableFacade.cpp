#include "ClosableFacade.hpp"

#include <stdexcept>
#include <unordered_set>
#include <utility>
#include <vector>

namespace vantopy {

namespace {

// The open facades. Never destroyed: a facade may go after static destructors have run.
struct Registry {
    std::mutex mutex;
    std::unordered_set<ClosableFacade*> open;
};

Registry& registry() {
    static Registry* const shared = new Registry();
    return *shared;
}

}  // namespace

ClosableFacade::ClosableFacade(const vantoreceipts::FacadeOptions& options)
    : mProfile(options.profile), mFacade(std::make_shared<vantoreceipts::CheckedFacade>(options)) {
    Registry& r = registry();
    const std::lock_guard lock(r.mutex);
    r.open.insert(this);
}

ClosableFacade::~ClosableFacade() {
    {
        Registry& r = registry();
        const std::lock_guard lock(r.mutex);
        r.open.erase(this);
    }
    close();
}

std::shared_ptr<vantoreceipts::CheckedFacade> ClosableFacade::get() const {
    auto facade = ifOpen();
    if (!facade) {
        throw std::runtime_error("this Vanto is closed");
    }
    return facade;
}

std::shared_ptr<vantoreceipts::CheckedFacade> ClosableFacade::ifOpen() const {
    const std::lock_guard lock(mMutex);
    return mFacade;
}

void ClosableFacade::close() noexcept {
    std::shared_ptr<vantoreceipts::CheckedFacade> facade;
    {
        const std::lock_guard lock(mMutex);
        facade.swap(mFacade);
    }
    // Destroyed here, outside the lock: its cancelled receipts' callbacks may call this object.
}

void ClosableFacade::closeAllResilient() noexcept {
    std::vector<std::shared_ptr<vantoreceipts::CheckedFacade>> closing;
    {
        Registry& r = registry();
        const std::lock_guard lock(r.mutex);
        try {
            closing.reserve(r.open.size());
        } catch (...) {
            return;  // out of memory at exit: they are left to run on, as they would without this
        }
        for (ClosableFacade* facade : r.open) {
            const std::lock_guard own(facade->mMutex);
            if (facade->mProfile == vantoreceipts::Profile::Resilient && facade->mFacade) {
                closing.push_back(std::move(facade->mFacade));
            }
        }
    }
    // Destroyed here, outside the locks, one after the other.
}

}  // namespace vantopy
