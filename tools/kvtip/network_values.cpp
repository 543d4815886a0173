#include "network_values.h"

#include <algorithm>
#include <cstring>

#include <windows.h>

#include "encoding.h"
#include "errors.h"
#include "ip/address_text.h"

namespace {

template <class Raw>
std::string address_text(const std::uint8_t* bytes) {
    Raw raw;
    std::memcpy(raw.bytes, bytes, sizeof raw.bytes);
    char text[46];
    if (!ip::detail::to_string(raw, text, sizeof text)) {
        check(GetLastError(), "address text");
    }
    return text;
}

bool is_link_local(const std::uint8_t* address6) {
    return address6[0] == 0xFE && (address6[1] & 0xC0) == 0x80;
}

} // namespace

value address_value(const ip::addr& address) {
    switch (address.family) {
    case ip::family_ipv4:
        return address_text<ip::_raw_addr4_no>(address.address);
    case ip::family_ipv6:
        return address_text<ip::_raw_addr6_no>(address.address);
    default:
        return nullptr;
    }
}

value address_value(const ip::saddr& address) {
    if (address.family == ip::family_ipv4) {
        return address_text<ip::_raw_addr4_no>(address.address4);
    }
    if (address.family != ip::family_ipv6) {
        return nullptr;
    }
    std::string text = address_text<ip::_raw_addr6_no>(address.address6);
    if (is_link_local(address.address6) && address.scope_id != 0) {
        text += "%" + std::to_string(address.scope_id);
    }
    return text;
}

value address_value(const ip::saddr4& address) {
    return address.family == ip::family_ipv4 ? value(address_text<ip::_raw_addr4_no>(address.address))
                                             : value();
}

std::uint16_t swap_bytes(std::uint16_t port) {
    return static_cast<std::uint16_t>(port << 8 | port >> 8);
}

value endpoint_value(const ip::saddr& endpoint) {
    return {{"address", address_value(endpoint)}, {"port", swap_bytes(endpoint.port)}};
}

std::string display_name(const ip::_SFindAdapter& adapter) {
    return adapter.friendly_name.empty() ? adapter.name : to_utf8(adapter.friendly_name);
}

value text_or_null(std::wstring_view text) {
    return text.empty() ? value() : value(to_utf8(text));
}

value number_or_null(std::int64_t number) {
    return number == 0 ? value() : value(number);
}

value bytes_value(std::span<const std::uint8_t> bytes) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) {
            text += '-';
        }
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text.empty() ? value() : value(text);
}

value name_value(std::span<const number_name> names, std::uint32_t number) {
    const auto found = std::find_if(names.begin(), names.end(),
                                    [=](const number_name& each) { return each.number == number; });
    return found == names.end() ? value() : value(found->name);
}
