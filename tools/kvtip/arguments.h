#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "ip/address.h"

// Arguments that several subcommands take. What is added here has its value once the command line is parsed.

/// `--family`: gives the address family, `ip::family_none` for any.
std::function<unsigned short()> add_family(CLI::App& options);

/// A name or an address that must be there and not be empty: an empty one would stand for the own host.
/// It may be left out only where `otherwise` is something to take then.
std::shared_ptr<std::string> add_host(CLI::App& options, const char* name, const char* description,
                                      const char* otherwise = "");

/// The addresses of such a host, at least one, with port 0. Throws `kvt::exceptions::error`.
std::vector<ip::saddr> look_up(const std::string& host, unsigned short family = ip::family_none);
ip::saddr look_up_first(const std::string& host, unsigned short family);

/// The address that such an argument writes. Throws `CLI::ParseError` where it writes none.
ip::addr parse_address(const std::string& text, const char* name);

/// The same address with port 0.
ip::saddr socket_address(const ip::addr& address);
