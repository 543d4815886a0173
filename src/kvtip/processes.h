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

/// Finds the path of a process's program. Returns 0, also without a path for the processes that have no
/// program; 120 where the system lacks the calls; or the system's code. Throws `std::bad_alloc`.
std::uint32_t find_path(std::uint32_t process, std::wstring& path);

/// The paths of the programs of some processes, each asked for once. The libraries must be held.
class process_paths {
public:
    struct answer {
        const char* text = "";  ///< in the block
        std::uint32_t code = 0; ///< of `find_path`
    };

    /// Notes a process whose path is wanted.
    void add(std::uint32_t process) {
        if (paths_.empty() || paths_.back().process != process) {
            paths_.push_back({process, {}, {}});
        }
    }
    /// Asks for the paths. False if the system cannot know any. Throws `std::bad_alloc`.
    bool read();

    /// Writes all paths into a block, for `of` to return them there.
    void lay_out(block& out);
    answer of(std::uint32_t process) const { return paths_.empty() ? answer() : known_answer_of(process); }

private:
    struct path {
        std::uint32_t process;
        std::wstring found;
        answer shown;
    };
    answer known_answer_of(std::uint32_t process) const;

    std::vector<path> paths_; ///< after `read` by process, without duplicates
};

} // namespace kvtip::library
