// Asks the DNS for the addresses of a name, by default of localhost.

#include <kvtip/kvtip.hpp>

#include <iostream>

int main(int argument_count, char** arguments) {
    const char* name = argument_count > 1 ? arguments[1] : "localhost";
    for (const kvtip::dns_type type : {kvtip::dns_type::aaaa, kvtip::dns_type::a}) {
        std::error_code error;
        for (const kvtip::dns_record& each : kvtip::dns_query(name, type, {}, error)) {
            std::cout << each.name << "  " << each.address << "  for " << each.time_to_live.count() << " s\n";
        }
        if (error) {
            std::cout << "no answer: " << kvtip::error_name(error) << ": " << error.message() << '\n';
        }
    }
}
