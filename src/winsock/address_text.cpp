#include "ip/address_text.h"

#include <cstring>

#include "address/convert.h"
#include "ip/detail/helper.h"

namespace ip::detail {

namespace {

/// The two entries that differ between narrow and wide text.
template <class Char>
struct entries;

template <>
struct entries<char> {
    static constexpr auto to_address = &winsock_impl::WSAStringToAddressA;
    static constexpr auto to_text = &winsock_impl::WSAAddressToStringA;
};

template <>
struct entries<wchar_t> {
    static constexpr auto to_address = &winsock_impl::WSAStringToAddressW;
    static constexpr auto to_text = &winsock_impl::WSAAddressToStringW;
};

template <class Raw>
saddr empty_record() {
    saddr record;
    record.family = sizeof(Raw) == ipv4_size ? family_ipv4 : family_ipv6;
    return record;
}

template <class Char, class Raw>
bool read(const Char* text, Raw& address) {
    const winsock_impl& winsock = the_helper().winsock;
    if (winsock.start_count == 0) {
        return false;
    }
    saddr record = empty_record<Raw>();
    const std::uint16_t family = record.family;
    INT length = length_of(record);
    // The system's declaration lacks the const that it honours.
    if ((winsock.*entries<Char>::to_address)(const_cast<Char*>(text), family, nullptr,
                                             reinterpret_cast<SOCKADDR*>(&record), &length) != 0) {
        return false;
    }
    std::memcpy(address.bytes, sizeof address == ipv4_size ? record.address4 : record.address6,
                sizeof address.bytes);
    return true;
}

template <class Char, class Raw>
bool write(const Raw& address, Char* buffer, std::size_t size) {
    const winsock_impl& winsock = the_helper().winsock;
    if (winsock.start_count == 0) {
        return false;
    }
    saddr record = empty_record<Raw>();
    std::memcpy(address_of(record), address.bytes, sizeof address.bytes);
    auto room = static_cast<DWORD>(size);
    return (winsock.*entries<Char>::to_text)(reinterpret_cast<SOCKADDR*>(&record),
                                             static_cast<DWORD>(length_of(record)), nullptr, buffer,
                                             &room) == 0;
}

} // namespace

bool from_string(const char* text, _raw_addr4_no& address) {
    return read(text, address);
}

bool from_string(const wchar_t* text, _raw_addr4_no& address) {
    return read(text, address);
}

bool from_string(const char* text, _raw_addr6_no& address) {
    return read(text, address);
}

bool from_string(const wchar_t* text, _raw_addr6_no& address) {
    return read(text, address);
}

bool to_string(const _raw_addr4_no& address, char* buffer, std::size_t size) {
    return write(address, buffer, size);
}

bool to_string(const _raw_addr4_no& address, wchar_t* buffer, std::size_t size) {
    return write(address, buffer, size);
}

bool to_string(const _raw_addr6_no& address, char* buffer, std::size_t size) {
    return write(address, buffer, size);
}

bool to_string(const _raw_addr6_no& address, wchar_t* buffer, std::size_t size) {
    return write(address, buffer, size);
}

} // namespace ip::detail
