#pragma once

// Success or failure of a socket operation, returned instead of thrown. A failure carries any
// error value as a std::error_code; the socket layer puts a SocketError there, whose message()
// is the platform's localised description.

#include <optional>
#include <system_error>

namespace vantoconnect {

class Result {
  public:
    static Result success() { return Result(std::nullopt); }
    static Result failure(std::error_code error) { return Result(error); }

    bool isSuccess() const noexcept { return !mError.has_value(); }
    bool isFailure() const noexcept { return !isSuccess(); }
    // The error of a failure; absent for success.
    const std::optional<std::error_code>& error() const noexcept { return mError; }

  private:
    explicit Result(std::optional<std::error_code> error) : mError(error) {}

    std::optional<std::error_code> mError;
};

}  // namespace vantoconnect
