#include <windows.h>

#include "check.h"
#include "command.h"
#include "ip/winsock2.h"
#include "output.h"

namespace {

/// By the narrow call: the wide one gets names beyond ASCII wrong, since it converts no code page.
json own_name(const line_sink& /*show*/) {
    char name[256];
    check(ip::winsock2::gethostname(name, sizeof name), "gethostname");
    return {{"hostname", to_utf8(to_wide(name, CP_ACP))}};
}

std::string text(const json& result) {
    return result["hostname"].get<std::string>() + "\n";
}

} // namespace

const command hostname_command = {"hostname", "Show this host's name",
                                  [](CLI::App&) -> operation { return own_name; }, text};
