#pragma once

// The library as a whole: its version, its start, and what the system offers it.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kvtip/detail/call.hpp"
#include "kvtip/detail/named.hpp"

namespace kvtip {
inline namespace v1 {

/// The version of the DLL, in the form of `KVTIP_VERSION`.
inline std::uint32_t version() noexcept {
    return kvtip_version();
}

/// Keeps the system's libraries loaded and started while it lives, for speed. No operation needs one.
class [[nodiscard]] started {
public:
    started() noexcept = default;
    ~started() { stop(); }
    started(started&& other) noexcept : is_started_(std::exchange(other.is_started_, false)) {}
    started& operator=(started&& other) noexcept {
        if (this != &other) {
            stop();
            is_started_ = std::exchange(other.is_started_, false);
        }
        return *this;
    }

    explicit operator bool() const noexcept { return is_started_; }
    /// Stops now. Nothing happens without a start.
    void stop() noexcept {
        if (std::exchange(is_started_, false)) {
            kvtip_stop();
        }
    }

private:
    friend started start(std::error_code& error);

    bool is_started_ = false;
};

/// Starts the library until the result is destroyed: `kvtip_start`.
inline started start(std::error_code& error) {
    started result;
    detail::report(kvtip_start(), error);
    result.is_started_ = !error;
    return result;
}

/// What the system has in place of an entry.
enum class entry_state : std::uint32_t {
    bound = KVTIP_ENTRY_BOUND,
    missing = KVTIP_ENTRY_MISSING,
    substituted = KVTIP_ENTRY_SUBSTITUTED
};

/// The names of these values; `to_string` is empty for any other.
inline constexpr detail::named<entry_state> entry_state_names[] = {{entry_state::bound, "bound"},
                                                                   {entry_state::missing, "missing"},
                                                                   {entry_state::substituted, "substituted"}};
constexpr std::string_view to_string(entry_state value) noexcept {
    return detail::name_in<entry_state>(entry_state_names, value);
}

/// An entry of a system library that the library looks up by its name.
struct entry {
    std::string module;
    std::string name;
    std::string effect; ///< one sentence: what does not work without the entry, or works in another way
    bool required = false;
    entry_state state = entry_state::missing;
};

/// Lists every entry that the library uses, and whether this system has it: `kvtip_entries`.
inline std::vector<entry> entries(std::error_code& error) {
    const auto list = detail::fetch<kvtip_entry_list>(error, [](auto** out) { return kvtip_entries(out); });
    return detail::rows_of<entry>(list.get(), [](const kvtip_entry& row) {
        return entry{row.module, row.name, row.effect, row.required != 0,
                     static_cast<entry_state>(row.state)};
    });
}

#if KVTIP_HAS_EXCEPTIONS
inline started start() {
    return detail::or_throw("kvtip::start", [](std::error_code& error) { return start(error); });
}

inline std::vector<entry> entries() {
    return detail::or_throw("kvtip::entries", [](std::error_code& error) { return entries(error); });
}
#endif

} // namespace v1
} // namespace kvtip
