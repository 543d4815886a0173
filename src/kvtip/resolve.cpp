// Endpoints of hosts by the system's name services.

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>
#include <vector>

#include "kvtip/block.h"
#include "kvtip/boundary.h"
#include "kvtip/encoding.h"
#include "kvtip/kvtip.h"
#include "kvtip/lookup.h"
#include "kvtip/options.h"
#include "kvtip/values.h"

using namespace kvtip::library;

namespace {

/// Whether the service is a number that no port has. Some systems take its low 16 bits.
bool is_beyond_ports(std::string_view service) {
    std::uint16_t port = 0;
    const char* const end = service.data() + service.size();
    const auto [after, fault] = std::from_chars(service.data(), end, port);
    return after == end && fault == std::errc::result_out_of_range;
}

/// Replaces the interface's name after an IPv6 address by its number, which is all that the system reads.
std::uint32_t number_scope(std::string& host) {
    const std::size_t percent = host.find('%');
    kvtip_address address;
    if (percent == std::string::npos ||
        host.find_first_not_of("0123456789", percent + 1) == std::string::npos ||
        kvtip_parse_address(host.substr(0, percent).c_str(), &address) != 0 || address.family != 6) {
        return 0;
    }
    std::uint32_t scope = 0;
    const std::uint32_t code = kvtip_scope(host.c_str() + percent + 1, &scope);
    host.replace(percent + 1, std::string::npos, std::to_string(scope));
    return code;
}

bool is_empty(const char* text) {
    return text == nullptr || *text == 0;
}

bool read_terms(const kvtip_resolve_options* given, kvtip_resolve_options& options) {
    return read_options(given, options) && is_family(options.family) &&
           options.socket_type <= KVTIP_DATAGRAM &&
           has_only(options.flags, KVTIP_RESOLVE_PASSIVE | KVTIP_RESOLVE_CANONICAL_NAME |
                                       KVTIP_RESOLVE_NUMERIC_HOST | KVTIP_RESOLVE_CONFIGURED) &&
           options.reserved == 0;
}

/// Whether such a host can be looked up: this one has no canonical name to ask for.
bool can_resolve(const char* host, const kvtip_resolve_options& options) {
    return !is_empty(host) || (options.flags & KVTIP_RESOLVE_CANONICAL_NAME) == 0;
}

/// Takes the caller's host. Returns 0 or 87. If the lookup cannot begin for another reason, its code says why.
std::uint32_t prepare(host_lookup& lookup, const char* host) {
    std::string text = is_empty(host) ? "" : host;
    std::uint32_t code = number_scope(text);
    if (code == 0) {
        code = to_wide(text.c_str(), lookup.host);
    }
    if (code == ERROR_INVALID_PARAMETER) {
        return code;
    }
    lookup.code = code != 0 ? code : lookup.code;
    return 0;
}

/// Takes the caller's service. Returns 0 or 87. If no port can be that large, the lookups' codes say so.
std::uint32_t prepare(std::span<host_lookup> lookups, lookup_terms& terms, const char* service) {
    const char* const text = is_empty(service) ? "0" : service;
    if (is_beyond_ports(text)) {
        for (host_lookup& each : lookups) {
            each.code = WSATYPE_NOT_FOUND;
        }
    }
    return to_wide(text, terms.service);
}

/// Looks one host up. Without a reason to end early, the call that blocks will do.
std::uint32_t look_up_alone(host_lookup& lookup, const lookup_terms& terms) {
    const bool may_block = (terms.options.timeout == 0 || terms.options.timeout == KVTIP_FOREVER) &&
                           terms.options.cancel == nullptr;
    if (!may_block) {
        look_up_all({&lookup, 1}, terms);
    } else if (lookup.code == host_lookup::unfinished) {
        lookup.code = look_up(lookup, terms);
    }
    return lookup.code;
}

/// Lays the endpoints and the canonical name out, in a result that has members for them.
template <class Result>
void lay_out(block& out, Result& result, const host_lookup& found) {
    auto* copy = out.array<kvtip_endpoint>(found.endpoints.size());
    result.canonical_name = out.text(std::string_view(found.canonical_name));
    result.endpoints = copy;
    result.endpoint_count = found.endpoints.size();
    if (!out.is_measuring()) {
        std::copy(found.endpoints.begin(), found.endpoints.end(), copy);
    }
}

const kvtip_resolved_host_list* lay_out_all(const std::vector<host_lookup>& lookups,
                                            const char* const* hosts) {
    return block::make<kvtip_resolved_host_list>([&](block& out, kvtip_resolved_host_list& list) {
        out.list(list, lookups.size(), [&](auto add) {
            for (std::size_t i = 0; i < lookups.size(); ++i) {
                kvtip_resolved_host& row = add();
                row.host = out.text(std::string_view(hosts[i]));
                row.code = lookups[i].code;
                row.time = lookups[i].time;
                lay_out(out, row, lookups[i]);
            }
        });
    });
}

} // namespace

uint32_t kvtip_resolve(const char* host, const char* service, const kvtip_resolve_options* options,
                       const kvtip_resolution** resolution) noexcept {
    lookup_terms terms;
    if (!clear(resolution) || !read_terms(options, terms.options) || !can_resolve(host, terms.options)) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] {
        host_lookup lookup;
        std::uint32_t code = prepare(lookup, host);
        code = code != 0 ? code : prepare({&lookup, 1}, terms, service);
        code = code != 0 ? code : look_up_alone(lookup, terms);
        if (code == 0) {
            *resolution = block::make<kvtip_resolution>([&](block& out, kvtip_resolution& result) {
                result.size = sizeof result;
                lay_out(out, result, lookup);
            });
        }
        return code;
    });
}

uint32_t kvtip_resolve_all(const char* const* hosts, size_t count, const char* service,
                           const kvtip_resolve_options* options,
                           const kvtip_resolved_host_list** list) noexcept {
    lookup_terms terms;
    if (!clear(list) || !read_terms(options, terms.options) || (hosts == nullptr && count != 0) ||
        !std::all_of(hosts, hosts + count,
                     [&](const char* host) { return host != nullptr && can_resolve(host, terms.options); })) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] {
        std::vector<host_lookup> lookups(count);
        for (std::size_t i = 0; i < count; ++i) {
            if (const std::uint32_t code = prepare(lookups[i], hosts[i])) {
                return code;
            }
        }
        std::uint32_t code = prepare(lookups, terms, service);
        code = code != 0 ? code : look_up_all(lookups, terms);
        code = code == WSAETIMEDOUT ? 0 : code; // which each row says for itself
        if (code == 0 || code == ERROR_OPERATION_ABORTED) {
            *list = lay_out_all(lookups, hosts);
        }
        return code;
    });
}
