// Arbitrary bytes, cut into arbitrary reads, fed to one answer classifier. The only way out
// other than an answer is the deliberate stop on a frame too short for a message header
// (an index past the end, or a negative content length); anything else is a finding.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "vantoconnect/connection/ResponseMatcher.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/Fatal.hpp"

using namespace vantoconnect;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The decoder reports every stray byte; printing them would drown the run.
    setConsoleSink([](std::string_view) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ResponseMatcher matcher;
    std::size_t at = 0;
    try {
        while (at < size) {
            // Each read is announced by one byte giving its length (0 is an empty read).
            const std::size_t length = data[at++] % 64;
            const std::size_t end = at + length < size ? at + length : size;
            const Bytes read(data + at, data + end);
            at = end;
            const VantoMessageResponse response = matcher.processResponseFromVanto(read);
            if (static_cast<std::int64_t>(response) < 0 ||
                response > VantoMessageResponse::UNKNOWN) {
                std::abort();
            }
            if (read.empty() && response != VantoMessageResponse::UNKNOWN) {
                std::abort();
            }
        }
    } catch (const FatalError& error) {
        const std::string_view what = error.what();
        if (what != fatal::INDEX_OUT_OF_RANGE && what != fatal::NEGATIVE_COUNT) {
            std::abort();
        }
    }
    return 0;
}
