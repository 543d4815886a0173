// Connecting to a host and service, or to an endpoint.

#include <memory>

#include "kvtip/block.h"
#include "kvtip/boundary.h"
#include "kvtip/deadline.h"
#include "kvtip/kvtip.h"
#include "kvtip/options.h"
#include "kvtip/race.h"
#include "kvtip/values.h"

using namespace kvtip::library;

namespace {

constexpr std::uint32_t default_timeout = 30000;

/// What is known of a connect.
struct progress : race_result {
    std::uint64_t begin = milliseconds_now();
    std::uint32_t lookup_time = 0;

    std::uint32_t passed() const { return static_cast<std::uint32_t>(milliseconds_now() - begin); }
};

/// Makes the result, which takes the socket over.
std::uint32_t finish(std::uint32_t code, progress& now, const kvtip_connect_result** result) {
    const std::uint32_t time = now.passed();
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
    const kvtip_resolve_options lookup{sizeof lookup, options.family, KVTIP_STREAM, 0, options.timeout, 0,
                                       options.cancel};
    const kvtip_resolution* found = nullptr;
    std::uint32_t code = kvtip_resolve(host, service, &lookup, &found);
    const std::unique_ptr<const kvtip_resolution, decltype(&kvtip_free)> owner(found, &kvtip_free);
    now.lookup_time = now.passed();
    if (code == ERROR_NOT_ENOUGH_MEMORY || code == ERROR_INVALID_PARAMETER) {
        return code;
    }
    if (code == 0) {
        code = race(in_turns({found->endpoints, found->endpoint_count}), end, options.cancel, now);
    }
    return finish(code, now, result);
}

bool read_connect_options(const kvtip_connect_options* given, kvtip_connect_options& options) {
    if (!read_options(given, options) || !is_family(options.family) || options.reserved != 0) {
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
        const std::uint32_t code = race({remote, 1}, deadline(wanted.timeout), wanted.cancel, now);
        return finish(code, now, result);
    });
}
