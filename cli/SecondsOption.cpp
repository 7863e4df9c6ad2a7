#include "cli/SecondsOption.hpp"

#include <cmath>
#include <cstdlib>
#include <string>

namespace vantocli {

CLI::Validator SecondsOption::validator(double most) {
    return CLI::Validator(
        [most](std::string& text) -> std::string {
            char* end = nullptr;
            const double value = std::strtod(text.c_str(), &end);
            if (text.empty() || end != text.c_str() + text.size() || !std::isfinite(value) ||
                value <= 0 || value > most) {
                return "\"" + text + "\" is not a number of seconds above 0 and at most " +
                       std::to_string(static_cast<long long>(most));
            }
            return {};
        },
        "SECONDS");
}

}  // namespace vantocli
