#include "FacadeProfile.hpp"

namespace vantonode {

using vantoreceipts::CheckedFacade;

std::shared_ptr<CheckedFacade> FacadeProfile::make(const FacadeSettings& settings) {
    auto facade = std::make_shared<CheckedFacade>();
    if (settings.address) {
        facade->setAddress(*settings.address);
    }
    facade->setPort(settings.port);
    return facade;
}

const char* FacadeProfile::inEffect(const CheckedFacade&) {
    return "classic";
}

bool FacadeProfile::cancel(CheckedFacade&, std::uint64_t) {
    return false;
}

bool FacadeProfile::cancelled(const vantoconnect::VantoDeliveryReport&) {
    return false;
}

}  // namespace vantonode
