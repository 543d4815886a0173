#include "arguments.h"

#include <optional>
#include <string_view>

#include "kvtip/adapters.hpp"
#include "kvtip/names.hpp"

namespace {

/// The address with the index of the interface that its scope names; none if there is no such interface.
std::optional<kvtip::address> with_numeric_scope(std::string_view text) {
    const std::size_t scope = text.find('%') + 1;
    std::error_code error;
    const std::uint32_t index = scope == 0 ? 0 : kvtip::scope(text.substr(scope), error);
    return kvtip::address::parse(std::string(text.substr(0, scope)) + std::to_string(index));
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

std::shared_ptr<std::string> add_host(parameters& expected, const char* name, const char* description,
                                      const char* fallback) {
    auto host = std::make_shared<std::string>(fallback);
    expected.add_text(name, *host, description);
    return host;
}

kvtip::address find_address(const std::string& host, kvtip::family family) {
    return kvtip::resolve(host, "", {.family = family}).endpoints.front().address();
}

kvtip::address parse_address(const std::string& text, const char* name) {
    auto address = kvtip::address::parse(text);
    if (!address) {
        address = with_numeric_scope(text);
    }
    if (!address) {
        throw usage_error(std::string(name) + ": " + text + " is not an address");
    }
    return *address;
}
