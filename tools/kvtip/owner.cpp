#include <stdexcept>

#include <windows.h>

#include "arguments.h"
#include "check.h"
#include "command.h"
#include "ip/hlpapi.h"
#include "output.h"
#include "processes.h"

namespace {

json owner_of(const std::string& local, const std::string& remote) {
    const ip::saddr from = socket_address(parse_address(local, "LOCAL"));
    const ip::saddr to = socket_address(parse_address(remote, "REMOTE"));
    unsigned long pid = 0;
    const unsigned long code = ip::hlpapi::findPid(0, from, to, pid);
    if (code == ERROR_FILE_NOT_FOUND) { // the system's own text for it speaks of files
        throw std::runtime_error(std::to_string(code) + ": no connection between these addresses");
    }
    check(code, "findPid");
    return {{"local", address_json(from)},
            {"remote", address_json(to)},
            {"pid", number_json(pid)},
            {"process", process_names().find(pid)}};
}

operation prepare(CLI::App& options) {
    const auto local = add_host(options, "LOCAL", "The own address of the connection");
    const auto remote =
        add_host(options, "REMOTE", "The other address; 0.0.0.0 or :: for a listener or a UDP endpoint");
    return [=](const line_sink&) { return owner_of(*local, *remote); };
}

std::string text(const json& result) {
    std::string fields;
    append_field(fields, "pid", plain_text(result["pid"]));
    append_field(fields, "process", plain_text(result["process"]));
    return fields;
}

} // namespace

const command owner_command = {
    "owner", "Show the process that has the first connection between two addresses", prepare, text};
