#pragma once

// Counts user-perceived characters (extended grapheme clusters) of UTF-8 text: "e" followed by
// a combining accent is one, a flag made of two regional indicators is one, CR LF is one.
// Receipt layout pads lines by this count, and it runs for every price line, so text made only
// of characters that can never join a neighbour is counted without the segmentation engine.
// The engine is made once per thread and reused.

#include <cstdint>
#include <string_view>

namespace vantoconnect {

class GraphemeCounter {
  public:
    static std::int64_t count(std::string_view utf8);

    // Always through the segmentation engine; count() must agree with it on every input.
    static std::int64_t countWithBreakIterator(std::string_view utf8);
};

}  // namespace vantoconnect
