#include "all_adapters.h"

#include <windows.h>

#include "errors.h"

void for_each_adapter(
    const std::function<void(const ip::_SFindAdapter& adapter, ip::adapter_enumerator& adapters)>& visit) {
    ip::adapter_enumerator adapters;
    ip::_SFindAdapter adapter;
    for (bool found = adapters.find_first(adapter, 0); found; found = adapters.find_next(adapter)) {
        visit(adapter, adapters);
        adapter.dhcpv6_iaid = 0; // not written for an adapter without one
    }
    if (const unsigned long code = GetLastError(); code != ERROR_NO_MORE_ITEMS) {
        check(code, "enumeration");
    }
}
