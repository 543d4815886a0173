#pragma once

// Names and addresses: by the system's name services, by the DNS, and this host's name.

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kvtip/address.hpp"
#include "kvtip/canceller.hpp"
#include "kvtip/detail/call.hpp"
#include "kvtip/detail/named.hpp"

namespace kvtip {
inline namespace v1 {

enum class socket_type : std::uint32_t { stream = KVTIP_STREAM, datagram = KVTIP_DATAGRAM };

/// How to look a host up.
struct resolve_options {
    kvtip::family family = family::none; ///< none: both
    kvtip::socket_type socket_type = socket_type::stream;
    bool passive = false;                        ///< without a host: the wildcard addresses, to listen at
    bool canonical_name = false;                 ///< asks for the canonical name too
    bool numeric_host = false;                   ///< the host is an address: no name service is asked
    bool configured = false;                     ///< only families of which this host has an address
    std::chrono::milliseconds timeout = forever; ///< for the whole call
    const canceller* cancel = nullptr;           ///< can end the call early

    kvtip_resolve_options native() const noexcept {
        const auto flag = [](bool on, std::uint32_t bit) { return on ? bit : 0; };
        return {sizeof(kvtip_resolve_options),
                static_cast<std::uint32_t>(family),
                static_cast<std::uint32_t>(socket_type),
                flag(passive, KVTIP_RESOLVE_PASSIVE) | flag(canonical_name, KVTIP_RESOLVE_CANONICAL_NAME) |
                    flag(numeric_host, KVTIP_RESOLVE_NUMERIC_HOST) |
                    flag(configured, KVTIP_RESOLVE_CONFIGURED),
                detail::to_timeout(timeout),
                0,
                detail::native_handle(cancel)};
    }
};

/// The answer to a lookup.
struct resolution {
    std::string canonical_name;      ///< empty if it was not asked for, or is not known
    std::vector<endpoint> endpoints; ///< in the system's order, best first
};

namespace detail {
template <class Found>
std::vector<endpoint> endpoints_of(const Found& found) {
    return {found.endpoints, found.endpoints + found.endpoint_count};
}
} // namespace detail

/// Looks a host and a service up: `kvtip_resolve`. An empty host stands for this host, an empty service for
/// port 0. The system reads more forms of addresses than `address::parse` does, such as "127.1".
inline resolution resolve(std::string_view host, std::string_view service, const resolve_options& options,
                          std::error_code& error) {
    const detail::c_text host_text(host);
    const detail::c_text service_text(service);
    const kvtip_resolve_options native = options.native();
    const auto found = detail::fetch<kvtip_resolution>(error, [&](auto** out) -> std::uint32_t {
        if (!host_text.is_valid() || !service_text.is_valid()) {
            return detail::invalid_parameter;
        }
        return kvtip_resolve(host.empty() ? nullptr : host_text.get(), service_text.get(), &native, out);
    });
    resolution result;
    if (found) {
        result.canonical_name = found->canonical_name;
        result.endpoints = detail::endpoints_of(*found);
    }
    return result;
}
inline resolution resolve(std::string_view host, std::uint16_t port, const resolve_options& options,
                          std::error_code& error) {
    return resolve(host, std::to_string(port), options, error);
}

/// The lookup of a host among several.
struct resolved_host {
    std::string host;                 ///< as the caller named it
    std::error_code error;            ///< none if the host was found
    std::chrono::milliseconds time{}; ///< how long the lookup took
    std::string canonical_name;       ///< empty if it was not asked for, or is not known
    std::vector<endpoint> endpoints;  ///< in the system's order, best first
};

/// Looks several hosts up at once, in the time of the slowest: `kvtip_resolve_all`. A host that is not found in
/// time has the error `std::errc::timed_out`, and the call itself still succeeds. A call that is cancelled
/// reports `std::errc::operation_canceled`, and returns what is known by then.
inline std::vector<resolved_host> resolve_all(const std::vector<std::string>& hosts, std::string_view service,
                                              const resolve_options& options, std::error_code& error) {
    const detail::c_text service_text(service);
    const kvtip_resolve_options native = options.native();
    bool is_valid = service_text.is_valid();
    std::vector<const char*> names;
    names.reserve(hosts.size());
    for (const std::string& host : hosts) {
        is_valid = is_valid && host.find('\0') == std::string::npos;
        names.push_back(host.c_str());
    }
    const auto list = detail::fetch<kvtip_resolved_host_list>(error, [&](auto** out) -> std::uint32_t {
        return is_valid ? kvtip_resolve_all(names.data(), names.size(), service_text.get(), &native, out)
                        : detail::invalid_parameter;
    });
    return detail::rows_of<resolved_host>(list.get(), [](const kvtip_resolved_host& row) {
        return resolved_host{row.host, std::error_code(static_cast<int>(row.code), category()),
                             std::chrono::milliseconds(row.time), row.canonical_name,
                             detail::endpoints_of(row)};
    });
}
inline std::vector<resolved_host> resolve_all(const std::vector<std::string>& hosts, std::uint16_t port,
                                              const resolve_options& options, std::error_code& error) {
    return resolve_all(hosts, std::to_string(port), options, error);
}
inline std::vector<resolved_host> resolve_all(const std::vector<std::string>& hosts,
                                              const resolve_options& options, std::error_code& error) {
    return resolve_all(hosts, "", options, error);
}

/// Looks the names of an address up by the system's name services: `kvtip_reverse`.
inline std::vector<std::string> reverse(const address& address, std::error_code& error) {
    const auto list = detail::fetch<kvtip_name_list>(
        error, [&](auto** out) { return kvtip_reverse(&address.native(), out); });
    return detail::rows_of<std::string>(list.get(),
                                        [](const kvtip_name& row) { return std::string(row.name); });
}

/// Returns this host's name: `kvtip_host_name`.
inline std::string host_name(std::error_code& error) {
    const auto name = detail::fetch<char>(error, [](auto** out) { return kvtip_host_name(out); });
    return name ? name.get() : "";
}

enum class dns_type : std::uint32_t {
    a = KVTIP_DNS_A,
    ns = KVTIP_DNS_NS,
    cname = KVTIP_DNS_CNAME,
    soa = KVTIP_DNS_SOA,
    ptr = KVTIP_DNS_PTR,
    mx = KVTIP_DNS_MX,
    txt = KVTIP_DNS_TXT,
    aaaa = KVTIP_DNS_AAAA,
    srv = KVTIP_DNS_SRV,
    caa = KVTIP_DNS_CAA
};

inline constexpr detail::named<dns_type> dns_type_names[] = {
    {dns_type::a, "A"},     {dns_type::ns, "NS"},  {dns_type::cname, "CNAME"}, {dns_type::soa, "SOA"},
    {dns_type::ptr, "PTR"}, {dns_type::mx, "MX"},  {dns_type::txt, "TXT"},     {dns_type::aaaa, "AAAA"},
    {dns_type::srv, "SRV"}, {dns_type::caa, "CAA"}};
constexpr std::string_view to_string(dns_type value) noexcept {
    return detail::name_in<dns_type>(dns_type_names, value);
}

/// A record of a DNS answer. Members that its type does not have are 0 or empty.
struct dns_record {
    std::string name; ///< whom the record is about
    dns_type type = dns_type::a;
    std::chrono::seconds time_to_live{};
    kvtip::address address; ///< A, AAAA
    /// PTR, CNAME: the name; NS: the name server; MX: the mail server; SRV: the host of the service; SOA: the
    /// primary name server.
    std::string target;
    std::uint16_t priority = 0; ///< MX, SRV: targets with the least are tried first
    std::uint16_t weight = 0;   ///< SRV: the share of a target among those of its priority
    std::uint16_t port = 0;     ///< SRV
    std::uint8_t flags = 0;     ///< CAA: with bit 128, an authority that does not know the tag must not issue
    std::string tag;            ///< CAA: what the value is, such as "issue"
    std::string value;          ///< CAA
    std::vector<std::string> texts; ///< TXT: many readers join them without a blank
    std::string mailbox;            ///< SOA: of who is in charge; its first dot stands for the @
    std::uint32_t serial = 0;       ///< SOA: of this version of the zone
    std::chrono::seconds refresh{}; ///< SOA: when other name servers look for a new version
    std::chrono::seconds retry{};   ///< SOA: when they look again after a failure
    std::chrono::seconds expire{};  ///< SOA: when they give the zone up without one
    std::chrono::seconds minimum{}; ///< SOA: for how long the absence of a name or record is remembered
};

/// How to ask the DNS.
struct dns_options {
    bool bypass_cache = false; ///< asks a server even if the answer is known
    bool tcp = false;          ///< asks by TCP only
    kvtip::address server;     ///< the server to ask instead of the system's; no address: none
};

namespace detail {
inline dns_record to_dns_record(const kvtip_dns_record& row) {
    using std::chrono::seconds;
    return {row.name,
            static_cast<dns_type>(row.type),
            seconds(row.time_to_live),
            address(row.address),
            row.target,
            static_cast<std::uint16_t>(row.priority),
            static_cast<std::uint16_t>(row.weight),
            static_cast<std::uint16_t>(row.port),
            static_cast<std::uint8_t>(row.flags),
            row.tag,
            row.value,
            {row.texts, row.texts + row.text_count},
            row.mailbox,
            row.serial,
            seconds(row.refresh),
            seconds(row.retry),
            seconds(row.expire),
            seconds(row.minimum)};
}
} // namespace detail

/// Asks the DNS for records of a name: `kvtip_dns_query`. For PTR the name may be address text.
inline std::vector<dns_record> dns_query(std::string_view name, dns_type type, const dns_options& options,
                                         std::error_code& error) {
    const detail::c_text text(name);
    const kvtip_dns_options native{sizeof native,
                                   (options.bypass_cache ? std::uint32_t{KVTIP_DNS_BYPASS_CACHE} : 0u) |
                                       (options.tcp ? std::uint32_t{KVTIP_DNS_TCP} : 0u),
                                   options.server.native()};
    const auto list = detail::fetch<kvtip_dns_record_list>(error, [&](auto** out) {
        return text.is_valid() ? kvtip_dns_query(text.get(), static_cast<std::uint32_t>(type), &native, out)
                               : detail::invalid_parameter;
    });
    return detail::rows_of<dns_record>(list.get(), detail::to_dns_record);
}

#if KVTIP_HAS_EXCEPTIONS
inline resolution resolve(std::string_view host, std::string_view service = {},
                          const resolve_options& options = {}) {
    return detail::or_throw("kvtip::resolve",
                            [&](std::error_code& error) { return resolve(host, service, options, error); });
}
inline resolution resolve(std::string_view host, std::uint16_t port, const resolve_options& options = {}) {
    return resolve(host, std::to_string(port), options);
}

inline std::vector<resolved_host> resolve_all(const std::vector<std::string>& hosts,
                                              std::string_view service = {},
                                              const resolve_options& options = {}) {
    return detail::or_throw("kvtip::resolve_all", [&](std::error_code& error) {
        return resolve_all(hosts, service, options, error);
    });
}
inline std::vector<resolved_host> resolve_all(const std::vector<std::string>& hosts, std::uint16_t port,
                                              const resolve_options& options = {}) {
    return resolve_all(hosts, std::to_string(port), options);
}
inline std::vector<resolved_host> resolve_all(const std::vector<std::string>& hosts,
                                              const resolve_options& options) {
    return resolve_all(hosts, "", options);
}

inline std::vector<std::string> reverse(const address& address) {
    return detail::or_throw("kvtip::reverse",
                            [&](std::error_code& error) { return reverse(address, error); });
}

inline std::string host_name() {
    return detail::or_throw("kvtip::host_name", [](std::error_code& error) { return host_name(error); });
}

inline std::vector<dns_record> dns_query(std::string_view name, dns_type type,
                                         const dns_options& options = {}) {
    return detail::or_throw("kvtip::dns_query",
                            [&](std::error_code& error) { return dns_query(name, type, options, error); });
}
#endif

} // namespace v1
} // namespace kvtip
