// Conversions between addresses and text by the system, whose text has other forms than the library's.

#include "ip/address_text.h"

#include <cstring>

#include "address/convert.h"
#include "winsock/calls.h"
#include "winsock/entries.h"

namespace ip::detail {

namespace {

template <class Raw>
saddr empty_record() {
    saddr record;
    record.family = sizeof(Raw) == ipv4_size ? family_ipv4 : family_ipv6;
    return record;
}

template <class Char, class Raw>
bool parse_by_system(const Char* text, Raw& address) {
    const winsock_impl& winsock = bound_winsock();
    if (winsock.start_count == 0) {
        return false;
    }
    saddr record = empty_record<Raw>();
    const std::uint16_t family = record.family;
    INT length = length_of(record);
    // The system's declaration lacks the const that it honours.
    if ((winsock.*entries_of<Char>::text_to_address)(const_cast<Char*>(text), family, nullptr,
                                                     as_sockaddr(record), &length) != 0) {
        return false;
    }
    std::memcpy(address.bytes, sizeof address == ipv4_size ? record.address4 : record.address6,
                sizeof address.bytes);
    return true;
}

template <class Char, class Raw>
bool format_by_system(const Raw& address, Char* buffer, std::size_t size) {
    const winsock_impl& winsock = bound_winsock();
    if (winsock.start_count == 0) {
        return false;
    }
    saddr record = empty_record<Raw>();
    std::memcpy(address_of(record), address.bytes, sizeof address.bytes);
    auto room = static_cast<DWORD>(size);
    return (winsock.*entries_of<Char>::address_to_text)(
               as_sockaddr(record), static_cast<DWORD>(length_of(record)), nullptr, buffer, &room) == 0;
}

} // namespace

bool from_string(const char* text, _raw_addr4_no& address) noexcept {
    return parse_by_system(text, address);
}

bool from_string(const wchar_t* text, _raw_addr4_no& address) noexcept {
    return parse_by_system(text, address);
}

bool from_string(const char* text, _raw_addr6_no& address) noexcept {
    return parse_by_system(text, address);
}

bool from_string(const wchar_t* text, _raw_addr6_no& address) noexcept {
    return parse_by_system(text, address);
}

bool to_string(const _raw_addr4_no& address, char* buffer, std::size_t size) noexcept {
    return format_by_system(address, buffer, size);
}

bool to_string(const _raw_addr4_no& address, wchar_t* buffer, std::size_t size) noexcept {
    return format_by_system(address, buffer, size);
}

bool to_string(const _raw_addr6_no& address, char* buffer, std::size_t size) noexcept {
    return format_by_system(address, buffer, size);
}

bool to_string(const _raw_addr6_no& address, wchar_t* buffer, std::size_t size) noexcept {
    return format_by_system(address, buffer, size);
}

} // namespace ip::detail
