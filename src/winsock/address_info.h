#pragma once

// The addresses of a name, for the narrow and the wide name services.

#include <cstring>
#include <vector>

#include "address/convert.h"
#include "winsock/calls.h"
#include "winsock/entries.h"

namespace ip::detail {

/// Passes each node of a list as a copy, since not every system aligns them.
template <class Node, class Visitor>
void for_each_node(const Node* first, Visitor visit) {
    Node each;
    for (const void* next = first; next != nullptr; next = each.ai_next) {
        std::memcpy(&each, next, sizeof each);
        visit(each);
    }
}

/// The list that the system returns for a name.
template <class Char>
class address_info_list {
public:
    using node = typename entries_of<Char>::address_info;

    explicit address_info_list(node* first) : first_(first) {}
    ~address_info_list() { (bound_winsock().*entries_of<Char>::free_addresses)(first_); }
    address_info_list(const address_info_list&) = delete;
    address_info_list& operator=(const address_info_list&) = delete;

    /// Entries without an address are skipped.
    void append_to(std::vector<addr>& out) const {
        std::size_t count = 0;
        for_each_node(first_, [&](const node&) { ++count; });
        out.reserve(out.size() + count);
        for_each_node(first_, [&](const node& each) {
            if (each.ai_addr != nullptr && each.ai_addrlen >= sizeof(SOCKADDR_IN)) {
                to_addr(from_sockaddr(each.ai_addr, each.ai_addrlen), out.emplace_back());
            }
        });
    }

private:
    node* first_;
};

/// Appends the addresses of a host to `out`. Returns 0 or the socket library's code. Throws `std::bad_alloc`.
template <class Char>
unsigned long append_addresses(const Char* node, const Char* service,
                               const typename entries_of<Char>::address_info* hints, std::vector<addr>& out) {
    typename entries_of<Char>::address_info* first = nullptr;
    if ((bound_winsock().*entries_of<Char>::get_addresses)(node, service, hints, &first) != 0) {
        return last_error();
    }
    address_info_list<Char>(first).append_to(out);
    return 0;
}

} // namespace ip::detail
