#pragma once

// Enumerations with names.

#include <ostream>
#include <span>
#include <string_view>
#include <type_traits>

namespace kvtip {
inline namespace v1 {
namespace detail {

template <class Value>
struct named {
    Value value;
    std::string_view name;
};

/// The name of a value; empty for one that is not in the table.
template <class Value>
constexpr std::string_view name_in(std::span<const named<Value>> names, Value value) noexcept {
    for (const named<Value>& each : names) {
        if (each.value == value) {
            return each.name;
        }
    }
    return {};
}

template <class Enumeration>
concept has_names = std::is_enum_v<Enumeration> && requires(Enumeration value) {
    { to_string(value) }
    noexcept;
};

} // namespace detail

/// Writes the name of a value; a number for one without a name, which a later DLL may return.
template <detail::has_names Enumeration>
std::ostream& operator<<(std::ostream& out, Enumeration value) {
    const std::string_view name = to_string(value);
    return name.empty() ? out << static_cast<std::underlying_type_t<Enumeration>>(value) : out << name;
}

} // namespace v1
} // namespace kvtip
