#pragma once

#include "ip/detail/winsock_impl.h"

namespace ip::detail {

/// The system calls that have a narrow and a wide form.
template <class Char>
struct entries_of;

template <>
struct entries_of<char> {
    using address_info = addrinfo;
    static constexpr auto get_addresses = &winsock_impl::getaddrinfo;
    static constexpr auto free_addresses = &winsock_impl::freeaddrinfo;
    static constexpr auto get_names = &winsock_impl::getnameinfo;
    static constexpr auto connect_by_name = &winsock_impl::WSAConnectByNameA;
    static constexpr auto text_to_address = &winsock_impl::WSAStringToAddressA;
    static constexpr auto address_to_text = &winsock_impl::WSAAddressToStringA;
};

template <>
struct entries_of<wchar_t> {
    using address_info = addrinfoW;
    static constexpr auto get_addresses = &winsock_impl::GetAddrInfoW;
    static constexpr auto free_addresses = &winsock_impl::FreeAddrInfoW;
    static constexpr auto get_names = &winsock_impl::GetNameInfoW;
    static constexpr auto connect_by_name = &winsock_impl::WSAConnectByNameW;
    static constexpr auto text_to_address = &winsock_impl::WSAStringToAddressW;
    static constexpr auto address_to_text = &winsock_impl::WSAAddressToStringW;
};

} // namespace ip::detail
