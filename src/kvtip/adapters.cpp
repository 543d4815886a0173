// Adapters, and the scope that an adapter's name stands for.

#include <algorithm>
#include <charconv>
#include <cwctype>
#include <span>
#include <string>
#include <string_view>

#include "ip/detail/helper.h"
#include "kvtip/adapter_sources.h"
#include "kvtip/boundary.h"
#include "kvtip/encoding.h"
#include "kvtip/options.h"
#include "kvtip/system_entries.h"

namespace kvtip::library {

namespace {

std::uint32_t list_selected(const selection& wanted, adapter_rows& rows) {
    const ip::detail::helper& helper = ip::detail::the_helper();
    if (helper.is_version_6_or_later() && helper.iphlpapi.GetAdaptersAddresses != nullptr) {
        const std::uint32_t code = list_newer_adapters(wanted, rows);
        if (code == 0 || code == ERROR_NOT_ENOUGH_MEMORY) {
            return code;
        }
    }
    return list_older_adapters(wanted, rows);
}

} // namespace

std::uint32_t list_adapters(const kvtip_adapter_options& options, bool with_device_ids, adapter_rows& rows) {
    adapter_details details;
    return list_selected(
        {options.family, options.up != 0, with_device_ids, options.details != 0 ? &details : nullptr}, rows);
}

std::uint32_t list_adapters(adapter_details& details, adapter_rows& rows) {
    return list_selected({0, false, false, &details}, rows);
}

const kvtip_adapter* find_adapter(const kvtip_adapter_list& adapters, std::uint32_t interface_index,
                                  std::uint32_t family) {
    const std::span rows(adapters.rows, adapters.count);
    const auto found = std::find_if(rows.begin(), rows.end(), [=](const kvtip_adapter* adapter) {
        return index_for(*adapter, family) == interface_index;
    });
    return found == rows.end() ? nullptr : *found;
}

namespace {

/// A number from 1 to 4294967295, without leading zeros; otherwise 0.
std::uint32_t to_scope(std::string_view text) {
    std::uint32_t scope = 0;
    const char* end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, scope);
    return text.starts_with('0') || read.ec != std::errc() || read.ptr != end ? 0 : scope;
}

bool is_same_in_any_case(const std::wstring& one, const std::wstring& other) {
    if (const auto compare = entries().CompareStringOrdinal) {
        return compare(one.c_str(), -1, other.c_str(), -1, TRUE) == CSTR_EQUAL;
    }
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](wchar_t a, wchar_t b) { return std::towlower(a) == std::towlower(b); });
}

std::uint32_t find_scope(const std::wstring& name, std::uint32_t& scope) {
    adapter_rows adapters;
    if (const std::uint32_t code = list_adapters({}, false, adapters)) {
        return code;
    }
    std::wstring wide;
    for (const kvtip_adapter* adapter : std::span(adapters->rows, adapters->count)) {
        for (const char* each : {adapter->name, adapter->guid}) {
            if (const std::uint32_t code = to_wide(each, wide)) {
                return code;
            }
            if (is_same_in_any_case(wide, name)) {
                scope = index_for(*adapter, 6);
                return 0;
            }
        }
    }
    return ERROR_NOT_FOUND;
}

} // namespace

} // namespace kvtip::library

using namespace kvtip::library;

uint32_t kvtip_adapters(const kvtip_adapter_options* options, const kvtip_adapter_list** adapters) noexcept {
    kvtip_adapter_options wanted;
    if (!clear(adapters) || !read_options(options, wanted) || !is_family(wanted.family) || wanted.up > 1 ||
        wanted.details > 1) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] {
        adapter_rows rows;
        const uint32_t code = list_adapters(wanted, true, rows);
        *adapters = rows.release();
        return code;
    });
}

uint32_t kvtip_scope(const char* text, uint32_t* scope) noexcept {
    if (!clear(scope) || text == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    *scope = to_scope(text);
    if (*scope != 0) {
        return 0;
    }
    return held([&]() -> uint32_t {
        std::wstring name;
        if (const uint32_t code = to_wide(text, name)) {
            return code;
        }
        return name.empty() ? ERROR_NOT_FOUND : find_scope(name, *scope);
    });
}
