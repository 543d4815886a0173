// The name of an address and the address of a name. Numbers are converted without a lookup.

#include "address/convert.h"
#include "address/format.h"
#include "address/parse.h"
#include "ip/winsock2.h"
#include "winsock/calls.h"

namespace ip {

using namespace detail;

namespace {

template <class Char>
void assign_name_or_numbers(const addr& address, std::basic_string<Char>& out) {
    out.clear();
    // A failure without a reason leaves the name empty.
    if (winsock2::getnameinfo(to_saddr(address), &out, nullptr, 0) == 0 && !out.empty()) {
        return;
    }
    char buffer[50];
    const std::string_view text = format_address(address, buffer);
    out.assign(text.begin(), text.end());
}

/// Takes the address that `text` denotes, or the first one that the system finds for it as a name.
template <class Char, class Hints>
unsigned long parse_or_look_up(const Char* text, addr& out, Hints* hints) {
    if (parse_address(text, out)) {
        return 0;
    }
    out.family = family_none;
    std::vector<addr> found;
    if (const unsigned long code = winsock2::getaddrinfo(text, found, nullptr, hints)) {
        return code;
    }
    if (found.empty()) {
        return DNS_INFO_NO_RECORDS;
    }
    out = found.front();
    return 0;
}

} // namespace

void winsock2::address_to_string(std::string& out, const addr& address) {
    assign_name_or_numbers(address, out);
}

void winsock2::address_to_string(std::wstring& out, const addr& address) {
    assign_name_or_numbers(address, out);
}

unsigned long winsock2::address_from_string(addr& out, const char* text, unsigned short family) noexcept {
    // Without hints the lookup prefers IPv4. A caller who names a family gets the system's first address, of
    // whatever family.
    ::addrinfo any_family{};
    return parse_or_look_up(text, out, family == family_none ? nullptr : &any_family);
}

unsigned long winsock2::address_from_string(addr& out, const wchar_t* text) {
    return parse_or_look_up(text, out, static_cast<::addrinfoW*>(nullptr));
}

} // namespace ip
