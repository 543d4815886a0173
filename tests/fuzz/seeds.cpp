// Writes the unit tests' texts and their addresses into the folder given, as the fuzzers' first inputs.
// What the folder held is removed: every run starts from the same inputs.

#include "address_text_cases.h"
#include "strict_text_cases.h"

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
    const auto add_texts = [&](const auto& rows) {
        for (const auto& row : rows)
            add(row.text);
    };
    using namespace strict_text;
    add_texts(addresses);
    add_texts(no_addresses);
    add_texts(endpoints);
    add_texts(no_endpoints);
    add_texts(networks);
    add_texts(no_networks);
    add_texts(macs);
    add_texts(no_macs);
}
