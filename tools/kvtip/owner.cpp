#include <stdexcept>

#include <windows.h>

#include "arguments.h"
#include "command.h"
#include "errors.h"
#include "ip/hlpapi.h"
#include "layout.h"
#include "network_values.h"
#include "processes.h"

namespace {

value owner_of(const std::string& local, const std::string& remote) {
    const ip::saddr from = socket_address(parse_address(local, "LOCAL"));
    const ip::saddr to = socket_address(parse_address(remote, "REMOTE"));
    unsigned long pid = 0;
    const unsigned long code = ip::hlpapi::findPid(0, from, to, pid);
    if (code == ERROR_FILE_NOT_FOUND) { // the system's text is about files
        throw std::runtime_error(code_text(code, "no connection between these addresses"));
    }
    check(code, "findPid");
    return {{"local", address_value(from)},
            {"remote", address_value(to)},
            {"pid", number_or_null(pid)},
            {"process", process_names().find(pid)}};
}

operation prepare(parameters& expected) {
    const auto local = add_host(expected, "LOCAL", "The local address of the connection");
    const auto remote =
        add_host(expected, "REMOTE", "The remote address; 0.0.0.0 or :: for a listener or a UDP endpoint");
    return [=](const line_sink&) { return owner_of(*local, *remote); };
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
