#include "output.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

#include <windows.h>

#include "ip/address_text.h"
#include "kvt/exceptions/error.h"

namespace {

using kvt::exceptions::error;

/// Hands `text` piece by piece to `write(data, count, &written)`.
template <class Text, class Write>
void write_all(Text text, Write write) {
    constexpr std::size_t piece = 8192; // consoles refuse to take much at once
    while (!text.empty()) {
        DWORD written = 0;
        SetLastError(ERROR_WRITE_FAULT); // for a write that neither fails nor gets on
        if (!write(text.data(), static_cast<DWORD>(std::min(text.size(), piece)), &written) || written == 0) {
            throw error(GetLastError(), "write");
        }
        text.remove_prefix(written);
    }
}

/// A console gets UTF-16, which it shows right whatever its code page; all else gets the bytes.
void write(DWORD stream, std::string_view text) {
    const HANDLE handle = GetStdHandle(stream);
    DWORD mode = 0;
    if (GetConsoleMode(handle, &mode)) {
        const std::wstring wide = to_wide(text);
        write_all(std::wstring_view(wide), [=](const wchar_t* data, DWORD count, DWORD* written) {
            return WriteConsoleW(handle, data, count, written, nullptr);
        });
    } else {
        write_all(text, [=](const char* data, DWORD count, DWORD* written) {
            return WriteFile(handle, data, count, written, nullptr);
        });
    }
}

template <class Raw>
std::string address_text(const std::uint8_t* bytes) {
    Raw raw;
    std::memcpy(raw.bytes, bytes, sizeof raw.bytes);
    char text[46];
    if (!ip::detail::to_string(raw, text, sizeof text)) {
        throw error(GetLastError(), "address text");
    }
    return text;
}

/// The characters of UTF-8 text.
std::size_t length(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char unit) { return (unit & 0xC0) != 0x80; }));
}

/// Puts a cell at the end of each line, two blanks behind the longest that is there.
void append_column(std::vector<std::string>& lines, const std::vector<std::string>& cells) {
    std::size_t width = 0;
    for (const std::string& line : lines) {
        width = std::max(width, length(line));
    }
    for (std::size_t i = 0; i < lines.size(); ++i) {
        lines[i].append(width == 0 ? 0 : width + 2 - length(lines[i]), ' ');
        lines[i] += cells[i];
    }
}

bool is_control(wchar_t unit) {
    return unit < 0x20 || (unit >= 0x7F && unit <= 0x9F) || (unit >= 0x202A && unit <= 0x202E) ||
           (unit >= 0x2066 && unit <= 0x2069);
}

/// The text with "\uXXXX", which JSON reads too, for each control character other than `kept`.
std::string escape_controls(std::string_view text, wchar_t kept) {
    constexpr wchar_t digits[] = L"0123456789ABCDEF";
    std::wstring escaped;
    for (const wchar_t unit : to_wide(text)) {
        if (is_control(unit) && unit != kept) {
            escaped += {L'\\',
                        L'u',
                        digits[unit >> 12],
                        digits[unit >> 8 & 15],
                        digits[unit >> 4 & 15],
                        digits[unit & 15]};
        } else {
            escaped += unit;
        }
    }
    return to_utf8(escaped);
}

bool is_link_local(const std::uint8_t* address6) {
    return address6[0] == 0xFE && (address6[1] & 0xC0) == 0x80;
}

} // namespace

std::wstring to_wide(std::string_view text, unsigned code_page) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<std::size_t>(
        MultiByteToWideChar(code_page, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()))));
    return wide;
}

std::string to_utf8(std::wstring_view text) {
    const int size = static_cast<int>(text.size());
    std::string utf8(text.size() * 3, '\0'); // the most that a unit becomes
    utf8.resize(static_cast<std::size_t>(WideCharToMultiByte(
        CP_UTF8, 0, text.data(), size, utf8.data(), static_cast<int>(utf8.size()), nullptr, nullptr)));
    return utf8;
}

std::string system_message(unsigned long code) {
    wchar_t text[512];
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS |
                                      FORMAT_MESSAGE_MAX_WIDTH_MASK,
                                  nullptr, code, 0, text, static_cast<DWORD>(std::size(text)), nullptr);
    while (length > 0 && text[length - 1] <= L' ') {
        --length;
    }
    return length == 0 ? "unknown error" : to_utf8({text, length});
}

