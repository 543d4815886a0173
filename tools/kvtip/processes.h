#pragma once

#include <map>
#include <string>

#include "value.h"

/// The names of the programs that ran when this object was made.
class process_names {
public:
    process_names();

    /// The program's file name; null where the system does not know the process.
    value find(unsigned long pid) const;

private:
    std::map<unsigned long, std::string> names_;
};
