#pragma once

// What the C API's opaque handles hold. C callers see only the struct names of vanto.h.

#include <memory>

#include "emulator/EmulatedUnit.hpp"
#include "receipts/CheckedReceipt.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"
#include "vantoconnect/support/Image.hpp"
#include "vantoconnect/vanto.h"

struct vanto {
    vantoconnect::Vanto facade;
    // The facade's own connection manager, for the address and port.
    std::shared_ptr<vantoconnect::GenericConnectionManager> manager;
};

struct vanto_receipt : vantoreceipts::CheckedReceipt {
    using CheckedReceipt::CheckedReceipt;
};

struct vanto_image {
    vantoconnect::Image image;
};

struct vanto_emulator {
    std::unique_ptr<vantoemu::EmulatedUnit> unit;
};
