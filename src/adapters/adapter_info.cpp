#include "adapters/adapter_info.h"

#include "adapters/adapter_addresses.h"
#include "adapters/adapter_fields.h"
#include "address/convert.h"
#include "address/encoding.h"
#include "address/parse.h"
#include "kvt/exceptions/error.h"

namespace ip::detail {

namespace {

/// The first known status among the entries with that index.
std::uint32_t status_of(DWORD index, const IP_ADAPTER_ADDRESSES* list) {
    std::uint32_t status = oper_status_unknown;
    for (; list != nullptr && status == oper_status_unknown; list = list->Next) {
        if (list->IfIndex == index) {
            status = static_cast<std::uint32_t>(list->OperStatus);
        }
    }
    return status;
}

const IP_ADAPTER_ADDRESSES* find_index(DWORD index, const IP_ADAPTER_ADDRESSES* list) {
    while (list != nullptr && list->IfIndex != index) {
        list = list->Next;
    }
    return list;
}

/// The description in UTF-16; empty when the system cannot convert it.
std::wstring description_of(const IP_ADAPTER_INFO& entry) {
    try {
        return to_wide(terminated(entry.Description).c_str(), npos, code_page_ansi);
    } catch (const kvt::exceptions::error&) {
        return {};
    }
}

saddr4 dhcp_server_of(const IP_ADAPTER_INFO& entry) {
    saddr4 server;
    if (entry.DhcpEnabled != 0 &&
        parse_ipv4(terminated(entry.DhcpServer.IpAddress.String).c_str(), server.address) != not_an_address) {
        server.family = family_ipv4;
    }
    return server;
}

/// Family 0 if the text is not an address.
void copy_address(const IP_ADDRESS_STRING& text, addr& address) {
    if (!parse_address(terminated(text.String).c_str(), address)) {
        address.family = family_none;
    }
}

} // namespace

void fill_record(_SFindAdapter& adapter, const IP_ADAPTER_INFO& entry, const IP_ADAPTER_ADDRESSES* newer) {
    adapter.index = entry.Index;
    adapter.ipv6_index = 0;
    adapter.type = entry.Type;
    adapter.oper_status = status_of(entry.Index, newer);
    copy_hw_address<offsetof(IP_ADAPTER_INFO, Address)>(adapter, &entry, entry.AddressLength);
    adapter.name = terminated(entry.AdapterName).c_str();
    adapter.description = description_of(entry);
    adapter.friendly_name.clear();
    if (const IP_ADAPTER_ADDRESSES* same = find_index(entry.Index, newer)) {
        adapter.friendly_name = text_or_empty(same->FriendlyName);
        append_dns_servers(adapter.dns_servers, same);
    }
    adapter.dhcp_enabled = entry.DhcpEnabled != 0;
    adapter.dhcp_server = dhcp_server_of(entry);
    adapter.dhcpv6_server = {};
    if (entry.GatewayList.IpAddress.String[0] != '\0') {
        addr gateway;
        copy_address(entry.GatewayList.IpAddress, gateway);
        adapter.gateways.push_back(to_saddr(gateway));
    }
}

void fill_record(_SFindAddress& address, const IP_ADDR_STRING& entry) {
    copy_address(entry.IpAddress, address.address);
    copy_address(entry.IpMask, address.mask);
}

} // namespace ip::detail
