#pragma once

// What the narrow and the wide name services share: the same calls, but for the width of their text.

#include <cstring>
#include <vector>

#include "address/convert.h"
#include "winsock/calls.h"

namespace ip::detail {

template <class Char>
struct entries_of;

template <>
struct entries_of<char> {
    using address_info = addrinfo;
    static constexpr auto look_up = &winsock_impl::getaddrinfo;
    static constexpr auto free = &winsock_impl::freeaddrinfo;
    static constexpr auto names = &winsock_impl::getnameinfo;
    static constexpr auto connect = &winsock_impl::WSAConnectByNameA;
};

template <>
struct entries_of<wchar_t> {
    using address_info = addrinfoW;
    static constexpr auto look_up = &winsock_impl::GetAddrInfoW;
    static constexpr auto free = &winsock_impl::FreeAddrInfoW;
    static constexpr auto names = &winsock_impl::GetNameInfoW;
    static constexpr auto connect = &winsock_impl::WSAConnectByNameW;
};

/// The answer to a look-up.
template <class Char>
class address_info_list {
public:
    using node = typename entries_of<Char>::address_info;

    explicit address_info_list(node* first) : first_(first) {}
    ~address_info_list() { (bound().*entries_of<Char>::free)(first_); }
    address_info_list(const address_info_list&) = delete;
    address_info_list& operator=(const address_info_list&) = delete;

    void append_to(std::vector<addr>& out) const {
        std::size_t count = 0;
        for_each([&](const node&) { ++count; });
        out.reserve(out.size() + count);
        for_each([&](const node& each) {
            if (each.ai_addr != nullptr && each.ai_addrlen >= sizeof(SOCKADDR_IN)) {
                to_addr(image_of(each.ai_addr, each.ai_addrlen), out.emplace_back());
            }
        });
    }

private:
    /// Shows each node as a copy, since not every system aligns them.
    template <class Use>
    void for_each(Use use) const {
        node each;
        for (const void* next = first_; next != nullptr; next = each.ai_next) {
            std::memcpy(&each, next, sizeof each);
            use(each);
        }
    }

    node* first_;
};

/// Asks the system for a host's addresses and appends them to `out`. Returns 0 or the socket library's code;
/// throws `std::bad_alloc`.
template <class Char>
unsigned long look_up(const Char* node, const Char* service,
                      const typename entries_of<Char>::address_info* hints, std::vector<addr>& out) {
    typename entries_of<Char>::address_info* first = nullptr;
    if ((bound().*entries_of<Char>::look_up)(node, service, hints, &first) != 0) {
        return last_error();
    }
    address_info_list<Char>(first).append_to(out);
    return 0;
}

} // namespace ip::detail
