// Names and addresses by the system's name services, and this host's name.

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>
#include <vector>

#include "address/encoding.h"
#include "kvtip/block.h"
#include "kvtip/boundary.h"
#include "kvtip/encoding.h"
#include "kvtip/kvtip.h"
#include "kvtip/options.h"
#include "kvtip/system_entries.h"
#include "kvtip/values.h"
#include "winsock/address_info.h"

using namespace kvtip::library;
using ip::detail::bound_winsock;

namespace {

/// The code that a name service returned. Some systems pass on negative codes of another name service for an
/// address of the wrong family.
std::uint32_t name_service_code(int code) {
    return code < 0 ? WSANO_DATA : static_cast<std::uint32_t>(code);
}

/// A lookup as the system's calls take it.
struct lookup {
    std::string host;
    std::string service;
    kvtip_resolve_options options{};

    template <class Info>
    Info hints() const {
        Info result{};
        result.ai_family = to_system_family(options.family);
        result.ai_socktype = options.socket_type == KVTIP_DATAGRAM ? SOCK_DGRAM : SOCK_STREAM;
        result.ai_flags = static_cast<int>(options.flags & (AI_PASSIVE | AI_CANONNAME | AI_NUMERICHOST)) |
                          ((options.flags & KVTIP_RESOLVE_CONFIGURED) != 0 ? AI_ADDRCONFIG : 0);
        return result;
    }
};
static_assert(KVTIP_RESOLVE_PASSIVE == AI_PASSIVE && KVTIP_RESOLVE_CANONICAL_NAME == AI_CANONNAME &&
              KVTIP_RESOLVE_NUMERIC_HOST == AI_NUMERICHOST);

/// Makes the result from the system's list. Null if there is no address in it.
template <class Char>
const kvtip_resolution* lay_out(const ip::detail::address_info_list<Char>& found) {
    std::basic_string_view<Char> canonical_name;
    std::vector<kvtip_endpoint> endpoints;
    found.for_each([&](const auto& each) {
        if (each.ai_canonname != nullptr && canonical_name.empty()) {
            canonical_name = each.ai_canonname;
        }
        if (each.ai_addr == nullptr || each.ai_addrlen < sizeof(SOCKADDR_IN)) {
            return;
        }
        const auto endpoint = to_endpoint(ip::detail::from_sockaddr(each.ai_addr, each.ai_addrlen));
        if (endpoint.address.family != 0) {
            endpoints.push_back(endpoint);
        }
    });
    if (endpoints.empty()) {
        return nullptr;
    }
    return block::make<kvtip_resolution>([&](block& out, kvtip_resolution& result) {
        auto* copy = out.array<kvtip_endpoint>(endpoints.size());
        result.size = sizeof result;
        result.canonical_name = out.text(canonical_name);
        result.endpoints = copy;
        result.endpoint_count = endpoints.size();
        if (!out.is_measuring()) {
            std::copy(endpoints.begin(), endpoints.end(), copy);
        }
    });
}

template <class Char>
std::uint32_t resolve(const std::basic_string<Char>& host, const std::basic_string<Char>& service,
                      const lookup& wanted, const kvtip_resolution** resolution) {
    using names = ip::detail::entries_of<Char>;
    const auto hints = wanted.hints<typename names::address_info>();
    typename names::address_info* first = nullptr;
    const int code = (bound_winsock().*names::get_addresses)(host.empty() ? nullptr : host.c_str(),
                                                             service.c_str(), &hints, &first);
    if (code != 0) {
        return name_service_code(code);
    }
    *resolution = lay_out(ip::detail::address_info_list<Char>(first));
    return *resolution == nullptr ? std::uint32_t{WSANO_DATA} : 0;
}

/// Whether the service is a number that no port has. Some systems take its low 16 bits.
bool is_beyond_ports(const std::string& service) {
    std::uint16_t port = 0;
    const char* const end = service.data() + service.size();
    const auto [after, fault] = std::from_chars(service.data(), end, port);
    return after == end && fault == std::errc::result_out_of_range;
}

/// Replaces the interface's name after an IPv6 address by its number, which is all that the system reads.
std::uint32_t number_scope(std::string& host) {
    const std::size_t percent = host.find('%');
    kvtip_address address;
    if (percent == std::string::npos ||
        host.find_first_not_of("0123456789", percent + 1) == std::string::npos ||
        kvtip_parse_address(host.substr(0, percent).c_str(), &address) != 0 || address.family != 6) {
        return 0;
    }
    std::uint32_t scope = 0;
    const std::uint32_t code = kvtip_scope(host.c_str() + percent + 1, &scope);
    host.replace(percent + 1, std::string::npos, std::to_string(scope));
    return code;
}

std::uint32_t resolve(lookup& wanted, const kvtip_resolution** resolution) {
    std::wstring host;
    std::wstring service;
    if (is_beyond_ports(wanted.service)) {
        return WSATYPE_NOT_FOUND;
    }
    std::uint32_t code = number_scope(wanted.host);
    code = code != 0 ? code : to_wide(wanted.host.c_str(), host);
    code = code != 0 ? code : to_wide(wanted.service.c_str(), service);
    if (code != 0) {
        return code;
    }
    return bound_winsock().GetAddrInfoW != nullptr && bound_winsock().FreeAddrInfoW != nullptr
               ? resolve(host, service, wanted, resolution)
               : resolve(wanted.host, wanted.service, wanted, resolution);
}

bool is_empty(const char* text) {
    return text == nullptr || *text == 0;
}

bool are_valid(const kvtip_resolve_options& options, const char* host) {
    return is_family(options.family) && options.socket_type <= KVTIP_DATAGRAM &&
           has_only(options.flags, KVTIP_RESOLVE_PASSIVE | KVTIP_RESOLVE_CANONICAL_NAME |
                                       KVTIP_RESOLVE_NUMERIC_HOST | KVTIP_RESOLVE_CONFIGURED) &&
           (!is_empty(host) || (options.flags & KVTIP_RESOLVE_CANONICAL_NAME) == 0);
}

/// Asks for the name of an address. Returns the system's code.
template <class Char>
std::uint32_t find_name(const kvtip_address& address, const kvtip_name_list** names) {
    Char name[NI_MAXHOST] = {};
    const ip::saddr target = to_saddr(address);
    const int code = (bound_winsock().*ip::detail::entries_of<Char>::get_names)(
        ip::detail::as_sockaddr(target), ip::detail::length_of(target), name, NI_MAXHOST, nullptr, 0,
        NI_NAMEREQD);
    name[NI_MAXHOST - 1] = 0;
    if (code != 0) {
        return name_service_code(code);
    }
    const std::basic_string_view<Char> found(name);
    if (found.empty()) {
        return WSAHOST_NOT_FOUND;
    }
    *names = block::make<kvtip_name_list>([&](block& out, kvtip_name_list& list) {
        out.list(list, 1, [&](auto add) { add().name = out.text(found); });
    });
    return 0;
}

/// This host's name; in the system's code page where there is no wide call.
std::uint32_t find_host_name(std::wstring& name) {
    constexpr int size = 256; // no host name is longer
    if (const auto get_name = entries().GetHostNameW) {
        wchar_t wide[size] = {};
        if (get_name(wide, size) != 0) {
            return ip::detail::last_error();
        }
        wide[size - 1] = 0;
        name = wide;
        return 0;
    }
    char narrow[size] = {};
    if (bound_winsock().gethostname(narrow, size) != 0) {
        return ip::detail::last_error();
    }
    narrow[size - 1] = 0;
    name = ip::detail::to_wide(narrow, ip::detail::npos, ip::detail::code_page_ansi);
    return 0;
}

} // namespace

uint32_t kvtip_resolve(const char* host, const char* service, const kvtip_resolve_options* options,
                       const kvtip_resolution** resolution) noexcept {
    lookup wanted;
    if (!clear(resolution) || !read_options(options, wanted.options) || !are_valid(wanted.options, host)) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] {
        wanted.host = is_empty(host) ? "" : host;
        wanted.service = is_empty(service) ? "0" : service;
        return resolve(wanted, resolution);
    });
}

uint32_t kvtip_reverse(const kvtip_address* address, const kvtip_name_list** names) noexcept {
    if (!clear(names) || address == nullptr || !is_valid(*address) || address->family == 0) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] {
        return bound_winsock().GetNameInfoW != nullptr ? find_name<wchar_t>(*address, names)
                                                       : find_name<char>(*address, names);
    });
}

uint32_t kvtip_host_name(const char** name) noexcept {
    if (!clear(name)) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] {
        std::wstring wide;
        if (const std::uint32_t code = find_host_name(wide)) {
            return code;
        }
        *name = block::make_text(wide);
        return std::uint32_t{0};
    });
}
