#include "arguments.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>

#include <ws2tcpip.h>

#include "encoding.h"
#include "errors.h"
#include "ip/winsock2.h"

namespace {

std::vector<ip::addr> resolve(const std::string& host, unsigned short family, int flags) {
    ADDRINFOW hints{};
    hints.ai_family = family;
    hints.ai_flags = flags;
    hints.ai_socktype = SOCK_STREAM; // otherwise an address is found once for each type of socket
    std::vector<ip::addr> found;
    check(ip::winsock2::getaddrinfo(to_wide(host).c_str(), found, nullptr, &hints), "getaddrinfo");
    std::erase_if(found, [](const ip::addr& each) { return each.family == ip::family_none; });
    check(found.empty() ? WSANO_DATA : 0, "getaddrinfo");
    return found;
}

/// The interface's index after the "%" of a link-local address; 0 without one.
std::uint32_t scope_of(const std::string& host) {
    std::uint32_t scope = 0;
    if (const std::size_t mark = host.find('%'); mark != std::string::npos) {
        std::from_chars(host.data() + mark + 1, host.data() + host.size(), scope);
    }
    return scope;
}

} // namespace

std::function<unsigned short()> add_family(parameters& expected) {
    auto family = std::make_shared<std::string>();
    expected.add_choice("--family", *family, "Only IPv4 or only IPv6 addresses", {"4", "6"});
    return [family] {
        return *family == "4" ? ip::family_ipv4 : *family == "6" ? ip::family_ipv6 : ip::family_none;
    };
}

std::shared_ptr<std::string> add_host(parameters& expected, const char* name, const char* description,
                                      const char* fallback) {
    auto host = std::make_shared<std::string>(fallback);
    expected.add_text(name, *host, description);
    return host;
}

std::vector<ip::saddr> find_addresses(const std::string& host, unsigned short family) {
    const std::vector<ip::addr> found = resolve(host, family, 0);
    std::vector<ip::saddr> result;
    std::transform(found.begin(), found.end(), std::back_inserter(result), socket_address);
    if (result.front().family == ip::family_ipv6) {
        result.front().scope_id = scope_of(host);
    }
    return result;
}

ip::saddr find_first_address(const std::string& host, unsigned short family) {
    return find_addresses(host, family).front();
}

ip::addr parse_address(const std::string& text, const char* name) {
    try {
        return resolve(text, ip::family_none, AI_NUMERICHOST).front();
    } catch (const kvt::exceptions::error& error) {
        if (error.error_code() != WSAHOST_NOT_FOUND) {
            throw;
        }
        throw usage_error(std::string(name) + ": " + text + " is not an address");
    }
}

ip::saddr socket_address(const ip::addr& address) {
    ip::saddr result;
    result.family = address.family;
    if (address.family == ip::family_ipv4) {
        std::memcpy(result.address4, address.address, sizeof result.address4);
    } else {
        std::memcpy(result.address6, address.address, sizeof result.address6);
    }
    return result;
}
