// Writes the unit tests' texts and their addresses into the folder given, as the fuzzers' first inputs.
// What the folder held is removed: every run starts from the same inputs.

#include "address_text_cases.h"
#include "strict_text_cases.h"

#include <algorithm>
#include <arpa/inet.h>
#include <filesystem>
#include <fstream>
#include <string>

int main(int argc, char** argv) {
    const std::filesystem::path folder = argc > 1 ? argv[1] : "seeds";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    auto add = [&, count = 0](std::string_view seed) mutable {
        std::ofstream file(folder / std::to_string(count++), std::ios::binary);
        file.exceptions(std::ios::failbit | std::ios::badbit);
        file << seed << std::flush;
    };
    for (const char* text : address_text::refused)
        add(text);
    for (const auto& [text, address] : address_text::readings) {
        char bytes[16] = {};
        add(text);
        add(address);
        if (inet_pton(AF_INET, address, bytes) == 1 || inet_pton(AF_INET6, address, bytes) == 1)
            add({bytes, sizeof bytes});
    }
    const auto add_texts = [&](const auto&... tables) {
        (std::ranges::for_each(tables, [&](const auto& row) { add(row.text); }), ...);
    };
    using namespace strict_text;
    add_texts(addresses, no_addresses, endpoints, no_endpoints, networks, no_networks, macs, no_macs);
}
