#include "value.h"

#include <algorithm>
#include <charconv>

#include "encoding.h"

namespace {

std::string json_text(std::string_view text) {
    std::string json = "\"";
    for (const wchar_t unit : to_wide(text)) {
        if (unit < ' ' || unit > '~') {
            json += unit_escape(unit); // which is also one of JSON
        } else {
            json += unit == '"' || unit == '\\' ? "\\" : "";
            json += static_cast<char>(unit);
        }
    }
    return json + '"';
}

std::string number_text(auto number) {
    char text[32];
    return {text, std::to_chars(std::begin(text), std::end(text), number).ptr};
}

template <class... Visitors>
struct overloaded : Visitors... {
    using Visitors::operator()...;
};
template <class... Visitors>
overloaded(Visitors...) -> overloaded<Visitors...>;

} // namespace

value::value(std::initializer_list<member> members) : content_(object_content()) {
    for (const member& each : members) {
        add(each.name, each.content);
    }
}

value::value(const value& other) = default;
value::value(value&& other) noexcept = default;
value& value::operator=(const value& other) = default;
value& value::operator=(value&& other) noexcept = default;
value::~value() = default;

bool value::operator==(const value& other) const {
    return content_ == other.content_;
}

bool value::object_content::operator==(const object_content& other) const = default;

const value* value::find(std::string_view name) const {
    const auto& [names, values] = std::get<object_content>(content_);
    const auto found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? nullptr : &values[static_cast<std::size_t>(found - names.begin())];
}

const value& value::operator[](std::string_view name) const {
    static const value absent;
    const value* found = find(name);
    return found == nullptr ? absent : *found;
}

bool value::has(std::string_view name) const {
    return find(name) != nullptr;
}

void value::add(std::string name, value content) {
    if (content.is_null()) {
        return;
    }
    auto& [names, values] = std::get<object_content>(content_);
    names.push_back(std::move(name));
    values.push_back(std::move(content));
}

std::string value::to_json() const {
    std::string json;
    append_json(json, "");
    return json;
}

std::string value::to_indented_json() const {
    std::string json;
    append_json(json, "\n");
    return json;
}

void value::append_json(std::string& json, const std::string& line_start) const {
    constexpr std::size_t longest_line = 100;
    if (!line_start.empty()) {
        const std::string on_one_line = to_json();
        if (line_start.size() + on_one_line.size() <= longest_line) {
            json += on_one_line;
            return;
        }
    }
    const std::string next_line = line_start.empty() ? "" : line_start + "  ";
    const std::string separator = line_start.empty() ? ", " : "," + next_line;
    const auto append_all = [&](char open, const std::vector<value>& values, char close, auto append_name) {
        json += open;
        for (std::size_t i = 0; i < values.size(); ++i) {
            json += i == 0 ? next_line : separator;
            append_name(i);
            values[i].append_json(json, next_line);
        }
        json += (values.empty() ? "" : line_start) + close;
    };
    const auto append_list = [&](const std::vector<value>& list) {
        append_all('[', list, ']', [](std::size_t) {});
    };
    const auto append_object = [&](const object_content& object) {
        append_all('{', object.values, '}',
                   [&](std::size_t i) { json += json_text(object.names[i]) + ": "; });
    };
    std::visit(overloaded{[&](std::nullptr_t) { json += "null"; },
                          [&](bool truth) { json += truth ? "true" : "false"; },
                          [&](const std::string& text) { json += json_text(text); }, append_list,
                          append_object, [&](auto number) { json += number_text(number); }},
               content_);
}

value value::with_printable_text() const {
    value result = *this;
    if (auto* text = std::get_if<std::string>(&result.content_)) {
        *text = printable(*text);
        return result;
    }
    auto* values = std::get_if<std::vector<value>>(&result.content_);
    if (auto* object = std::get_if<object_content>(&result.content_)) {
        values = &object->values;
    }
    if (values != nullptr) {
        std::transform(values->begin(), values->end(), values->begin(),
                       [](const value& each) { return each.with_printable_text(); });
    }
    return result;
}
