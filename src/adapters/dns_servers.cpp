#include <algorithm>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "adapters/adapter_addresses.h"
#include "adapters/adapter_fields.h"
#include "adapters/adapter_list.h"
#include "address/convert.h"
#include "address/format.h"
#include "ip/adapter_enumerator.h"

namespace ip {

using namespace detail;

namespace {

/// Writes servers into one text, each of them once.
class server_list {
public:
    explicit server_list(std::string& text) : text_(text) { text_.clear(); }

    void add(const std::string& server) {
        if (written_.insert(server).second) {
            text_ += text_.empty() ? server : ',' + server;
        }
    }

private:
    std::string& text_;
    std::set<std::string> written_;
};

// If memory runs short, these two add the servers up to there.

void add_system_wide(server_list& servers) try {
    membuffer buffer;
    if (get_list<FIXED_INFO>(buffer, 600, ERROR_BUFFER_OVERFLOW, &GetNetworkParams) != 0) {
        return;
    }
    const auto* info = static_cast<const FIXED_INFO*>(buffer.get(0));
    for (const IP_ADDR_STRING* each = &info->DnsServerList; each != nullptr; each = each->Next) {
        servers.add(terminated(each->IpAddress.String).c_str());
    }
} catch (const std::bad_alloc&) {
}

/// Whether all address bytes have that value; true for a family other than IPv4 and IPv6.
bool is_all(const saddr& address, std::uint8_t value) {
    const std::uint8_t* bytes = address_of(address);
    return std::all_of(bytes, bytes + address_size(address.family),
                       [=](std::uint8_t byte) { return byte == value; });
}

/// The address without scope; empty for one that cannot be a server's.
std::string text_of(const saddr& server) {
    if (is_all(server, 0) || (server.family == family_ipv4 && is_all(server, 255))) {
        return {};
    }
    addr address;
    to_addr(server, address);
    char buffer[50];
    return std::string(format_address(address, buffer));
}

void add_adapters(server_list& servers) try {
    membuffer buffer;
    if (the_helper().iphlpapi.GetAdaptersAddresses == nullptr ||
        get_adapters(buffer, family_none, adapter_list_flags()) != 0) {
        return;
    }
    for (const auto* adapter = static_cast<const IP_ADAPTER_ADDRESSES*>(buffer.get(0)); adapter != nullptr;
         adapter = adapter->Next) {
        if (adapter->OperStatus != IfOperStatusUp && adapter->OperStatus != IfOperStatusDormant) {
            continue;
        }
        std::vector<saddr> found;
        append_dns_servers(found, adapter);
        for (const saddr& server : found) {
            const std::string text = text_of(server);
            if (!text.empty()) {
                servers.add(text);
            }
        }
    }
} catch (const std::bad_alloc&) {
}

/// A load of the IP Helper library for one call.
class iphlpapi_load {
public:
    ~iphlpapi_load() {
        if (loaded_) {
            the_helper().iphlpapi.unload();
        }
    }
    bool take() { return loaded_ = the_helper().iphlpapi.load() == 0; }

private:
    bool loaded_ = false;
};

} // namespace

bool adapter_enumerator::retrievednsservers(std::string& text) {
    server_list servers(text);
    add_system_wide(servers);
    iphlpapi_load library;
    if (!library.take()) {
        return false;
    }
    add_adapters(servers);
    return !text.empty();
}

} // namespace ip
