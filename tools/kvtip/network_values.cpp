#include "network_values.h"

value text_or_null(std::string_view text) {
    return text.empty() ? value() : value(std::string(text));
}

value number_or_null(std::int64_t number) {
    return number == 0 ? value() : value(number);
}

value address_value(const kvtip::address& address) {
    return text_or_null(address.text());
}

value address_row(const kvtip::address& address) {
    return {{"address", address_value(address)}};
}

value endpoint_value(const kvtip::endpoint& endpoint) {
    return {{"address", address_value(endpoint.address())}, {"port", endpoint.port()}};
}

value process_value(const kvtip::connection& connection) {
    return connection.process_name.empty() ? number_or_null(connection.process) : value(connection.process);
}