std::string printable(std::string_view text) {
    return escape_controls(text, L' ');
}

json with_printable_text(const json& document) {
    if (document.is_string()) {
        return printable(document.get_ref<const std::string&>());
    }
    json result = document;
    if (document.is_structured()) {
        std::transform(document.begin(), document.end(), result.begin(),
                       [](const json& element) { return with_printable_text(element); });
    }
    return result;
}

void print(std::string_view text) {
    write(STD_OUTPUT_HANDLE, text);
}

void complain(std::string_view text) noexcept {
    try {
        write(STD_ERROR_HANDLE, text);
    } catch (...) {
    }
}

json address_json(const ip::addr& address) {
    switch (address.family) {
    case ip::family_ipv4:
        return address_text<ip::_raw_addr4_no>(address.address);
    case ip::family_ipv6:
        return address_text<ip::_raw_addr6_no>(address.address);
    default:
        return nullptr;
    }
}

json address_json(const ip::saddr& address) {
    if (address.family == ip::family_ipv4) {
        return address_text<ip::_raw_addr4_no>(address.address4);
    }
    if (address.family != ip::family_ipv6) {
        return nullptr;
    }
    std::string text = address_text<ip::_raw_addr6_no>(address.address6);
    if (is_link_local(address.address6) && address.scope_id != 0) {
        text += "%" + std::to_string(address.scope_id);
    }
    return text;
}

json address_json(const ip::saddr4& address) {
    return address.family == ip::family_ipv4 ? json(address_text<ip::_raw_addr4_no>(address.address))
                                             : json();
}

std::string list_text(const json& list) {
    std::string lines;
    for (const json& element : list) {
        if (element.is_string()) {
            lines += element.get<std::string>() + "\n";
        }
    }
    return lines;
}

std::uint16_t swap_bytes(std::uint16_t port) {
    return static_cast<std::uint16_t>(port << 8 | port >> 8);
}

json endpoint_json(const ip::saddr& endpoint) {
    return {{"address", address_json(endpoint)}, {"port", swap_bytes(endpoint.port)}};
}

std::string endpoint_text(const json& endpoint) {
    const std::string address = endpoint["address"];
    const bool ipv6 = address.find(':') != std::string::npos;
    return (ipv6 ? "[" + address + "]" : address) + ":" + endpoint["port"].dump();
}

std::string title_of(const ip::_SFindAdapter& adapter) {
    return adapter.friendly_name.empty() ? adapter.name : to_utf8(adapter.friendly_name);
}

json text_json(std::wstring_view text) {
    return text.empty() ? json() : json(to_utf8(text));
}

json number_json(std::int64_t number) {
    return number == 0 ? json() : json(number);
}

json bytes_json(std::span<const std::uint8_t> bytes) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) {
            text += '-';
        }
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text.empty() ? json() : json(text);
}

json name_json(std::span<const number_name> names, std::uint32_t number) {
    const auto found = std::find_if(names.begin(), names.end(),
                                    [=](const number_name& each) { return each.number == number; });
    return found == names.end() ? json() : json(found->name);
}

std::string json_text(const json& document) {
    return escape_controls(document.dump(2, ' ', false, json::error_handler_t::replace), L'\n') + "\n";
}

void append_field(std::string& text, std::string_view label, const json& value) {
    constexpr std::size_t width = 14;
    if (value.is_array()) {
        for (const json& element : value) {
            append_field(text, label, element);
            label = "";
        }
    } else if (!value.is_null()) {
        text += "  ";
        text += label;
        text.append(width - std::min(width, label.size()), ' ');
        text += plain_text(value);
        text += '\n';
    }
}

std::string plain_text(const json& value) {
    return value.is_null() ? "-" : value.is_string() ? value.get<std::string>() : value.dump();
}

std::string table_text(const json& rows, std::span<const column> columns, std::string_view none) {
    if (rows.empty()) {
        return std::string(none) + "\n";
    }
    std::vector<std::string> lines(rows.size() + 1);
    for (const column& each : columns) {
        std::vector<std::string> cells{each.heading};
        for (const json& row : rows) {
            const json& value = row[each.member];
            cells.push_back(value.is_null() ? plain_text(value) : each.text(value));
        }
        append_column(lines, cells);
    }
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}
