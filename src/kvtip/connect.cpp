// Connecting to a host and service, one address after the other.

#include <memory>
#include <span>
#include <vector>

#include "ip/detail/helper.h"
#include "ip/winsock2.h"
#include "kvtip/block.h"
#include "kvtip/boundary.h"
#include "kvtip/deadline.h"
#include "kvtip/kvtip.h"
#include "kvtip/options.h"
#include "kvtip/socket_owner.h"
#include "kvtip/system_entries.h"
#include "kvtip/values.h"
#include "winsock/calls.h"

using namespace kvtip::library;

namespace {

constexpr std::uint32_t default_timeout = 30000;

timeval to_timeval(std::uint32_t milliseconds) {
    return {static_cast<long>(milliseconds / 1000), static_cast<long>(milliseconds % 1000 * 1000)};
}

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

/// What is known of a connect.
struct progress {
    kvtip_endpoint local{};
    kvtip_endpoint remote{};
    std::uint64_t begin = milliseconds_now();
    std::uint32_t lookup_time = 0;
    std::vector<kvtip_attempt> attempts{};
    socket_owner socket{};

    std::uint32_t time_since(std::uint64_t then) const {
        return static_cast<std::uint32_t>(milliseconds_now() - then);
    }
};

/// Reads the two ends of a connected socket.
std::uint32_t read_ends(const ip::socket& socket, progress& now) {
    ip::saddr local;
    ip::saddr remote;
    unsigned long code = ip::winsock2::getsockname(socket, local);
    if (code == 0) {
        code = ip::winsock2::getpeername(socket, remote);
    }
    if (code == 0) {
        now.local = to_endpoint(local);
        now.remote = to_endpoint(remote);
    }
    return code;
}

/// One attempt. On success the socket is in `now`.
std::uint32_t try_endpoint(const kvtip_endpoint& remote, const deadline& end, progress& now) {
    socket_owner socket;
    if (const std::uint32_t code = socket.start()) {
        return code;
    }
    if (const std::uint32_t code = open_socket(socket.get(), remote.address.family)) {
        return code;
    }
    const std::uint32_t left = end.left();
    const timeval timeout = to_timeval(left);
    std::uint32_t code =
        ip::winsock2::connect(socket.get(), to_saddr(remote), left == KVTIP_FOREVER ? nullptr : &timeout);
    if (code == 0) {
        code = read_ends(socket.get(), now);
    }
    if (code == 0) {
        now.socket = std::move(socket);
    }
    return code == ERROR_TIMEOUT ? WSAETIMEDOUT : code;
}

/// Returns the code of the last attempt; 10060 if the time is over before all are made.
std::uint32_t try_in_turn(std::span<const kvtip_endpoint> endpoints, const deadline& end, progress& now) {
    std::uint32_t code = 0;
    now.attempts.reserve(endpoints.size());
    for (const kvtip_endpoint& remote : endpoints) {
        if (end.left() == 0) {
            return WSAETIMEDOUT;
        }
        const std::uint64_t begin = milliseconds_now();
        code = try_endpoint(remote, end, now);
        now.attempts.push_back({remote, code, now.time_since(begin)});
        if (code == 0) {
            break;
        }
    }
    return code;
}

/// Makes the result, which takes the socket over.
std::uint32_t finish(std::uint32_t code, progress& now, const kvtip_connect_result** result) {
    const std::uint32_t time = now.time_since(now.begin);
    *result = block::make<kvtip_connect_result>([&](block& out, kvtip_connect_result& made) {
        made.size = sizeof made;
        made.code = code;
        made.socket = now.socket.handle();
        made.local = now.local;
        made.remote = now.remote;
        made.lookup_time = now.lookup_time;
        made.time = time;
        out.flat_list(made.attempts, now.attempts.size(), [&](auto add) {
            for (const kvtip_attempt& each : now.attempts) {
                add() = each;
            }
        });
    });
    now.socket.release();
    return code;
}

std::uint32_t connect_host(const char* host, const char* service, const kvtip_connect_options& options,
                           const kvtip_connect_result** result) {
    progress now;
    const deadline end(options.timeout);
    const kvtip_resolve_options lookup{sizeof lookup, options.family, KVTIP_STREAM, 0};
    const kvtip_resolution* found = nullptr;
    std::uint32_t code = kvtip_resolve(host, service, &lookup, &found);
    const std::unique_ptr<const kvtip_resolution, decltype(&kvtip_free)> owner(found, &kvtip_free);
    now.lookup_time = now.time_since(now.begin);
    if (code == ERROR_NOT_ENOUGH_MEMORY || code == ERROR_INVALID_PARAMETER) {
        return code;
    }
    if (code == 0) {
        code = try_in_turn({found->endpoints, found->endpoint_count}, end, now);
    }
    return finish(code, now, result);
}

bool read_connect_options(const kvtip_connect_options* given, kvtip_connect_options& options) {
    if (!read_options(given, options) || !is_family(options.family)) {
        return false;
    }
    options.timeout = options.timeout == 0 ? default_timeout : options.timeout;
    return true;
}

} // namespace

uint32_t kvtip_connect(const char* host, const char* service, const kvtip_connect_options* options,
                       const kvtip_connect_result** result) noexcept {
    kvtip_connect_options wanted;
    if (!clear(result) || host == nullptr || *host == 0 || !read_connect_options(options, wanted)) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] { return connect_host(host, service, wanted, result); });
}

uint32_t kvtip_connect_endpoint(const kvtip_endpoint* remote, const kvtip_connect_options* options,
                                const kvtip_connect_result** result) noexcept {
    kvtip_connect_options wanted;
    if (!clear(result) || remote == nullptr || !is_valid(*remote) || remote->address.family == 0 ||
        !read_connect_options(options, wanted) ||
        (wanted.family != 0 && wanted.family != remote->address.family)) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] {
        progress now;
        const std::uint32_t code = try_in_turn({remote, 1}, deadline(wanted.timeout), now);
        return finish(code, now, result);
    });
}
