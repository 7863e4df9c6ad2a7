#include "vantoconnect/VantoReceipt.hpp"

namespace vantoconnect {

std::unique_lock<std::recursive_mutex> VantoReceipt::lockModel() {
    // Recursive because composition holds it and reads through the getters, which take it too.
    static std::recursive_mutex model;
    return std::unique_lock<std::recursive_mutex>(model);
}

}  // namespace vantoconnect
