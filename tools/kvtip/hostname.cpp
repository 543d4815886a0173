#include <windows.h>

#include "command.h"
#include "encoding.h"
#include "errors.h"
#include "ip/winsock2.h"

namespace {

/// Asks the narrow call, since the wide one converts no code page and garbles names beyond ASCII.
value local_name(const line_sink& /*show*/) {
    char name[256];
    check(ip::winsock2::gethostname(name, sizeof name), "gethostname");
    return {{"hostname", to_utf8(to_wide(name, CP_ACP))}};
}

std::string text(const value& result) {
    return result["hostname"].text() + "\n";
}

} // namespace

const command hostname_command = {"hostname", "Show this host's name",
                                  [](parameters&) -> operation { return local_name; }, text};
