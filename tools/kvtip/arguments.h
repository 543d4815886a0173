#pragma once

#include <functional>
#include <memory>
#include <string>

#include "command_line.h"
#include "kvtip/address.hpp"

// Arguments that several subcommands take. What is added here has its value once the command line is parsed.

/// `--family`: returns the address family, none for any.
std::function<kvtip::family()> add_family(parameters& expected);

/// A name or an address. It must not be empty, since an empty one would stand for this host. It may be left
/// out only if there is a `fallback`.
std::shared_ptr<std::string> add_host(parameters& expected, const char* name, const char* description,
                                      const char* fallback = "");

/// The first address of such a host. Throws `std::system_error`.
kvtip::address find_address(const std::string& host, kvtip::family family);

/// The address that the argument `name` consists of; its scope may be the name of an interface. Throws
/// `usage_error` if it is not an address.
kvtip::address parse_address(const std::string& text, const char* name);
