#include <vector>

#include "arguments.h"
#include "command.h"
#include "ip/adapter_enumerator.h"
#include "kvt/exceptions/error.h"
#include "output.h"

namespace {

json list_addresses(unsigned short family) {
    std::vector<ip::addr> found;
    if (const unsigned long code = ip::localaddresses(found, family)) {
        throw kvt::exceptions::error(code, "localaddresses");
    }
    return list_json(found);
}

std::function<json()> prepare(CLI::App& options) {
    return [family = add_family(options)] { return list_addresses(family()); };
}

} // namespace

const command addresses_command = {"addresses", "List the IP addresses of all network adapters", prepare,
                                   list_text};
