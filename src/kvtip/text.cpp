// Address text for the C interface, by the readers and writers of the C++ headers.

#include <string_view>
#include <winsock2.h>

#include "kvtip/address.hpp"
#include "kvtip/boundary.h"
#include "kvtip/kvtip.h"
#include "kvtip/values.h"

using namespace kvtip::library;

namespace {

template <class Value, class Native>
uint32_t parse(const char* text, Native* out) {
    if (!clear(out) || text == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const auto value = Value::parse(std::string_view(text));
    if (!value) {
        return WSAEINVAL;
    }
    *out = value->native();
    return 0;
}

template <class Value, class Native>
uint32_t format(const Native* value, char* text, size_t capacity) {
    if (text == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    if (capacity != 0) {
        *text = 0;
    }
    if (value == nullptr || !is_valid(*value)) {
        return ERROR_INVALID_PARAMETER;
    }
    const auto written = Value(*value).text();
    if (written.size() >= capacity) {
        return ERROR_INSUFFICIENT_BUFFER;
    }
    text[written.view().copy(text, written.size())] = 0;
    return 0;
}

} // namespace

uint32_t kvtip_parse_address(const char* text, kvtip_address* address) noexcept {
    return parse<kvtip::address>(text, address);
}

uint32_t kvtip_parse_endpoint(const char* text, kvtip_endpoint* endpoint) noexcept {
    return parse<kvtip::endpoint>(text, endpoint);
}

uint32_t kvtip_parse_network(const char* text, kvtip_network* network) noexcept {
    return parse<kvtip::network>(text, network);
}

uint32_t kvtip_parse_mac(const char* text, kvtip_mac* mac) noexcept {
    return parse<kvtip::mac>(text, mac);
}

uint32_t kvtip_format_address(const kvtip_address* address, char* text, size_t capacity) noexcept {
    return format<kvtip::address>(address, text, capacity);
}

uint32_t kvtip_format_endpoint(const kvtip_endpoint* endpoint, char* text, size_t capacity) noexcept {
    return format<kvtip::endpoint>(endpoint, text, capacity);
}

uint32_t kvtip_format_network(const kvtip_network* network, char* text, size_t capacity) noexcept {
    return format<kvtip::network>(network, text, capacity);
}

uint32_t kvtip_format_mac(const kvtip_mac* mac, char* text, size_t capacity) noexcept {
    return format<kvtip::mac>(mac, text, capacity);
}
