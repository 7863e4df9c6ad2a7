#pragma once

// What the C API's opaque handles are. C callers see only the struct names of vanto.h; here
// each is the C++ object that does the work, so the four stay together as the C API's types.

#include "receipts/CheckedFacade.hpp"
#include "receipts/CheckedReceipt.hpp"
#include "receipts/CheckedUnit.hpp"
#include "vantoconnect/support/Image.hpp"
#include "vantoconnect/vanto.h"

struct vanto : vantoreceipts::CheckedFacade {
    using CheckedFacade::CheckedFacade;
};

struct vanto_receipt : vantoreceipts::CheckedReceipt {
    using CheckedReceipt::CheckedReceipt;
};

struct vanto_image {
    vantoconnect::Image image;
};

struct vanto_emulator : vantoreceipts::CheckedUnit {
    using CheckedUnit::CheckedUnit;
};
