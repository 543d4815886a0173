#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kvtip/block.h"

namespace kvtip::library {

/// The processes of this moment and the file names of their programs. The libraries must be held.
class process_list {
public:
    /// Reads the list. False if this system cannot list all processes. Throws `std::bad_alloc`.
    bool read();

    /// The name of a process; empty for one that is not in the list.
    std::wstring_view find(std::uint32_t id) const;

    /// Writes all names into a block, for `name_of` to return them there.
    void lay_out(block& out);
    const char* name_of(std::uint32_t id) const { return processes_.empty() ? "" : known_name_of(id); }

private:
    struct process {
        std::uint32_t id;
        std::wstring name;
        const char* text;
    };
    const char* known_name_of(std::uint32_t id) const;
    const process* record_of(std::uint32_t id) const;

    std::vector<process> processes_; ///< by identifier
};

} // namespace kvtip::library
