#include "command.h"
#include "kvtip/names.hpp"

namespace {

value local_name(const line_sink& /*show*/) {
    return {{"hostname", kvtip::host_name()}};
}

std::string text(const value& result) {
    return result["hostname"].text() + "\n";
}

} // namespace

const command hostname_command = {"hostname", "Show this host's name",
                                  [](parameters&) -> operation { return local_name; }, text};
