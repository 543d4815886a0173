#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "command_line.h"
#include "ip/address.h"

// Arguments that several subcommands take. What is added here has its value once the command line is parsed.

/// `--family`: returns the address family, `ip::family_none` for any.
std::function<unsigned short()> add_family(parameters& expected);

/// A name or an address. It must not be empty, since an empty one would stand for this host. It may be left
/// out only if there is a `fallback`.
std::shared_ptr<std::string> add_host(parameters& expected, const char* name, const char* description,
                                      const char* fallback = "");

/// The addresses of such a host, at least one, with port 0. Throws `kvt::exceptions::error`.
std::vector<ip::saddr> find_addresses(const std::string& host, unsigned short family = ip::family_none);
ip::saddr find_first_address(const std::string& host, unsigned short family);

/// The address that the argument `name` consists of. Throws `usage_error` if it is not an address.
ip::addr parse_address(const std::string& text, const char* name);

/// The same address with port 0.
ip::saddr socket_address(const ip::addr& address);
