#include <algorithm>
#include <optional>
#include <stdexcept>

#include "arguments.h"
#include "command.h"
#include "kvtip/connections.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

/// An end of a connection as the user gives it: an address, with a port or with any.
class end {
public:
    end(const std::string& text, const char* name) {
        const auto exact = kvtip::endpoint::parse(text);
        endpoint_ = exact ? *exact : kvtip::endpoint(parse_address(text, name), 0);
    }

    kvtip::address address() const { return endpoint_.address(); }
    value shown() const {
        return endpoint_.port() == 0 ? address_value(address()) : text_or_null(endpoint_.text());
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
        throw std::runtime_error(code_text(1168, "no connection between these addresses")); // ERROR_NOT_FOUND
    }
    return {{"local", local.shown()},
            {"remote", remote.shown()},
            {"pid", number_or_null(found->process)},
            {"process", text_or_null(found->process_name)}};
}

operation prepare(parameters& expected) {
    const auto local = add_host(expected, "LOCAL", "The local address of the connection, or ADDRESS:PORT");
    const auto remote =
        add_host(expected, "REMOTE",
                 "The remote one, in the same way; 0.0.0.0 or :: for a listener or a UDP endpoint");
    return [=](const line_sink&) { return owner_of({*local, "LOCAL"}, {*remote, "REMOTE"}); };
}

std::string text(const value& result) {
    std::string fields;
    append_field(fields, "pid", plain_text(result["pid"]));
    append_field(fields, "process", plain_text(result["process"]));
    return fields;
}

} // namespace

const command owner_command = {
    "owner", "Show the process that has the first connection between two addresses", prepare, text};
