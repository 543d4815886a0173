#include <windows.h>

#include "command.h"
#include "ip/winsock2.h"
#include "kvt/exceptions/error.h"
#include "output.h"

namespace {

/// By the narrow call: the wide one gets names beyond ASCII wrong, since it converts no code page.
json own_name() {
    char name[256];
    if (const unsigned long code = ip::winsock2::gethostname(name, sizeof name)) {
        throw kvt::exceptions::error(code, "gethostname");
    }
    return {{"hostname", to_utf8(to_wide(name, CP_ACP))}};
}

std::string text(const json& result) {
    return result["hostname"].get<std::string>() + "\n";
}

} // namespace

const command hostname_command = {"hostname", "Show this host's name",
                                  [](CLI::App&) -> std::function<json()> { return own_name; }, text};
