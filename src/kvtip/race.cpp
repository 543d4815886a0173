#include "kvtip/race.h"

#include <winsock2.h>

#include <mstcpip.h>

#include <algorithm>

#include "ip/detail/helper.h"
#include "ip/winsock2.h"
#include "kvtip/event.h"
#include "kvtip/system_entries.h"
#include "kvtip/values.h"
#include "winsock/calls.h"

namespace kvtip::library {

using ip::detail::code_of;
using ip::detail::handle_of;

namespace {

/// The time between two attempts while none has failed, in milliseconds.
constexpr std::uint32_t attempt_delay = 250;

/// Opens a socket that child processes do not inherit. Systems that do not know the flag have the call.
std::uint32_t open_socket(ip::socket& socket, std::uint8_t family) {
    constexpr unsigned long no_inherit = 0x80; // WSA_FLAG_NO_HANDLE_INHERIT
    const unsigned short system_family = to_system_family(family);
    unsigned long code = ip::winsock2::socket(socket, SOCK_STREAM, IPPROTO_TCP, system_family, nullptr, 0,
                                              WSA_FLAG_OVERLAPPED | no_inherit);
    if (code == WSAEINVAL) {
        code = ip::winsock2::socket(socket, SOCK_STREAM, IPPROTO_TCP, system_family, nullptr, 0,
                                    WSA_FLAG_OVERLAPPED);
        if (code == 0 && entries().SetHandleInformation != nullptr) {
            // NOLINTNEXTLINE(performance-no-int-to-ptr): a socket is a handle
            entries().SetHandleInformation(reinterpret_cast<HANDLE>(socket.handle), HANDLE_FLAG_INHERIT, 0);
        }
    }
    return code;
}

/// Asks the system not to repeat a connect that is refused, which takes it 2 s. This host itself loses no
/// packets. Systems that cannot do so repeat it.
void refuse_at_once(const ip::socket& socket) {
    constexpr DWORD first_build_with_none = 16299; // older ones can repeat it once at least
    const auto set = entries().WSAIoctl;
    if (set == nullptr) {
        return;
    }
    const bool may_be_none = ip::detail::the_helper().version.dwBuildNumber >= first_build_with_none;
    TCP_INITIAL_RTO_PARAMETERS parameters{TCP_INITIAL_RTO_UNSPECIFIED_RTT,
                                          may_be_none ? TCP_INITIAL_RTO_NO_SYN_RETRANSMISSIONS : UCHAR{1}};
    DWORD size = 0;
    set(handle_of(socket), SIO_TCP_INITIAL_RTO, &parameters, sizeof parameters, nullptr, 0, &size, nullptr,
        nullptr);
}

/// The attempts under way, which share one event.
class contest {
public:
    contest(race_result& result, std::size_t most) : result_(result) {
        result.attempts.reserve(most);
        sockets_.reserve(most);
    }

    std::uint32_t run(std::span<const kvtip_endpoint> endpoints, const deadline& end,
                      const kvtip_canceller* cancel) {
        if (const std::uint32_t code = open()) {
            return code;
        }
        for (std::size_t next = 0;;) {
            const bool are_all_made = next == endpoints.size();
            const std::uint32_t left = are_all_made ? end.left() : std::min(end.left(), until_next());
            const std::uint32_t code = wait_for(signal_, cancel, left);
            if (code == 0) {
                collect();
            } else if (code != WSAETIMEDOUT || end.left() == 0) {
                close_all(code);
                return code;
            } else if (!are_all_made) {
                start(endpoints[next++]);
            }
            if (result_.socket.handle() != KVTIP_NO_SOCKET) {
                close_all(ERROR_OPERATION_ABORTED);
                return 0;
            }
            if (next == endpoints.size() && std::none_of(sockets_.begin(), sockets_.end(), is_under_way)) {
                return last_code_;
            }
        }
    }

private:
    static bool is_under_way(const socket_owner& socket) { return socket.handle() != KVTIP_NO_SOCKET; }

    std::uint32_t passed() const { return static_cast<std::uint32_t>(milliseconds_now() - begin_); }

    std::uint32_t until_next() const { return next_start_ - std::min(next_start_, passed()); }

    std::uint32_t open() {
        return entries().WSAEventSelect == nullptr || entries().WSAEnumNetworkEvents == nullptr
                   ? ERROR_CALL_NOT_IMPLEMENTED
                   : signal_.open(reset::automatic);
    }

