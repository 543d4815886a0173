#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// What a subcommand found: null, a truth value, a number, text, a list, or an object, whose members stay in
/// the order in which they were added. No member is null.
class value {
public:
    struct member;

    value() = default;
    value(std::nullptr_t) {}
    value(const char* text) : content_(std::string(text)) {}
    value(std::string text) : content_(std::move(text)) {}
    value(bool truth) : content_(truth) {}
    template <std::integral Number>
    value(Number number) : content_(static_cast<std::int64_t>(number)) {}
    value(double number) : content_(number) {}
    value(std::vector<value> elements) : content_(std::move(elements)) {}
    value(std::initializer_list<member> members);

    // Compiled once, which keeps the many places that copy values small.
    value(const value& other);
    value(value&& other) noexcept;
    value& operator=(const value& other);
    value& operator=(value&& other) noexcept;
    ~value();

    /// A list without elements.
    static value list() { return std::vector<value>(); }

    /// An object without members.
    static value object() { return std::initializer_list<member>(); }

    bool is_null() const { return std::holds_alternative<std::nullptr_t>(content_); }
    bool is_text() const { return std::holds_alternative<std::string>(content_); }
    bool is_list() const { return std::holds_alternative<std::vector<value>>(content_); }
    bool operator==(const value& other) const;

    // These throw `std::bad_variant_access` for a value of another kind.

    bool truth() const { return std::get<bool>(content_); }
    const std::string& text() const { return std::get<std::string>(content_); }
    /// A whole number.
    std::int64_t number() const { return std::get<std::int64_t>(content_); }

    const std::vector<value>& elements() const { return std::get<std::vector<value>>(content_); }
    void add(value element) { std::get<std::vector<value>>(content_).push_back(std::move(element)); }

    /// A member of an object; null if the object has no such member.
    const value& operator[](std::string_view name) const;
    bool has(std::string_view name) const;
    /// Adds a member. What is unknown is absent: nothing is added if `content` is null.
    void add(std::string name, value content);

    /// As JSON on one line. All of it is ASCII: other characters in texts become escapes.
    std::string to_json() const;

    /// The same on several lines: one for each list and object that is short, otherwise one for each of its
    /// elements or members.
    std::string to_indented_json() const;

    /// The same value with every text in it made printable (see encoding.h).
    value with_printable_text() const;

private:
    struct object_content {
        std::vector<std::string> names;
        std::vector<value> values; ///< as many
        bool operator==(const object_content& other) const;
    };

    const value* find(std::string_view name) const;
    /// `line_start` begins each line; empty for all on one line.
    void append_json(std::string& json, const std::string& line_start) const;

    std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, std::vector<value>, object_content>
        content_ = nullptr;
};

struct value::member {
    std::string name;
    value content;
};
