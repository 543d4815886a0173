#include "layout.h"

#include <algorithm>
#include <vector>

namespace {

/// The number of characters in UTF-8 text.
std::size_t length(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char unit) { return (unit & 0xC0) != 0x80; }));
}

/// Appends a cell to each line, two blanks after the longest line.
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

} // namespace

std::string plain_text(const value& content) {
    return content.is_null() ? "-" : content.is_text() ? content.text() : content.to_json();
}

std::string milliseconds_text(const value& milliseconds) {
    return (milliseconds == 0 ? "<1" : plain_text(milliseconds)) + " ms";
}

std::string list_text(const value& rows, std::string_view member, std::string_view none) {
    std::string lines;
    for (const value& row : rows.elements()) {
        lines += plain_text(row[member]) + "\n";
    }
    return lines.empty() ? std::string(none) + "\n" : lines;
}

value members_of(const value& rows, std::string_view member) {
    value result = value::list();
    for (const value& row : rows.elements()) {
        result.add(row[member]);
    }
    return result;
}

std::string endpoint_text(const value& endpoint) {
    const std::string& address = endpoint["address"].text();
    const bool ipv6 = address.find(':') != std::string::npos;
    return (ipv6 ? "[" + address + "]" : address) + ":" + plain_text(endpoint["port"]);
}

void append_field(std::string& text, std::string_view label, const value& content) {
    constexpr std::size_t width = 14;
    if (content.is_list()) {
        for (const value& element : content.elements()) {
            append_field(text, label, element);
            label = "";
        }
    } else if (!content.is_null()) {
        text += "  ";
        text += label;
        text.append(width - std::min(width, label.size()), ' ');
        text += plain_text(content);
        text += '\n';
    }
}

std::string table_text(const value& rows, std::span<const column> columns, std::string_view none) {
    const std::vector<value>& elements = rows.elements();
    if (elements.empty()) {
        return std::string(none) + "\n";
    }
    std::vector<std::string> lines(elements.size() + 1);
    for (const column& each : columns) {
        std::vector<std::string> cells{each.heading};
        for (const value& row : elements) {
            const value& content = row[each.member];
            cells.push_back(content.is_null() ? plain_text(content) : each.text(content));
        }
        append_column(lines, cells);
    }
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}
