// Includes every public header, and calls into the DLL for each.

#include "ip/ip.h"

#include <cstdio>
#include <cstring>
#include <string>

static ip::lib kept; // initialised still when the program ends

int main() {
    ip::dnsapi dns;
    ip::hlpapi helper;
    if (kept.init() != 0 || dns.init() != 0 || helper.load() != 0) {
        return 1;
    }
    ip::membuffer buffer;
    auto* text = static_cast<char*>(buffer.get(46));
    ip::_raw_addr6_no raw;
    if (!ip::detail::from_string("2001:DB8:0::1", raw) || !ip::detail::to_string(raw, text, 46)) {
        return 2;
    }
    ip::addr loopback;
    std::string name;
    ip::adapter_enumerator adapters;
    ip::_SFindAdapter adapter;
    if (ip::winsock2::address_from_string(loopback, "127.0.0.1") != 0 || !adapters.find_first(adapter, 0)) {
        return 3;
    }
    std::printf("%s %u %s\n", text, loopback.address[0], adapter.name.empty() ? "" : "adapter");
}
