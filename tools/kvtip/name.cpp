#include <ws2tcpip.h>

#include "arguments.h"
#include "check.h"
#include "command.h"
#include "ip/winsock2.h"
#include "output.h"

namespace {

json name_of(const std::string& text) {
    const ip::saddr address = socket_address(parse_address(text, "ADDRESS"));
    std::wstring name;
    check(ip::winsock2::getnameinfo(address, &name, nullptr, NI_NAMEREQD), "getnameinfo");
    if (name.empty()) { // some systems fail without an error code
        check(WSAHOST_NOT_FOUND, "getnameinfo");
    }
    return {{"address", address_json(address)}, {"name", to_utf8(name)}};
}

operation prepare(CLI::App& options) {
    return [address = add_host(options, "ADDRESS", "An IPv4 or IPv6 address")](const line_sink&) {
        return name_of(*address);
    };
}

std::string text(const json& result) {
    return result["name"].get<std::string>() + "\n";
}

} // namespace

const command name_command = {"name", "Show the name of the host with an address", prepare, text};
