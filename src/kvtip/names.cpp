// The names of addresses by the system's name services, and this host's name.

#include <string>
#include <string_view>

#include "address/encoding.h"
#include "kvtip/block.h"
#include "kvtip/boundary.h"
#include "kvtip/kvtip.h"
#include "kvtip/lookup.h"
#include "kvtip/system_entries.h"
#include "kvtip/values.h"
#include "winsock/calls.h"
#include "winsock/entries.h"

using namespace kvtip::library;
using ip::detail::bound_winsock;

namespace {

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
