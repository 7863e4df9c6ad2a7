#include "vantoconnect/transport/SocketError.hpp"

namespace vantoconnect {
namespace {

class SocketErrorCategory final : public std::error_category {
  public:
    const char* name() const noexcept override { return "vantoconnect.SocketError"; }
    std::string message(int code) const override {
        return "The operation couldn\u2019t be completed. (vantoconnect.SocketError error " +
               std::to_string(code) + ".)";
    }
};

}  // namespace

const std::error_category& socketErrorCategory() noexcept {
    static const SocketErrorCategory category;
    return category;
}

std::string localizedDescription(SocketError error) {
    return socketErrorCategory().message(static_cast<int>(error));
}

}  // namespace vantoconnect
