#include "adapter_choice.h"

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "failure.h"

namespace {

constexpr std::uint32_t not_found = 1168; // ERROR_NOT_FOUND

kvtip::adapter_list list(const std::optional<std::string>& name, const kvtip::adapter_options& options) {
    std::error_code error;
    const std::uint32_t index = name ? kvtip::scope(*name, error) : 0;
    if (error && error.value() != not_found) {
        throw std::system_error(error);
    }
    kvtip::adapter_list adapters = kvtip::adapters(options);
    if (name) {
        std::erase_if(adapters.rows, [=](const kvtip::adapter& each) {
            return index == 0 || (each.index != index && each.ipv6_index != index);
        });
        if (adapters.empty()) {
            throw explained_error(not_found, "there is no adapter '" + *name + "'" +
                                                 (options.up ? " that is up" : "") +
                                                 "; 'kvtip adapters' lists all");
        }
    }
    return adapters;
}

} // namespace

std::function<kvtip::adapter_list(const kvtip::adapter_options&)> add_adapter(parameters& expected) {
    const auto name = std::make_shared<std::optional<std::string>>();
    expected.add_text("NAME", *name, "An adapter's name, GUID or interface index");
    return [name](const kvtip::adapter_options& options) { return list(*name, options); };
}
