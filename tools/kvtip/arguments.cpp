#include "arguments.h"

#include <algorithm>
#include <system_error>

#include "kvtip/adapters.hpp"
#include "kvtip/names.hpp"

namespace {

/// Whether a link-local address can be meant to be on this adapter's link.
bool has_link(const kvtip::adapter& adapter) {
    constexpr std::uint32_t loopback = 24;
    return adapter.type != loopback && (adapter.ipv6_index != 0 || adapter.index != 0);
}

/// "fe80::1%4 or fe80::1%Ethernet", with an interface of this host where one can be meant.
std::string with_some_scope(const std::string& address) {
    std::error_code unused; // without adapters, an example will do
    const auto adapters = kvtip::adapters({.family = kvtip::family::ipv6, .up = true}, unused);
    const auto found = std::find_if(adapters.begin(), adapters.end(), has_link);
    const bool any = found != adapters.end();
    const std::uint32_t index = !any ? 4 : found->ipv6_index != 0 ? found->ipv6_index : found->index;
    const std::string name = any ? found->name : "Ethernet";
    return address + "%" + std::to_string(index) + " or " + address + "%" + name;
}

} // namespace

std::function<kvtip::family()> add_family(parameters& expected) {
    auto family = std::make_shared<std::string>();
    expected.add_choice("--family", *family, "Only IPv4 or only IPv6 addresses", {"4", "6"});
    return [family] {
        return *family == "4"   ? kvtip::family::ipv4
               : *family == "6" ? kvtip::family::ipv6
                                : kvtip::family::none;
    };
}

std::function<kvtip::protocol()> add_protocol(parameters& expected) {
    struct choice {
        bool tcp = false, udp = false;
    };
    auto given = std::make_shared<choice>();
    expected.add_flag("--tcp", given->tcp, "Only TCP");
    expected.add_flag("--udp", given->udp, "Only UDP");
    expected.exclude("--udp", "--tcp");
    return [given] {
        return given->tcp ? kvtip::protocol::tcp : given->udp ? kvtip::protocol::udp : kvtip::protocol::any;
    };
}

std::shared_ptr<std::string> add_host(parameters& expected, const char* name, const char* description,
                                      const char* fallback) {
    auto host = std::make_shared<std::string>(fallback);
    expected.add_text(name, *host, description);
    return host;
}

std::uint32_t find_interface(const std::string& name) {
    constexpr int not_found = 1168; // ERROR_NOT_FOUND
    std::error_code error;
    const std::uint32_t index = kvtip::scope(name, error);
    if (error.value() == not_found) {
        throw usage_error("there is no interface '" + name + "'; 'kvtip adapters' lists all");
    }
    if (error) {
        throw std::system_error(error);
    }
    return index;
}

std::string with_numeric_scope(const std::string& text) {
    const std::size_t start = text.find('%') + 1;
    if (start == 0) {
        return text;
    }
    const std::size_t end = text.front() == '[' ? text.find(']', start) : std::string::npos;
    const std::uint32_t index = find_interface(text.substr(start, end - start));
    return text.substr(0, start) + std::to_string(index) + text.substr(std::min(end, text.size()));
}

void check_scope(const kvtip::address& destination) {
    const bool needs_scope = destination.is_link_local() || destination.is_multicast();
    if (needs_scope && destination.scope() == 0 && destination.with_scope(1) != destination) {
        const std::string text = destination.to_string();
        throw usage_error(text + " needs an interface: " + with_some_scope(text));
    }
}

kvtip::address find_address(const std::string& host, kvtip::family family, const kvtip::canceller* cancel) {
    const std::string text = with_numeric_scope(host);
    auto address = kvtip::address::parse(text).value_or(kvtip::address());
    if (!address || (family != kvtip::family::none && address.family() != family)) {
        const auto found = kvtip::resolve(text, 0, {.family = family, .cancel = cancel});
        address = found.endpoints.front().address();
    }
    check_scope(address);
    return address;
}

kvtip::address parse_address(const std::string& text, const char* name) {
    const auto address = kvtip::address::parse(with_numeric_scope(text));
    if (!address) {
        throw usage_error(std::string(name) + ": " + text + " is not an address");
    }
    return *address;
}
