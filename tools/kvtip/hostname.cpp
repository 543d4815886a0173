#include "command.h"
#include "kvtip/names.hpp"

namespace {

value local_name(const progress& /*show*/) {
    return {{"name", kvtip::host_name()}};
}

std::string text(const value& result) {
    return result["name"].text() + "\n";
}

} // namespace

const command hostname_command = {
    .name = "hostname",
    .summary = "Show this host's name",
    .examples = {"hostname", "hostname --json"},
    .prepare = [](parameters&) -> operation { return local_name; },
    .text = text,
};