    void start(const kvtip_endpoint& remote) {
        result_.attempts.push_back({remote, 0, 0, passed()});
        next_start_ = passed() + attempt_delay;
        const std::uint32_t code = begin(remote, sockets_.emplace_back());
        if (code != WSAEWOULDBLOCK) {
            finish(sockets_.size() - 1, code);
        }
    }

    /// Returns `WSAEWOULDBLOCK (10035)` for an attempt that is under way then.
    std::uint32_t begin(const kvtip_endpoint& remote, socket_owner& socket) const {
        if (const std::uint32_t code = socket.start()) {
            return code;
        }
        if (const std::uint32_t code = open_socket(socket.get(), remote.address.family)) {
            return code;
        }
        if (kvtip::address(remote.address).is_loopback()) {
            refuse_at_once(socket.get());
        }
        // The socket is non-blocking from here on.
        if (const std::uint32_t code =
                code_of(entries().WSAEventSelect(socket.handle(), signal_.handle(), FD_CONNECT))) {
            return code;
        }
        return ip::winsock2::connect(socket.get(), to_saddr(remote));
    }

    /// Ends the attempts that the event was set for. It does not say which they are.
    void collect() {
        for (std::size_t i = 0; i < sockets_.size() && result_.socket.handle() == KVTIP_NO_SOCKET; ++i) {
            if (!is_under_way(sockets_[i])) {
                continue;
            }
            WSANETWORKEVENTS events{};
            const std::uint32_t code =
                code_of(entries().WSAEnumNetworkEvents(sockets_[i].handle(), nullptr, &events));
            if (code != 0) {
                finish(i, code);
            } else if ((events.lNetworkEvents & FD_CONNECT) != 0) {
                finish(i, static_cast<std::uint32_t>(events.iErrorCode[FD_CONNECT_BIT]));
            }
        }
    }

    /// Ends one attempt with the code of its connect.
    void finish(std::size_t index, std::uint32_t code) {
        if (code == 0) {
            code = settle(sockets_[index].get());
        }
        close(index, code);
        if (code != 0) {
            last_code_ = code;
            next_start_ = 0;
        }
    }

    void close_all(std::uint32_t code) {
        for (std::size_t i = 0; i < sockets_.size(); ++i) {
            if (is_under_way(sockets_[i])) {
                close(i, code);
            }
        }
    }

    void close(std::size_t index, std::uint32_t code) {
        kvtip_attempt& attempt = result_.attempts[index];
        attempt.code = code;
        attempt.time = passed() - attempt.start;
        socket_owner socket = std::move(sockets_[index]);
        if (code == 0) {
            result_.socket = std::move(socket);
        }
    }

    /// Makes the socket a blocking one again, and reads its two ends.
    std::uint32_t settle(ip::socket& socket) {
        unsigned long off = 0;
        ip::saddr local;
        ip::saddr remote;
        std::uint32_t code = code_of(entries().WSAEventSelect(handle_of(socket), nullptr, 0));
        code = code != 0 ? code : ip::winsock2::ioctlsocket(socket, static_cast<long>(FIONBIO), &off);
        code = code != 0 ? code : ip::winsock2::getsockname(socket, local);
        code = code != 0 ? code : ip::winsock2::getpeername(socket, remote);
        if (code == 0) {
            result_.local = to_endpoint(local);
            result_.remote = to_endpoint(remote);
        }
        return code;
    }

    race_result& result_;
    event signal_; ///< set when an attempt ends; a wait takes that back. It outlives the sockets.
    std::vector<socket_owner> sockets_; ///< of as many attempts; none for one that is not under way
    const std::uint64_t begin_ = milliseconds_now();
    std::uint32_t next_start_ = 0; ///< in milliseconds after the beginning
    std::uint32_t last_code_ = 0;
};

} // namespace

std::vector<kvtip_endpoint> in_turns(std::span<const kvtip_endpoint> sorted) {
    std::vector<kvtip_endpoint> order(sorted.begin(), sorted.end());
    for (std::size_t i = 1; i < order.size(); ++i) {
        const auto place = order.begin() + static_cast<std::ptrdiff_t>(i);
        const auto other = std::find_if(place, order.end(), [&](const kvtip_endpoint& each) {
            return each.address.family != order[i - 1].address.family;
        });
        if (other == order.end()) {
            break;
        }
        std::rotate(place, other, other + 1);
    }
    return order;
}

std::uint32_t race(std::span<const kvtip_endpoint> endpoints, const deadline& end,
                   const kvtip_canceller* cancel, race_result& result) {
    return contest(result, endpoints.size()).run(endpoints, end, cancel);
}

} // namespace kvtip::library
