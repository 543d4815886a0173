#include <utility>

#include "address/convert.h"
#include "address/encoding.h"
#include "binding/exhaustion.h"
#include "ip/membuffer.h"
#include "ip/winsock2.h"
#include "winsock/address_info.h"
#include "winsock/calls.h"
#include "winsock/entries.h"

namespace ip {

using namespace detail;

namespace {

unsigned long find_addresses(const char* node, std::vector<addr>& out, const char* service,
                             const ::addrinfo* hints) {
    out.clear();
    if (hints != nullptr) {
        return append_addresses(node, service, hints, out);
    }
    ::addrinfo family_only{};
    family_only.ai_family = AF_INET;
    const unsigned long code = append_addresses(node, service, &family_only, out);
    if (code != WSANO_DATA && code != WSAEAFNOSUPPORT && code != WSAHOST_NOT_FOUND) {
        return code;
    }
    family_only.ai_family = AF_INET6;
    return append_addresses(node, service, &family_only, out);
}

unsigned long find_addresses(const wchar_t* node, std::vector<addr>& out, const wchar_t* service,
                             const ::addrinfoW* hints) {
    out.clear();
    if (bound_winsock().GetAddrInfoW != nullptr && bound_winsock().FreeAddrInfoW != nullptr) {
        return append_addresses(node, service, hints, out);
    }
    ::addrinfo narrow_hints{};
    if (hints != nullptr) {
        narrow_hints.ai_flags = hints->ai_flags;
        narrow_hints.ai_family = hints->ai_family;
        narrow_hints.ai_socktype = hints->ai_socktype;
        narrow_hints.ai_protocol = hints->ai_protocol;
    }
    // Null text becomes empty text, which stands for this host and for port 0.
    return find_addresses(to_narrow(node).c_str(), out, to_narrow(service).c_str(),
                          hints == nullptr ? nullptr : &narrow_hints);
}

/// Moves the names out, each where it is wanted. Both exist by then, so that memory cannot run out between
/// the first and the second.
template <class Char>
void hand_over(std::basic_string<Char> host_name, std::basic_string<Char> service_name,
               std::basic_string<Char>* host, std::basic_string<Char>* service) {
    if (host != nullptr) {
        *host = std::move(host_name);
    }
    if (service != nullptr) {
        *service = std::move(service_name);
    }
}

/// The names from the system call of that width.
template <class Char>
unsigned long find_names(const saddr& address, std::basic_string<Char>* host,
                         std::basic_string<Char>* service, int flags) {
    Char host_buffer[NI_MAXHOST];
    Char service_buffer[NI_MAXSERV];
    host_buffer[0] = service_buffer[0] = 0;
    if ((bound_winsock().*entries_of<Char>::get_names)(
            as_sockaddr(address), length_of(address), host == nullptr ? nullptr : host_buffer, NI_MAXHOST,
            service == nullptr ? nullptr : service_buffer, NI_MAXSERV, flags) != 0) {
        return last_error();
    }
    host_buffer[NI_MAXHOST - 1] = service_buffer[NI_MAXSERV - 1] = 0; // whatever the system has written
    hand_over<Char>(host_buffer, service_buffer, host, service);
    return 0;
}

/// Wide names where the system has the narrow call only.
unsigned long convert_narrow_names(const saddr& address, std::wstring* host, std::wstring* service,
                                   int flags) {
    std::string narrow_host;
    std::string narrow_service;
    if (const unsigned long code = find_names(address, host == nullptr ? nullptr : &narrow_host,
                                              service == nullptr ? nullptr : &narrow_service, flags)) {
        return code;
    }
    std::wstring host_name = to_wide(narrow_host.data(), narrow_host.size(), code_page_ansi);
    std::wstring service_name = to_wide(narrow_service.data(), narrow_service.size(), code_page_ansi);
    hand_over(std::move(host_name), std::move(service_name), host, service);
    return 0;
}

} // namespace

unsigned long winsock2::getaddrinfo(const char* node, std::vector<addr>& out, const char* service,
                                    ::addrinfo* hints) noexcept {
    return report_exhaustion([&] { return find_addresses(node, out, service, hints); });
}

unsigned long winsock2::getaddrinfo(const wchar_t* node, std::vector<addr>& out, const wchar_t* service,
                                    ::addrinfoW* hints) {
    return report_exhaustion([&] { return find_addresses(node, out, service, hints); });
}

unsigned long winsock2::getnameinfo(const saddr& address, std::string* host, std::string* service,
                                    int flags) noexcept {
    return report_exhaustion([&] { return find_names(address, host, service, flags); });
}

unsigned long winsock2::getnameinfo(const saddr& address, std::wstring* host, std::wstring* service,
                                    int flags) {
    return report_exhaustion([&] {
        return bound_winsock().GetNameInfoW == nullptr ? convert_narrow_names(address, host, service, flags)
                                                       : find_names(address, host, service, flags);
    });
}

unsigned long winsock2::gethostname(char* name, int length) noexcept {
    name[0] = 0;
    return code_of(bound_winsock().gethostname(name, length));
}

unsigned long winsock2::gethostname(wchar_t* name, int length) noexcept {
    membuffer buffer;
    auto* narrow = static_cast<char*>(buffer.get(static_cast<std::size_t>(length)));
    if (narrow == nullptr) {
        return ERROR_NOT_ENOUGH_MEMORY; // also for a negative length, which becomes a huge size
    }
    if (const unsigned long code = gethostname(narrow, length)) {
        return code;
    }
    // No code page is converted, so that the text has as many characters as the system's has bytes.
    for (int i = 0; i < length; ++i) {
        name[i] = static_cast<wchar_t>(static_cast<signed char>(narrow[i]));
        if (name[i] == 0) {
            break;
        }
    }
    return 0;
}

} // namespace ip
