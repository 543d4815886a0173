#include "arguments.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>

#include <CLI/CLI.hpp>
#include <ws2tcpip.h>

#include "check.h"
#include "ip/winsock2.h"
#include "output.h"

namespace {

std::vector<ip::addr> ask(const std::string& host, unsigned short family, int flags) {
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

/// The interface's index behind the "%" of a link-local address; 0 without one.
std::uint32_t scope_of(const std::string& host) {
    std::uint32_t scope = 0;
    if (const std::size_t mark = host.find('%'); mark != std::string::npos) {
        std::from_chars(host.data() + mark + 1, host.data() + host.size(), scope);
    }
    return scope;
}

} // namespace

std::function<unsigned short()> add_family(CLI::App& options) {
    auto family = std::make_shared<int>(0);
    options.add_option("--family", *family, "Only IPv4 or only IPv6 addresses")->check(CLI::IsMember({4, 6}));
    return [family] {
        return *family == 4 ? ip::family_ipv4 : *family == 6 ? ip::family_ipv6 : ip::family_none;
    };
}

std::shared_ptr<std::string> add_host(CLI::App& options, const char* name, const char* description,
                                      const char* otherwise) {
    auto host = std::make_shared<std::string>(otherwise);
    CLI::Option* option = options.add_option(name, *host, description)->check([](const std::string& text) {
        return std::string(text.empty() ? "must not be empty" : "");
    });
    if (host->empty()) {
        option->required();
    } else {
        option->capture_default_str();
    }
    return host;
}

std::vector<ip::saddr> look_up(const std::string& host, unsigned short family) {
    const std::vector<ip::addr> found = ask(host, family, 0);
    std::vector<ip::saddr> result;
    std::transform(found.begin(), found.end(), std::back_inserter(result), socket_address);
    if (result.front().family == ip::family_ipv6) {
        result.front().scope_id = scope_of(host);
    }
    return result;
}

ip::saddr look_up_first(const std::string& host, unsigned short family) {
    return look_up(host, family).front();
}

ip::addr parse_address(const std::string& text, const char* name) {
    try {
        return ask(text, ip::family_none, AI_NUMERICHOST).front();
    } catch (const kvt::exceptions::error& error) {
        if (error.error_code() != WSAHOST_NOT_FOUND) {
            throw;
        }
        throw CLI::ValidationError(name, text + " is not an address");
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
