// Lists the network adapters that are up, each with its addresses.

#include <clocale>
#include <cstdio>
#include <cstring>
#include <windows.h>

#include "ip/ip.h"

// Prints an address by its raw form `Raw`: the first 4 or all 16 of its bytes.
template <class Raw>
static void print(const ip::addr& address) {
    Raw raw;
    std::memcpy(raw.bytes, address.address, sizeof raw.bytes);
    char text[46];
    if (ip::detail::to_string(raw, text, sizeof text)) {
        std::printf("  %s\n", text);
    }
}

int main() {
    std::setlocale(LC_ALL, ""); // names are printed in the user's code page

    // The library works while a handle is initialised. The end of main frees this one.
    ip::lib library;
    if (const unsigned long code = library.init()) {
        std::fprintf(stderr, "cannot start: error %lu\n", code);
        return 1;
    }

    // The enumerator walks the adapters, and the addresses of each adapter.
    ip::adapter_enumerator adapters;
    ip::_SFindAdapter adapter;
    for (bool found = adapters.find_first(adapter, 0); found; found = adapters.find_next(adapter)) {
        if (adapter.oper_status != ip::oper_status_up) {
            continue;
        }
        std::printf("%ls\n", adapter.friendly_name.c_str());
        ip::_SFindAddress found_address;
        while (adapters.find_next_addr(found_address)) {
            const ip::addr& address = found_address.address;
            if (address.family == ip::family_ipv4) {
                print<ip::_raw_addr4_no>(address);
            } else if (address.family == ip::family_ipv6) {
                print<ip::_raw_addr6_no>(address);
            }
        }
    }
    if (const DWORD code = GetLastError(); code != ERROR_NO_MORE_ITEMS) {
        std::fprintf(stderr, "stopped early: error %lu\n", code);
        return 1;
    }
    return 0;
}
