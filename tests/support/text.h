#pragma once

// Values as text, to be compared and logged.

#include "address/convert.h"
#include "address/format.h"
#include "kvtip/values.h"

#include <algorithm>
#include <concepts>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

namespace scripted {

/// The socket address that begins there, of which there are `size` bytes.
inline ip::saddr record_at(const void* record, std::size_t size) {
    ip::saddr result;
    std::memcpy(&result, record, std::min(size, sizeof result));
    return result;
}

/// A value as text: an address as "address@port/flow%scope" without what is 0, or "-" for none.
struct text : std::string {
    text(const std::string& from) : std::string(from) {}
    text(const std::wstring& from) : std::string(from.begin(), from.end()) {} // of plain letters
    template <class Char>
    text(const Char* from) : text(from == nullptr ? std::basic_string<Char>{'-'} : from) {}
    text(std::integral auto from) : std::string(std::to_string(from)) {}
    text(const ip::saddr& from) : std::string("-") {
        ip::addr address;
        char buffer[50];
        ip::detail::to_addr(from, address);
        const std::string host(ip::detail::format_address(address, buffer));
        const auto part = [](char mark, auto value) { return value == 0 ? "" : mark + text(value); };
        if (from.family == ip::family_ipv4) {
            assign(host + part('@', __builtin_bswap16(from.port)));
        } else if (from.family == ip::family_ipv6) {
            assign(host + part('@', __builtin_bswap16(from.port)) + part('/', from.flow_info) +
                   part('%', from.scope_id));
        }
    }
    text(const ip::saddr4& from) : text(record_at(&from, sizeof from)) {}
    text(const ip::addr& from) : text(ip::detail::to_saddr(from)) {}
    text(const kvtip_address& from) : text(kvtip::library::to_saddr(from)) {}
    text(const kvtip_endpoint& from) : text(kvtip::library::to_saddr(from)) {}
    text(const kvtip_mac& from) : text(std::vector(from.bytes, from.bytes + from.length)) {}
    template <class Element>
    text(const std::vector<Element>& from) {
        for (const Element& element : from) {
            append((empty() ? "" : ",") + text(element));
        }
    }
};

inline std::string texts(std::initializer_list<text> fields) {
    std::string result;
    for (const text& field : fields) {
        result += field + "|";
    }
    return result;
}

} // namespace scripted
