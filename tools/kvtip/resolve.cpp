#include "arguments.h"
#include "command.h"
#include "output.h"

namespace {

operation prepare(CLI::App& options) {
    return [name = add_host(options, "NAME", "The host's name"),
            family = add_family(options)](const line_sink&) { return list_json(look_up(*name, family())); };
}

} // namespace

const command resolve_command = {"resolve", "List the addresses of a host", prepare, list_text};
