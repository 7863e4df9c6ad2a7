#include "emulator/DashboardAccess.hpp"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>
#include <cctype>
#include <charconv>

namespace vantoemu {

namespace {

std::string lower(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return out;
}

// The address as a Host header writes it: IPv6 literals without brackets, lower case.
std::string canonical(const std::string& address) {
    in6_addr v6{};
    if (inet_pton(AF_INET6, address.c_str(), &v6) == 1) {
        char text[INET6_ADDRSTRLEN] = {};
        inet_ntop(AF_INET6, &v6, text, sizeof text);
        return text;
    }
    return lower(address);
}

void addInterfaceAddresses(std::set<std::string>& names) {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        return;
    }
    for (ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr) {
            continue;
        }
        char text[INET6_ADDRSTRLEN] = {};
        if (entry->ifa_addr->sa_family == AF_INET) {
            auto* in = reinterpret_cast<sockaddr_in*>(entry->ifa_addr);
            inet_ntop(AF_INET, &in->sin_addr, text, sizeof text);
        } else if (entry->ifa_addr->sa_family == AF_INET6) {
            auto* in = reinterpret_cast<sockaddr_in6*>(entry->ifa_addr);
            // A link-local address needs a zone in the URL, which browsers do not send back.
            if (IN6_IS_ADDR_LINKLOCAL(&in->sin6_addr)) {
                continue;
            }
            inet_ntop(AF_INET6, &in->sin6_addr, text, sizeof text);
        } else {
            continue;
        }
        names.insert(text);
    }
    freeifaddrs(list);
}

}  // namespace

bool DashboardAccess::isLoopback(const std::string& address) {
    if (lower(address) == "localhost") {
        return true;
    }
    in_addr v4{};
    if (inet_pton(AF_INET, address.c_str(), &v4) == 1) {
        return (ntohl(v4.s_addr) >> 24) == 127;
    }
    in6_addr v6{};
    return inet_pton(AF_INET6, address.c_str(), &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6);
}

bool DashboardAccess::isNumericAddress(const std::string& address) {
    in_addr v4{};
    in6_addr v6{};
    return lower(address) == "localhost" || inet_pton(AF_INET, address.c_str(), &v4) == 1 ||
           inet_pton(AF_INET6, address.c_str(), &v6) == 1;
}

bool DashboardAccess::isWildcard(const std::string& address) {
    if (address.empty()) {
        return true;
    }
    in_addr v4{};
    if (inet_pton(AF_INET, address.c_str(), &v4) == 1) {
        return v4.s_addr == htonl(INADDR_ANY);
    }
    in6_addr v6{};
    return inet_pton(AF_INET6, address.c_str(), &v6) == 1 && IN6_IS_ADDR_UNSPECIFIED(&v6);
}

DashboardAccess::DashboardAccess(const std::string& bind, std::uint16_t port) : mPort(port) {
    if (isWildcard(bind)) {
        addInterfaceAddresses(mNames);
        mNames.insert("localhost");
    } else if (isLoopback(bind)) {
        mNames.insert(canonical(bind));
        mNames.insert("localhost");
    } else {
        mNames.insert(canonical(bind));
    }
}

bool DashboardAccess::hostAllowed(std::string_view host) const {
    std::string name;
    std::string_view portText;
    if (!host.empty() && host.front() == '[') {
        const auto close = host.find(']');
        if (close == std::string_view::npos) {
            return false;
        }
        name = canonical(std::string(host.substr(1, close - 1)));
        const auto rest = host.substr(close + 1);
        if (!rest.empty()) {
            if (rest.front() != ':') {
                return false;
            }
            portText = rest.substr(1);
        }
    } else {
        const auto colon = host.rfind(':');
        if (colon != std::string_view::npos) {
            // A bare IPv6 literal is not a valid Host; only bracketed ones are.
            if (host.find(':') != colon) {
                return false;
            }
            portText = host.substr(colon + 1);
            host = host.substr(0, colon);
        }
        name = lower(host);
    }
    if (portText.empty()) {
        // Browsers leave the port out only when it is the scheme's default.
        if (mPort != 80) {
            return false;
        }
    } else {
        unsigned value = 0;
        const auto [end, ec] =
            std::from_chars(portText.data(), portText.data() + portText.size(), value);
        if (ec != std::errc() || end != portText.data() + portText.size() || value != mPort) {
            return false;
        }
    }
    return mNames.count(name) > 0;
}

bool DashboardAccess::originAllowed(std::string_view origin) const {
    constexpr std::string_view scheme = "http://";
    if (origin.substr(0, scheme.size()) != scheme) {
        return false;
    }
    const auto authority = origin.substr(scheme.size());
    if (authority.find('/') != std::string_view::npos ||
        authority.find('@') != std::string_view::npos) {
        return false;
    }
    return hostAllowed(authority);
}

}  // namespace vantoemu
