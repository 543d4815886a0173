#pragma once

// How an operation of the C++ interface calls its C function.

#include <chrono>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "kvtip/error.hpp"

namespace kvtip {
inline namespace v1 {

/// Waits without end.
inline constexpr std::chrono::milliseconds forever{KVTIP_FOREVER};

namespace detail {

struct freer {
    void operator()(const void* result) const noexcept { kvtip_free(result); }
};

inline constexpr std::uint32_t invalid_parameter = 87; // ERROR_INVALID_PARAMETER

/// A time to wait for a C function: a negative one does not wait, and one of more than about 49 days is
/// without end.
constexpr std::uint32_t to_wait(std::chrono::milliseconds time) noexcept {
    return time.count() <= 0               ? 0
           : time.count() >= KVTIP_FOREVER ? KVTIP_FOREVER
                                           : static_cast<std::uint32_t>(time.count());
}

/// A time-out in options, where 0 would stand for the default: the shortest one is 1 ms.
constexpr std::uint32_t to_timeout(std::chrono::milliseconds timeout) noexcept {
    return timeout.count() <= 0 ? 1 : to_wait(timeout);
}

/// A result that belongs to the caller.
template <class T>
using owned = std::unique_ptr<const T, freer>;

/// Sets `error` to a code, 0 included. Exhausted memory throws `std::bad_alloc`, as everywhere in C++.
inline void report(std::uint32_t code, std::error_code& error) {
#if KVTIP_HAS_EXCEPTIONS
    if (code == 8) { // ERROR_NOT_ENOUGH_MEMORY
        throw std::bad_alloc();
    }
#endif
    error.assign(static_cast<int>(code), category());
}

/// Calls a function that allocates its result: `call(const T**)`. The result is null on failure.
template <class T, class Call>
owned<T> fetch(std::error_code& error, Call call) {
    const T* result = nullptr;
    const std::uint32_t code = call(&result);
    owned<T> owner(result);
    report(code, error);
    return owner;
}

/// The rows of a list, each converted to `Row` by `convert(const CRow&)`; none for null.
template <class Row, class List, class Convert>
std::vector<Row> rows_of(const List* list, Convert convert) {
    std::vector<Row> rows;
    if (list != nullptr) {
        rows.reserve(list->count);
        for (std::size_t i = 0; i < list->count; ++i) {
            rows.push_back(convert(*list->rows[i]));
        }
    }
    return rows;
}

/// A metric; none if it is unknown.
inline std::optional<std::uint32_t> to_metric(std::uint32_t metric) {
    return metric == KVTIP_UNKNOWN_METRIC ? std::nullopt : std::optional(metric);
}

/// Text for a C function. Text with a zero byte in it is misuse: it would be cut there.
class c_text {
public:
    explicit c_text(std::string_view text) : text_(text) {}

    bool is_valid() const noexcept { return text_.find('\0') == std::string::npos; }
    const char* get() const noexcept { return text_.c_str(); }

private:
    std::string text_;
};

#if KVTIP_HAS_EXCEPTIONS
/// The throwing form of an operation: runs `operation(std::error_code&)`, and throws what it reports.
template <class Operation>
auto or_throw(const char* name, Operation operation) {
    std::error_code error;
    if constexpr (std::is_void_v<decltype(operation(error))>) {
        operation(error);
        if (error) {
            throw std::system_error(error, name);
        }
    } else {
        auto result = operation(error);
        if (error) {
            throw std::system_error(error, name);
        }
        return result;
    }
}
#endif

} // namespace detail
} // namespace v1
} // namespace kvtip
