#include "ip/adapter_enumerator.h"

#include <new>

#include "adapters/adapter_addresses.h"
#include "adapters/adapter_info.h"
#include "adapters/adapter_list.h"
#include "adapters/device_ids.h"
#include "ip/detail/helper.h"

namespace ip {

unsigned long adapter_enumerator::get_adapters_addresses(std::uint32_t family, std::uint32_t flags) {
    return detail::get_adapters(addresses_buffer, family, flags);
}

unsigned long adapter_enumerator::get_adapters_info() {
    return detail::get_list<IP_ADAPTER_INFO>(info_buffer, 3520, ERROR_BUFFER_OVERFLOW, &GetAdaptersInfo);
}

void adapter_enumerator::load_device_ids() {
    device_ids.clear();
    try {
        detail::read_device_ids(device_ids);
    } catch (const std::bad_alloc&) {
        // The walk does not need the identifiers, and continues with those found so far.
    }
}

bool adapter_enumerator::find_first(_SFindAdapter& adapter, std::uint32_t family) {
    load_device_ids();
    return find_first_without_ids(adapter, family);
}

bool adapter_enumerator::find_first_without_ids(_SFindAdapter& adapter, std::uint32_t family) {
    addresses_cursor = nullptr;
    unicast_cursor = nullptr;
    info_cursor = nullptr;
    info_addr_cursor = nullptr;
    use_info = false;

    const detail::helper& helper = detail::the_helper();
    if (helper.iphlpapi.GetAdaptersAddresses != nullptr) {
        if (get_adapters_addresses(family, detail::adapter_list_flags()) == 0) {
            addresses_cursor = static_cast<const IP_ADAPTER_ADDRESSES*>(addresses_buffer.get(0));
            if (helper.is_version_6_or_later()) {
                return fill_adapter(adapter);
            }
        }
    }
    if (family == family_ipv6) {
        return false; // the older source has no IPv6
    }
    use_info = true;
    const unsigned long code = get_adapters_info();
    if (code != 0) {
        SetLastError(code);
        return false;
    }
    info_cursor = static_cast<const IP_ADAPTER_INFO*>(info_buffer.get(0));
    return fill_adapter(adapter);
}

bool adapter_enumerator::fill_adapter(_SFindAdapter& adapter) {
    DWORD code = ERROR_NO_MORE_ITEMS;
    try {
        adapter.gateways.clear();
        adapter.dns_servers.clear();
        adapter.dhcpv6_duid.clear();
        if (addresses_cursor != nullptr && detail::the_helper().is_version_6_or_later()) {
            detail::fill_record(adapter, addresses_cursor, device_ids);
            unicast_cursor = addresses_cursor->FirstUnicastAddress;
            addresses_cursor = addresses_cursor->Next;
            return true;
        }
        if (info_cursor != nullptr) {
            detail::fill_record(adapter, *info_cursor, addresses_cursor);
            info_addr_cursor = &info_cursor->IpAddressList;
            info_cursor = info_cursor->Next;
            return true;
        }
    } catch (const std::bad_alloc&) {
        code = ERROR_NOT_ENOUGH_MEMORY;
    }
    SetLastError(code); // last, because to free an exception may change it
    return false;
}

bool adapter_enumerator::find_next_addr(_SFindAddress& address) {
    address.lease_obtained = 0;
    address.lease_expires = 0;
    if (unicast_cursor != nullptr) {
        detail::fill_record(address, unicast_cursor);
        unicast_cursor = unicast_cursor->Next;
        return true;
    }
    if (info_addr_cursor != nullptr) {
        detail::fill_record(address, *info_addr_cursor);
        info_addr_cursor = info_addr_cursor->Next;
        return true;
    }
    return false;
}

} // namespace ip
