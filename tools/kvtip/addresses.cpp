#include <vector>

#include "arguments.h"
#include "check.h"
#include "command.h"
#include "ip/adapter_enumerator.h"
#include "output.h"

namespace {

json list_addresses(unsigned short family) {
    std::vector<ip::addr> found;
    check(ip::localaddresses(found, family), "localaddresses");
    return list_json(found);
}

operation prepare(CLI::App& options) {
    return [family = add_family(options)](const line_sink&) { return list_addresses(family()); };
}

} // namespace

const command addresses_command = {"addresses", "List the IP addresses of all network adapters", prepare,
                                   list_text};
