#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "command.h"
#include "ip/adapter_enumerator.h"

/// Text to UTF-16; the code page is UTF-8 if no other is given.
std::wstring to_wide(std::string_view text, unsigned code_page = 65001);

/// UTF-16 to UTF-8; a unit that is half of no pair becomes U+FFFD.
std::string to_utf8(std::wstring_view text);

/// The system's text for an error code, on one line.
std::string system_message(unsigned long code);

/// Text from outside, safe to show: a terminal obeys control characters (C0, DEL and C1), and bidirectional
/// controls make text look like other text. Each of them becomes an escape such as "\u001B".
std::string printable(std::string_view text);

/// The same for every text in a document.
json with_printable_text(const json& document);

/// Writes UTF-8 to standard output. Throws `kvt::exceptions::error` when not all of it can be written.
void print(std::string_view text);

/// Writes UTF-8 to standard error. Nobody is left to be told of a failure.
void complain(std::string_view text) noexcept;

/// The text of an address, with the scope of a link-local one that has one; null without an address. An
/// `ip::lib` must be initialised.
json address_json(const ip::addr& address);
json address_json(const ip::saddr& address);
json address_json(const ip::saddr4& address);

template <class Addresses>
json list_json(const Addresses& addresses) {
    json result = json::array();
    for (const auto& address : addresses) {
        result.push_back(address_json(address));
    }
    return result;
}

/// A line per text in the list; null for an address without text is left out.
std::string list_text(const json& list);

/// A port from network to host byte order, and back.
std::uint16_t swap_bytes(std::uint16_t port);

/// Address and port, the port as people write it, and the two as one text.
json endpoint_json(const ip::saddr& endpoint);
std::string endpoint_text(const json& endpoint);

/// The adapter's name as users know it, else its GUID.
std::string title_of(const ip::_SFindAdapter& adapter);

/// The text, null for none.
json text_json(std::wstring_view text);

/// The number; null for 0, where that says that there is none.
json number_json(std::int64_t number);

/// Bytes as "02-00-5E"; null for none.
json bytes_json(std::span<const std::uint8_t> bytes);

/// What a number of the system stands for.
struct number_name {
    unsigned number;
    const char* name;
};

/// The name; null for a number that is not in the table.
json name_json(std::span<const number_name> names, std::uint32_t number);

/// A JSON document of several lines, safe to show. Bytes that are not UTF-8 are replaced.
std::string json_text(const json& document);

/// Appends "  label    value": for an array a line per element, nothing for null, text as it is.
void append_field(std::string& text, std::string_view label, const json& value);

/// Text as it is, everything else as in JSON, "-" for null.
std::string plain_text(const json& value);

/// A column of a table: a member of each row, which is an object.
struct column {
    const char* heading;
    const char* member;
    std::string (*text)(const json& value) = plain_text; ///< not asked for null
};

/// Rows in aligned columns under their headings; the line `none` if there is no row.
std::string table_text(const json& rows, std::span<const column> columns, std::string_view none);
