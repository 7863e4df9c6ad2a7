#pragma once

// What the C API's opaque handles hold. C callers see only the struct names of vanto.h.

#include <atomic>
#include <cstddef>
#include <memory>

#include "emulator/EmulatedUnit.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"
#include "vantoconnect/support/Image.hpp"
#include "vantoconnect/vanto.h"

struct vanto {
    vantoconnect::Vanto facade;
    // The facade's own connection manager, for the address and port.
    std::shared_ptr<vantoconnect::GenericConnectionManager> manager;
};

struct vanto_receipt {
    std::shared_ptr<vantoconnect::VantoReceipt> receipt;
    // Lines added so far, to name the next one in messages ("line 4").
    std::atomic<std::size_t> lines{0};
};

struct vanto_image {
    vantoconnect::Image image;
};

struct vanto_emulator {
    std::unique_ptr<vantoemu::EmulatedUnit> unit;
};
