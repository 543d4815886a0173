#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "arguments.h"
#include "command.h"
#include "failure.h"
#include "interruption.h"
#include "kvtip/names.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

using std::chrono::milliseconds;

constexpr unsigned longest_timeout = 86400;

struct resolve_request {
    std::vector<std::string> hosts;
    std::function<kvtip::family()> family;
    double timeout = 0; ///< in seconds; 0 for as long as the system takes

    kvtip::resolve_options options(const kvtip::canceller* cancel) const {
        return {.family = family(),
                .timeout = timeout > 0 ? milliseconds(std::lround(std::ceil(timeout * 1e3))) : kvtip::forever,
                .cancel = cancel};
    }
};

/// A row for each address of a host, or one with the error.
void add_rows(value& rows, const kvtip::resolved_host& found) {
    const value host = found.host, time = found.time.count();
    for (const kvtip::endpoint& each : found.endpoints) {
        rows.add({{"host", host}, {"address", address_value(each.address())}, {"time", time}});
    }
    if (found.error) {
        const value error = error_value(static_cast<std::uint32_t>(found.error.value()));
        rows.add({{"host", host}, {"time", time}, {"error", error}});
    }
}

value resolve(const resolve_request& asked) {
    std::vector<std::string> hosts;
    std::transform(asked.hosts.begin(), asked.hosts.end(), std::back_inserter(hosts), with_numeric_scope);
    const ctrl_c interrupted;
    std::error_code error;
    const auto found = kvtip::resolve_all(hosts, "", asked.options(interrupted.get()), error);
    if (error && error != std::errc::operation_canceled) {
        throw std::system_error(error);
    }
    value rows = value::list();
    for (const kvtip::resolved_host& each : found) {
        add_rows(rows, each);
    }
    return rows;
}

operation prepare(parameters& expected) {
    auto asked = std::make_shared<resolve_request>();
    expected.add_texts("HOST", asked->hosts, "The hosts' names");
    asked->family = add_family(expected);
    expected.add_seconds("--timeout", asked->timeout,
                         "Seconds for all of the lookups; as long as the system takes unless given",
                         longest_timeout);
    return [asked](const progress&) { return resolve(*asked); };
}

value first_error(const value& rows) {
    for (const value& row : rows.elements()) {
        if (row.has("error")) {
            return row["error"];
        }
    }
    return {};
}

/// The addresses alone if there is one host.
std::string text(const value& rows) {
    static constexpr column columns[] = {{"HOST", "host"},
                                         {"ADDRESS", "address"},
                                         {"TIME", "time", milliseconds_text},
                                         {"ERROR", "error", error_text}};
    const std::vector<value>& all = rows.elements();
    if (std::any_of(all.begin(), all.end(),
                    [&](const value& row) { return !(row["host"] == all.front()["host"]); })) {
        const bool has_error = !first_error(rows).is_null();
        return table_text(rows, std::span(columns).first(has_error ? 4 : 3), "no addresses");
    }
    return first_error(rows).is_null() ? list_text(rows, "address", "no addresses") : "";
}

} // namespace

const command resolve_command = {
    .name = "resolve",
    .summary = "List the addresses of hosts",
    .examples = {"resolve www.example.com", "resolve www.example.com localhost --timeout 5"},
    .prepare = prepare,
    .text = text,
    .failure = first_error,
};
