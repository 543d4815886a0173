#include "kvtip/lookup.h"

#include <algorithm>
#include <memory>
#include <string_view>

#include "kvtip/abandoned.h"
#include "kvtip/boundary.h"
#include "kvtip/deadline.h"
#include "kvtip/encoding.h"
#include "kvtip/event.h"
#include "kvtip/system_entries.h"
#include "kvtip/values.h"
#include "winsock/address_info.h"

namespace kvtip::library {

using ip::detail::bound_winsock;

constinit std::atomic<bool> sockets_are_kept{false};

namespace {

template <class Info>
Info hints_of(const kvtip_resolve_options& options) {
    static_assert(KVTIP_RESOLVE_PASSIVE == AI_PASSIVE && KVTIP_RESOLVE_CANONICAL_NAME == AI_CANONNAME &&
                  KVTIP_RESOLVE_NUMERIC_HOST == AI_NUMERICHOST);
    Info result{};
    result.ai_family = to_system_family(options.family);
    result.ai_socktype = options.socket_type == KVTIP_DATAGRAM ? SOCK_DGRAM : SOCK_STREAM;
    result.ai_flags = static_cast<int>(options.flags & (AI_PASSIVE | AI_CANONNAME | AI_NUMERICHOST)) |
                      ((options.flags & KVTIP_RESOLVE_CONFIGURED) != 0 ? AI_ADDRCONFIG : 0);
    return result;
}

std::string to_utf8(std::wstring_view wide) {
    std::string result(utf8_size(wide), '\0');
    write_utf8(wide, result.data());
    return result;
}
std::string to_utf8(std::string_view text) {
    return std::string(text);
}

/// Reads the system's list. Returns the code: a list without addresses is no answer.
template <class Node>
std::uint32_t read(const Node* first, host_lookup& found) {
    ip::detail::for_each_node(first, [&](const Node& each) {
        if (each.ai_canonname != nullptr && found.canonical_name.empty()) {
            found.canonical_name = to_utf8(each.ai_canonname);
        }
        if (each.ai_addr == nullptr || each.ai_addrlen < sizeof(SOCKADDR_IN)) {
            return;
        }
        const auto endpoint = to_endpoint(ip::detail::from_sockaddr(each.ai_addr, each.ai_addrlen));
        if (endpoint.address.family != 0) {
            found.endpoints.push_back(endpoint);
        }
    });
    return found.endpoints.empty() ? std::uint32_t{WSANO_DATA} : 0;
}

template <class Char>
std::uint32_t look_up(const std::basic_string<Char>& host, const std::basic_string<Char>& service,
                      const kvtip_resolve_options& options, host_lookup& found) {
    using names = ip::detail::entries_of<Char>;
    const auto hints = hints_of<typename names::address_info>(options);
    typename names::address_info* first = nullptr;
    const int code = (bound_winsock().*names::get_addresses)(host.empty() ? nullptr : host.c_str(),
                                                             service.c_str(), &hints, &first);
    if (code != 0) {
        return name_service_code(code);
    }
    const ip::detail::address_info_list<Char> owner(first);
    return read(first, found);
}

/// A lookup that the system works on while other things go on. It keeps all that the system reads and writes.
class pending_lookup : public pending_operation {
public:
    ~pending_lookup() override {
        if (first_ != nullptr) {
            entries().FreeAddrInfoExW(first_);
        }
    }

    /// Returns `ERROR_IO_PENDING (997)` if it goes on, otherwise the code with which it has ended: 120 where
    /// the system lacks a call.
    std::uint32_t start(const std::wstring& host, const lookup_terms& terms) {
        const system_entries& bound = entries();
        if (bound.GetAddrInfoExW == nullptr || bound.FreeAddrInfoExW == nullptr ||
            bound.GetAddrInfoExCancel == nullptr || bound.GetAddrInfoExOverlappedResult == nullptr ||
            bound.GetModuleHandleExW == nullptr) {
            return ERROR_CALL_NOT_IMPLEMENTED;
        }
        if (const std::uint32_t code = libraries_.take()) {
            return code;
        }
        if (const std::uint32_t code = ended_.open(reset::manual)) {
            return code;
        }
        if (const std::uint32_t code = keep_sockets()) {
            return code;
        }
        record_.hEvent = ended_.handle();
        host_ = host;
        service_ = terms.service;
        hints_ = hints_of<ADDRINFOEXW>(terms.options);
        return name_service_code(bound.GetAddrInfoExW(host_.c_str(), service_.c_str(), NS_ALL, nullptr,
                                                      &hints_, &first_, nullptr, &record_, nullptr,
                                                      &handle_));
    }

