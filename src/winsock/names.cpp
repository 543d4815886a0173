#include <new>
#include <utility>

#include "address/convert.h"
#include "address/encoding.h"
#include "ip/membuffer.h"
#include "ip/winsock2.h"
#include "winsock/address_info.h"
#include "winsock/calls.h"

namespace ip {

using namespace detail;

unsigned long winsock2::getaddrinfo(const char* node, std::vector<addr>& out, const char* service,
                                    ::addrinfo* hints) try {
    out.clear();
    if (hints != nullptr) {
        return look_up(node, service, hints, out);
    }
    ::addrinfo family_only{};
    family_only.ai_family = AF_INET;
    const unsigned long code = look_up(node, service, &family_only, out);
    if (code != WSANO_DATA && code != WSAEAFNOSUPPORT && code != WSAHOST_NOT_FOUND) {
        return code;
    }
    family_only.ai_family = AF_INET6;
    return look_up(node, service, &family_only, out);
} catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
}

unsigned long winsock2::getaddrinfo(const wchar_t* node, std::vector<addr>& out, const wchar_t* service,
                                    ::addrinfoW* hints) try {
    out.clear();
    if (bound().GetAddrInfoW != nullptr && bound().FreeAddrInfoW != nullptr) {
        return look_up(node, service, hints, out);
    }
    ::addrinfo narrow_hints{};
    if (hints != nullptr) {
        narrow_hints.ai_flags = hints->ai_flags;
        narrow_hints.ai_family = hints->ai_family;
        narrow_hints.ai_socktype = hints->ai_socktype;
        narrow_hints.ai_protocol = hints->ai_protocol;
    }
    // Null text becomes empty text, which means the own host and port 0.
    return getaddrinfo(to_narrow(node).c_str(), out, to_narrow(service).c_str(),
                       hints == nullptr ? nullptr : &narrow_hints);
} catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
}

namespace {

/// The names by the entry of that width.
template <class Char>
unsigned long ask_names(const saddr& address, std::basic_string<Char>* host, std::basic_string<Char>* service,
                        int flags) {
    Char host_buffer[NI_MAXHOST];
    Char service_buffer[NI_MAXSERV];
    host_buffer[0] = service_buffer[0] = 0;
    if ((bound().*entries_of<Char>::names)(
            image(address), length_of(address), host == nullptr ? nullptr : host_buffer, NI_MAXHOST,
            service == nullptr ? nullptr : service_buffer, NI_MAXSERV, flags) != 0) {
        return last_error();
    }
    // Both copies are made before the first is handed out: memory may run short.
    std::basic_string<Char> host_name = host_buffer;
    std::basic_string<Char> service_name = service_buffer;
    if (host != nullptr) {
        *host = std::move(host_name);
    }
    if (service != nullptr) {
        *service = std::move(service_name);
    }
    return 0;
}

/// Wide names where the system gives narrow ones only.
unsigned long convert_names(const saddr& address, std::wstring* host, std::wstring* service, int flags) {
    std::string narrow_host;
    std::string narrow_service;
    if (const unsigned long code = ask_names(address, host == nullptr ? nullptr : &narrow_host,
                                             service == nullptr ? nullptr : &narrow_service, flags)) {
        return code;
    }
    std::wstring host_name = to_wide(narrow_host.data(), narrow_host.size(), code_page_ansi);
    std::wstring service_name = to_wide(narrow_service.data(), narrow_service.size(), code_page_ansi);
    if (host != nullptr) {
        *host = std::move(host_name);
    }
    if (service != nullptr) {
        *service = std::move(service_name);
    }
    return 0;
}

} // namespace

unsigned long winsock2::getnameinfo(const saddr& address, std::string* host, std::string* service,
                                    int flags) try {
    return ask_names(address, host, service, flags);
} catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
}

unsigned long winsock2::getnameinfo(const saddr& address, std::wstring* host, std::wstring* service,
                                    int flags) try {
    return bound().GetNameInfoW == nullptr ? convert_names(address, host, service, flags)
                                           : ask_names(address, host, service, flags);
} catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
}

unsigned long winsock2::gethostname(char* name, int length) {
    name[0] = 0;
    return code_of(bound().gethostname(name, length));
}

unsigned long winsock2::gethostname(wchar_t* name, int length) {
    membuffer buffer;
    auto* narrow = static_cast<char*>(buffer.get(static_cast<std::size_t>(length)));
    if (narrow == nullptr) {
        return ERROR_NOT_ENOUGH_MEMORY; // a negative length is a size that no heap has
    }
    if (const unsigned long code = gethostname(narrow, length)) {
        return code;
    }
    // Without a code page, so that the text has as many units as the system's has bytes.
    for (int i = 0; i < length; ++i) {
        name[i] = static_cast<wchar_t>(static_cast<signed char>(narrow[i]));
        if (name[i] == 0) {
            break;
        }
    }
    return 0;
}

} // namespace ip
