#pragma once

#include <functional>

#include "command_line.h"
#include "kvtip/adapters.hpp"

/// `NAME`, which may be left out: the name, GUID or interface index of an adapter. Returns what lists the
/// adapters, of which there is only that one if it is given. The list throws `explained_error` if it is empty
/// because of that.
std::function<kvtip::adapter_list(const kvtip::adapter_options&)> add_adapter(parameters& expected);
