#pragma once

// Values of the C interface from their text, and its results as text.

#include "kvtip/kvtip.h"
#include "text.h"

#include <memory>
#include <span>
#include <tuple>

namespace scripted {

/// A value of the C interface; none if the text is not one.
inline kvtip_address address_of(const char* text) {
    return kvtip::address::parse(text).value_or(kvtip::address()).native();
}
inline kvtip_endpoint endpoint_of(const char* text) {
    return kvtip::endpoint::parse(text).value_or(kvtip::endpoint()).native();
}

/// Calls a function with these arguments and a place for its result, which is freed. Returns the code and the
/// result as `show` writes it: of a list, what is missing and each row.
template <class Show, class... Parameters, class... Given>
std::string result_of(Show show, std::uint32_t (*function)(Parameters...), const Given&... given) {
    std::remove_pointer_t<std::tuple_element_t<sizeof...(Given), std::tuple<Parameters...>>> result = nullptr;
    std::string shown = text(function(given..., &result));
    const std::unique_ptr<std::remove_pointer_t<decltype(result)>, decltype(&kvtip_free)> owner(result,
                                                                                                kvtip_free);
    if (result == nullptr) {
        return shown;
    }
    if constexpr (requires { result->rows; }) {
        shown += result->missing == 0 ? "" : " missing " + text(result->missing);
        for (const auto* row : std::span(result->rows, result->count)) {
            shown += " " + show(*row);
        }
        return shown;
    } else {
        return shown + " " + show(*result);
    }
}

} // namespace scripted
