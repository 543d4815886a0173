#include <vector>

#include "arguments.h"
#include "command.h"
#include "errors.h"
#include "ip/adapter_enumerator.h"
#include "layout.h"
#include "network_values.h"

namespace {

value list_addresses(unsigned short family) {
    std::vector<ip::addr> found;
    check(ip::localaddresses(found, family), "localaddresses");
    return address_list(found);
}

operation prepare(parameters& expected) {
    return [family = add_family(expected)](const line_sink&) { return list_addresses(family()); };
}

} // namespace

const command addresses_command = {"addresses", "List the IP addresses of all network adapters", prepare,
                                   list_text};
