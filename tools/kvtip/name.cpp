#include <CLI/CLI.hpp>
#include <ws2tcpip.h>

#include "arguments.h"
#include "command.h"
#include "ip/winsock2.h"
#include "kvt/exceptions/error.h"
#include "output.h"

namespace {

ip::saddr parse(const std::string& text) {
    try {
        return look_up(text, ip::family_none, AI_NUMERICHOST).at(0);
    } catch (const kvt::exceptions::error& error) {
        if (error.error_code() != WSAHOST_NOT_FOUND) {
            throw;
        }
        throw CLI::ValidationError("ADDRESS", text + " is not an address");
    }
}

json name_of(const std::string& text) {
    const ip::saddr address = parse(text);
    std::wstring name;
    if (const unsigned long code = ip::winsock2::getnameinfo(address, &name, nullptr, NI_NAMEREQD)) {
        throw kvt::exceptions::error(code, "getnameinfo");
    }
    if (name.empty()) { // some systems fail without an error code
        throw kvt::exceptions::error(WSAHOST_NOT_FOUND, "getnameinfo");
    }
    return {{"address", address_json(address)}, {"name", to_utf8(name)}};
}

std::function<json()> prepare(CLI::App& options) {
    return [address = add_host(options, "ADDRESS", "An IPv4 or IPv6 address")] { return name_of(*address); };
}

std::string text(const json& result) {
    return result["name"].get<std::string>() + "\n";
}

} // namespace

const command name_command = {"name", "Show the name of the host with an address", prepare, text};