    const event& ended() const { return ended_; }
    bool is_over() const noexcept override { return ends_within(0); }
    bool ends_within(std::uint32_t milliseconds) const noexcept {
        return wait_for(ended_, nullptr, milliseconds) == 0;
    }

    /// The code of a lookup that went on and is over.
    std::uint32_t code() noexcept {
        return name_service_code(entries().GetAddrInfoExOverlappedResult(&record_));
    }

    /// Reads what was found. Returns the code.
    std::uint32_t read_into(host_lookup& found) const { return read(first_, found); }

    /// Whether the system ends the lookup at once. Under Wine it never does.
    bool cancel() noexcept { return entries().GetAddrInfoExCancel(&handle_) == 0; }

private:
    /// Keeps the socket library loaded and started until the process ends: when the system sets the event, a
    /// thread of the system is still at work in there.
    static std::uint32_t keep_sockets() noexcept {
        if (sockets_are_kept) {
            return 0;
        }
        HMODULE unused = nullptr;
        if (!entries().GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN, L"Ws2_32.dll", &unused)) {
            return GetLastError();
        }
        constexpr WORD version_2_2 = 0x0202;
        WSADATA data;
        const auto code = static_cast<std::uint32_t>(bound_winsock().WSAStartup(version_2_2, &data));
        sockets_are_kept = code == 0;
        return code;
    }

    hold libraries_;
    event ended_;
    OVERLAPPED record_{};
    HANDLE handle_ = nullptr;
    ADDRINFOEXW hints_{};
    ADDRINFOEXW* first_ = nullptr;
    std::wstring host_;
    std::wstring service_;
};

/// The lookups that go on, the oldest first. Those that are left at its end are given up.
class lookups_under_way {
public:
    explicit lookups_under_way(std::size_t most) : most_(most) { all_.reserve(most); }
    ~lookups_under_way();
    lookups_under_way(const lookups_under_way&) = delete;
    lookups_under_way& operator=(const lookups_under_way&) = delete;

    bool is_full() const { return all_.size() == most_; }
    bool is_empty() const { return all_.empty(); }

    /// Begins a lookup, which may end at once.
    void begin(host_lookup& of, const lookup_terms& terms);

    /// Waits until one of them ends, or for a moment if they are more than one wait sees. Returns 0 or the code
    /// of `wait_for_any`.
    std::uint32_t end_some(const kvtip_canceller* cancel, std::uint32_t milliseconds);

    /// Ends all those that are over.
    void end_those_over();

private:
    struct running {
        host_lookup* of;
        std::unique_ptr<pending_lookup> lookup;
        bool is_cancelled = false;
    };

    void end(std::size_t number);

