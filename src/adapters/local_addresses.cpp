#include <new>
#include <windows.h>

#include "ip/adapter_enumerator.h"
#include "ip/lib.h"

namespace ip {

unsigned long localaddresses(std::vector<addr>& addresses, unsigned short family) try {
    addresses.clear();
    adapter_enumerator adapters;
    _SFindAdapter adapter;
    _SFindAddress address;
    for (bool found = adapters.find_first_without_ids(adapter, family_none); found;
         found = adapters.find_next(adapter)) {
        while (adapters.find_next_addr(address)) {
            if (family == family_none || address.address.family == family) {
                addresses.push_back(address.address);
            }
        }
    }
    const unsigned long code = GetLastError();
    return code == ERROR_NO_MORE_ITEMS ? 0 : code;
} catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
}

unsigned long local_address(addr& address, unsigned short family) {
    std::vector<addr> addresses;
    const unsigned long code = localaddresses(addresses, family);
    if (addresses.empty()) {
        address.family = family_none;
    } else {
        address = addresses.front();
    }
    return code;
}

bool lib::address_family_supported(unsigned short family) try {
    adapter_enumerator adapters;
    _SFindAdapter adapter;
    _SFindAddress address;
    for (bool found = adapters.find_first_without_ids(adapter, family_none); found;
         found = adapters.find_next(adapter)) {
        if (adapter.oper_status != oper_status_up || adapter.type == interface_type_loopback) {
            continue;
        }
        while (adapters.find_next_addr(address)) {
            if (address.address.family == family) {
                return true;
            }
        }
    }
    return false;
} catch (const std::bad_alloc&) {
    return false;
}

} // namespace ip
