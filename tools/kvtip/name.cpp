#include <ws2tcpip.h>

#include "arguments.h"
#include "command.h"
#include "encoding.h"
#include "errors.h"
#include "ip/winsock2.h"
#include "network_values.h"

namespace {

value name_of(const std::string& text) {
    const ip::saddr address = socket_address(parse_address(text, "ADDRESS"));
    std::wstring name;
    check(ip::winsock2::getnameinfo(address, &name, nullptr, NI_NAMEREQD), "getnameinfo");
    if (name.empty()) { // some systems fail without an error code
        check(WSAHOST_NOT_FOUND, "getnameinfo");
    }
    return {{"address", address_value(address)}, {"name", to_utf8(name)}};
}

operation prepare(parameters& expected) {
    return [address = add_host(expected, "ADDRESS", "An IPv4 or IPv6 address")](const line_sink&) {
        return name_of(*address);
    };
}

std::string text(const value& result) {
    return result["name"].text() + "\n";
}

} // namespace

const command name_command = {"name", "Show the name of the host with an address", prepare, text};
