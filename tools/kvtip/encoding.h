#pragma once

#include <string>
#include <string_view>

/// UTF-8 to UTF-16; what is not UTF-8 becomes U+FFFD.
std::wstring to_wide(std::string_view text);

/// UTF-16 to UTF-8; an unpaired surrogate becomes U+FFFD.
std::string to_utf8(std::wstring_view text);

/// A unit as an escape such as "\u001B".
std::string unit_escape(wchar_t unit);

/// Text from outside, safe to show: a terminal obeys control characters (C0, DEL and C1), and bidirectional
/// controls make text look like other text. Each of them becomes an escape such as "\u001B"; bytes that are
/// not UTF-8 become U+FFFD.
std::string printable(std::string_view text);
