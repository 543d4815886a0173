// Lists the mail servers of a domain, by default of localhost, in the order in which a sender tries them.

#include <kvtip/kvtip.hpp>

#include <algorithm>
#include <iostream>

int main(int argument_count, char** arguments) {
    std::error_code error;
    std::vector<kvtip::dns_record> servers =
        kvtip::dns_query(argument_count > 1 ? arguments[1] : "localhost", kvtip::dns_type::mx, {}, error);
    if (error) {
        std::cout << "no answer: " << kvtip::error_name(error) << ": " << error.message() << '\n';
        return 1;
    }
    std::stable_sort(servers.begin(), servers.end(),
                     [](const auto& one, const auto& other) { return one.priority < other.priority; });
    for (const kvtip::dns_record& each : servers) {
        std::cout << each.target << '\n';
    }
}
