// Calls into the DLL through the header-only C++ interface.

#include <cstdio>

#include "kvtip/kvtip.hpp"

int main() {
    char text[KVTIP_ADDRESS_TEXT_SIZE];
    const std::optional<kvtip::address> address = kvtip::address::parse("2001:DB8:0::1");
    if (!address || kvtip_format_address(&address->native(), text, sizeof text) != 0) {
        return 1;
    }
    std::printf("%s %s %s\n", text, kvtip_error_name(87), kvtip_version() == KVTIP_VERSION ? "version" : "");
}
