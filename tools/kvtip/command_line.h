#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "command.h"
#include "failure.h"

namespace CLI {
class App;
}

/// The options ("--name") and arguments ("NAME") that a subcommand expects. What they refer to gets its value
/// when the command line is parsed. An argument must be given, and an option shows its default, except where
/// the function says otherwise.
class parameters {
public:
    explicit parameters(CLI::App& parser) : parser_(parser) {}

    void add_flag(const char* name, bool& given, const char* description);

    /// A whole number from `least` to `most`.
    void add_number(const char* name, std::uint32_t& number, const char* description, std::uint32_t least,
                    std::uint32_t most);
    /// The same, without a default.
    void add_number(const char* name, std::optional<std::uint32_t>& number, const char* description,
                    std::uint32_t least, std::uint32_t most);

    /// A number of seconds above 0, without a default.
    void add_seconds(const char* name, double& seconds, const char* description, unsigned most);

    /// One of a few words. Without a default if `choice` is empty.
    void add_choice(const char* name, std::string& choice, const char* description,
                    const std::vector<std::string>& choices);

    /// Text that is not empty. It may be left out if `text` is its default.
    void add_text(const char* name, std::string& text, const char* description);

    /// The same, without a default.
    void add_text(const char* name, std::optional<std::string>& text, const char* description);

    /// One text or more, none of which is empty.
    void add_texts(const char* name, std::vector<std::string>& texts, const char* description);

    /// Two options of which only one may be given.
    void exclude(const char* one, const char* other);

private:
    CLI::App& parser_;
};

/// What a command line asks for.
struct request {
    const command* chosen = nullptr;
    operation work;
    bool as_json = false;
    std::string help; ///< only this is to be printed, unless it is empty
};

/// Parses a command line. Throws `usage_error`, with `chosen` and `as_json` in `asked` as far as they are known
/// by then.
void parse(std::span<const command* const> commands, std::vector<std::string> arguments, request& asked);

/// The work of one subcommand with its arguments, separated by blanks. Throws `usage_error`.
operation prepare(const command& which, const std::string& arguments);
