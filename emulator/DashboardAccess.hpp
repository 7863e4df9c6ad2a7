#pragma once

// Who may talk to the dashboard. A browser on the developer's machine may visit a hostile page
// whose name is later re-pointed at 127.0.0.1 (DNS rebinding); its requests then carry that
// name in Host, so only the names this server is really reached by are accepted. A hostile
// page may also post to the dashboard directly; its Origin names the hostile page, so
// state-changing requests must come from the dashboard's own origin or from no browser at all.

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

namespace vantoemu {

class DashboardAccess {
  public:
    // `bind` is the address the server listens on; a wildcard (0.0.0.0, ::) accepts every
    // address of this machine's interfaces.
    DashboardAccess(const std::string& bind, std::uint16_t port);

    // A Host header value: "127.0.0.1:8081", "localhost:8081", "[::1]:8081".
    bool hostAllowed(std::string_view host) const;
    // An Origin header value; an absent one is the caller's call (curl sends none).
    bool originAllowed(std::string_view origin) const;

    static bool isLoopback(const std::string& address);
    // Only numeric addresses (and "localhost") are bound: a name would be looked up, and the
    // Host check needs to know the address a browser will name.
    static bool isNumericAddress(const std::string& address);
    static bool isWildcard(const std::string& address);

    // The names accepted in Host, lower case, without port.
    const std::set<std::string>& names() const { return mNames; }
    std::uint16_t port() const { return mPort; }

  private:
    std::set<std::string> mNames;
    std::uint16_t mPort;
};

}  // namespace vantoemu
