#include "vantoconnect/support/Character.hpp"

#include <utility>

#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/GraphemeCounter.hpp"

namespace vantoconnect {

Character::Character(std::string utf8) : mUtf8(std::move(utf8)) {
    const std::int64_t clusters = GraphemeCounter::count(mUtf8);
    if (clusters != 1) {
        fatalError("A Character must hold exactly one user-perceived character, but \"" + mUtf8 +
                   "\" holds " + std::to_string(clusters));
    }
}

}  // namespace vantoconnect
