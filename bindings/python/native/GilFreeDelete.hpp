#pragma once

// The deleter of native objects that Python owns and whose destructors wait for the library's
// threads (the facade's connection queue, the emulated unit's server and drawing threads). Those
// threads may be waiting for the GIL to run a callback, so the GIL is let go of while the
// object is destroyed.

#include "ReleasedGil.hpp"

namespace vantopy {

struct GilFreeDelete {
    template <typename T>
    void operator()(T* object) const {
        const ReleasedGil released;
        delete object;
    }
};

}  // namespace vantopy
