#include "failure.h"

#include <new>
#include <system_error>

#include "kvtip/error.hpp"
#include "layout.h"
#include "network_values.h"

value error_value(std::uint32_t code) {
    return error_value(code, kvtip::category().message(static_cast<int>(code)));
}

value error_value(std::uint32_t code, const std::string& message) {
    return {{"code", code}, {"name", text_or_null(kvtip_error_name(code))}, {"message", message}};
}

value current_error() {
    constexpr std::uint32_t not_enough_memory = 8; // ERROR_NOT_ENOUGH_MEMORY
    try {
        throw;
    } catch (const explained_error& error) {
        return error_value(error.code(), error.what());
    } catch (const std::system_error& error) {
        return error_value(static_cast<std::uint32_t>(error.code().value()));
    } catch (const std::bad_alloc&) {
        return error_value(not_enough_memory);
    } catch (const std::exception& error) {
        return {{"message", error.what()}};
    }
}

std::string error_text(const value& error) {
    const std::string& message = error["message"].text();
    return error["code"].is_null() ? message : plain_text(error["code"]) + ": " + message;
}
