#include "cli/PortOption.hpp"

#include <charconv>
#include <string>

namespace vantocli {

CLI::Validator PortOption::validator(int lowest) {
    const std::string range = std::to_string(lowest) + "...65535";
    return CLI::Validator(
        [lowest, range](std::string& text) -> std::string {
            int port = -1;
            const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), port);
            if (text.empty() || ec != std::errc() || end != text.data() + text.size() ||
                port < lowest || port > 65535) {
                return "\"" + text + "\" is not a TCP port (a whole number in " + range + ")";
            }
            return {};
        },
        range);
}

}  // namespace vantocli
