#pragma once

#include <functional>
#include <memory>
#include <string>

#include "command_line.h"
#include "kvtip/address.hpp"
#include "kvtip/canceller.hpp"
#include "kvtip/connections.hpp"

// Arguments that several subcommands take. What is added here has its value once the command line is parsed.

/// `--family`: returns the address family, none for any.
std::function<kvtip::family()> add_family(parameters& expected);

/// `--tcp` and `--udp`: returns the protocol, any without either.
std::function<kvtip::protocol()> add_protocol(parameters& expected);

/// A name or an address. It must not be empty, since an empty one would stand for this host. It may be left
/// out only if there is a `fallback`.
std::shared_ptr<std::string> add_host(parameters& expected, const char* name, const char* description,
                                      const char* fallback = "");

/// The index of the interface with that name or index. Throws `usage_error` if there is no such interface.
std::uint32_t find_interface(const std::string& name);

/// The text of an address or endpoint, in which the scope is a number instead of an interface's name. Throws
/// `usage_error` if there is no such interface. Text without a scope stays as it is.
std::string with_numeric_scope(const std::string& text);

/// Throws `usage_error` for an address that is no destination without an interface, as fe80::1 is not.
void check_scope(const kvtip::address& destination);

/// The best address of a host to which something is sent. Throws `std::system_error` and `usage_error`.
kvtip::address find_address(const std::string& host, kvtip::family family,
                            const kvtip::canceller* cancel = nullptr);

/// The address that the argument `name` consists of; its scope may be the name of an interface. Throws
/// `usage_error` if it is not an address.
kvtip::address parse_address(const std::string& text, const char* name);
