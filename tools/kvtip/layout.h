#pragma once

#include <span>
#include <string>
#include <string_view>

#include "value.h"

// How results are laid out for people.

/// Text as it is, "-" for null, anything else as in JSON.
std::string plain_text(const value& content);

/// Whole milliseconds, of which 0 is less than one.
std::string milliseconds_text(const value& milliseconds);

/// A line for each row, with its member `member`; the line `none` if there is no row.
std::string list_text(const value& rows, std::string_view member, std::string_view none);

/// The member `member` of each row.
value members_of(const value& rows, std::string_view member);

/// An endpoint's address and port as one text.
std::string endpoint_text(const value& endpoint);

/// Appends "  label    text": for a list a line for each element, nothing for null.
void append_field(std::string& text, std::string_view label, const value& content);

/// A column of a table: a member of each row, which is an object.
struct column {
    const char* heading;
    const char* member;
    std::string (*text)(const value& content) = plain_text; ///< not called for null
};

/// Rows in aligned columns under their headings; the line `none` if there is no row.
std::string table_text(const value& rows, std::span<const column> columns, std::string_view none);