    const std::size_t most_;
    std::vector<running> all_;
};

void finish(host_lookup& of, std::uint32_t code) {
    of.code = code;
    of.time = of.begin == 0 ? 0 : static_cast<std::uint32_t>(milliseconds_now() - of.begin);
}

lookups_under_way::~lookups_under_way() {
    for (running& each : all_) {
        each.is_cancelled = !each.lookup->is_over() && each.lookup->cancel();
    }
    const deadline patience(100); // a lookup that the system cancels ends at once
    for (running& each : all_) {
        if (!each.lookup->ends_within(each.is_cancelled ? patience.left() : 0)) {
            abandon(std::move(each.lookup));
        }
    }
}

void lookups_under_way::begin(host_lookup& of, const lookup_terms& terms) {
    of.begin = milliseconds_now();
    if (of.host.empty()) { // nobody else is asked for this host
        finish(of, look_up(of, terms));
        return;
    }
    auto lookup = std::make_unique<pending_lookup>();
    std::uint32_t code = lookup->start(of.host, terms);
    if (code == ERROR_IO_PENDING) {
        all_.push_back({&of, std::move(lookup)}); // for which there is room
        return;
    }
    // A thread that impersonates a user gets 11002 at once: only the blocking call works there.
    const bool must_block = code == ERROR_CALL_NOT_IMPLEMENTED || code == WSATRY_AGAIN;
    code = must_block ? look_up(of, terms) : code != 0 ? code : lookup->read_into(of);
    finish(of, code);
}

std::uint32_t lookups_under_way::end_some(const kvtip_canceller* cancel, std::uint32_t milliseconds) {
    constexpr std::uint32_t look_interval = 50; // at those that the wait does not see
    HANDLE events[most_events];
    const std::size_t count = std::min(all_.size(), most_events);
    for (std::size_t i = 0; i < count; ++i) {
        events[i] = all_[i].lookup->ended().handle();
    }
    const bool sees_all = count == all_.size();
    const std::uint32_t longest = sees_all ? milliseconds : std::min(milliseconds, look_interval);
    std::size_t first = 0;
    const std::uint32_t code = wait_for_any({events, count}, cancel, longest, first);
    if (code == 0) {
        end(first);
    } else if (code == WSAETIMEDOUT && longest < milliseconds) {
        end_those_over();
        return 0;
    }
    return code;
}

void lookups_under_way::end_those_over() {
    for (std::size_t i = all_.size(); i-- > 0;) {
        if (all_[i].lookup->is_over()) {
            end(i);
        }
    }
}

void lookups_under_way::end(std::size_t number) {
    const running ended = std::move(all_[number]);
    all_.erase(all_.begin() + static_cast<std::ptrdiff_t>(number));
    const std::uint32_t code = ended.lookup->code();
    finish(*ended.of, code != 0 ? code : ended.lookup->read_into(*ended.of));
}

/// Why no further lookup may begin: 10060, 995, 0 for no reason, or the system's code.
std::uint32_t reason_to_stop(const kvtip_canceller* cancel, const deadline& end) {
    std::size_t unused = 0;
    const std::uint32_t code = cancel == nullptr ? 0 : wait_for_any({}, cancel, 0, unused);
    return code != 0 && code != WSAETIMEDOUT ? code : end.left() == 0 ? WSAETIMEDOUT : 0;
}

/// Begins all lookups and waits for them. Returns 0 when all have ended, otherwise why not.
std::uint32_t run(std::span<host_lookup> hosts, const lookup_terms& terms, lookups_under_way& under_way) {
    const kvtip_canceller* const cancel = terms.options.cancel;
    const deadline end(terms.options.timeout == 0 ? KVTIP_FOREVER : terms.options.timeout);
    for (host_lookup& each : hosts) {
        if (each.code != host_lookup::unfinished) {
            continue;
        }
        while (under_way.is_full()) {
            if (const std::uint32_t code = under_way.end_some(cancel, end.left())) {
                return code;
            }
        }
        if (const std::uint32_t code = reason_to_stop(cancel, end)) {
            return code;
        }
        under_way.begin(each, terms);
    }
    while (!under_way.is_empty()) {
        if (const std::uint32_t code = under_way.end_some(cancel, end.left())) {
            return code;
        }
    }
    return 0;
}

} // namespace

std::uint32_t name_service_code(int code) noexcept {
    return code < 0 ? WSANO_DATA : static_cast<std::uint32_t>(code);
}

std::uint32_t look_up(host_lookup& of, const lookup_terms& terms) {
    return bound_winsock().GetAddrInfoW != nullptr && bound_winsock().FreeAddrInfoW != nullptr
               ? look_up(of.host, terms.service, terms.options, of)
               : look_up(to_utf8(of.host), to_utf8(terms.service), terms.options, of);
}

std::uint32_t look_up_all(std::span<host_lookup> hosts, const lookup_terms& terms) {
    constexpr std::size_t most = 256;
    destroy_abandoned();
    lookups_under_way under_way(std::min(hosts.size(), most));
    const std::uint32_t code = run(hosts, terms, under_way);
    under_way.end_those_over();
    bool is_whole = true;
    for (host_lookup& each : hosts) {
        if (each.code == host_lookup::unfinished) {
            finish(each, code);
            is_whole = false;
        }
    }
    return is_whole ? 0 : code;
}

} // namespace kvtip::library
