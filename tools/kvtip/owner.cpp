#include <algorithm>
#include <optional>

#include "arguments.h"
#include "command.h"
#include "failure.h"
#include "kvtip/connections.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

/// An end of a connection as the user gives it: an address, with a port or with any.
class end {
public:
    end(const std::string& text, const char* name) {
        const auto exact = kvtip::endpoint::parse(with_numeric_scope(text));
        endpoint_ = exact ? *exact : kvtip::endpoint(parse_address(text, name), 0);
    }

    kvtip::address address() const { return endpoint_.address(); }
    value shown() const {
        return {{"address", address_value(address())}, {"port", number_or_null(endpoint_.port())}};
    }

    /// Whether this is that end. A listener or UDP endpoint has no remote end, for which 0.0.0.0 and ::
    /// stand.
    bool is(const kvtip::endpoint& found) const {
        const kvtip::address wanted = address();
        if (!found) {
            return wanted.is_unspecified();
        }
        const bool any_scope = wanted.scope() == 0;
        return (any_scope ? found.address().without_scope() : found.address()) == wanted &&
               (endpoint_.port() == 0 || endpoint_.port() == found.port());
    }

private:
    kvtip::endpoint endpoint_;
};

value owner_of(const end& local, const end& remote) {
    const auto all = kvtip::connections({.family = local.address().family(), .directions = false});
    const auto found = std::find_if(all.begin(), all.end(), [&](const kvtip::connection& each) {
        return local.is(each.local) && remote.is(each.remote);
    });
    if (found == all.end()) {
        throw explained_error(1168, "There is no connection between these addresses."); // ERROR_NOT_FOUND
    }
    return {{"local", local.shown()},
            {"remote", remote.shown()},
            {"process", process_value(*found)},
            {"process_name", text_or_null(found->process_name)}};
}

operation prepare(parameters& expected) {
    const auto local = add_host(expected, "LOCAL", "The local address of the connection, or ADDRESS:PORT");
    const auto remote =
        add_host(expected, "REMOTE",
                 "The remote one, in the same way; 0.0.0.0 or :: for a listener or a UDP endpoint");
    return [=](const progress&) { return owner_of({*local, "LOCAL"}, {*remote, "REMOTE"}); };
}

std::string text(const value& result) {
    std::string fields;
    append_field(fields, "pid", plain_text(result["process"]));
    append_field(fields, "process", plain_text(result["process_name"]));
    return fields;
}

} // namespace

const command owner_command = {
    .name = "owner",
    .summary = "Show which process owns a connection",
    .examples = {"owner 127.0.0.1:80 0.0.0.0", "owner 192.0.2.2 192.0.2.1:443"},
    .prepare = prepare,
    .text = text,
};
