// Writes the unit test's texts and their addresses as the fuzzers' first inputs, into the subfolders
// "parse" and "format" of the folder given. What those held is removed: every run starts from the same.

#include "address_text_cases.h"

#include <arpa/inet.h>
#include <filesystem>
#include <fstream>
#include <string>

int main(int argc, char** argv) {
    const std::filesystem::path folder = argc > 1 ? argv[1] : "seeds";
    for (const char* fuzzer : {"parse", "format"}) {
        std::filesystem::remove_all(folder / fuzzer);
        std::filesystem::create_directories(folder / fuzzer);
    }
    auto add = [&, count = 0](const char* fuzzer, std::string_view seed) mutable {
        std::ofstream file(folder / fuzzer / std::to_string(count++), std::ios::binary);
        file.exceptions(std::ios::failbit | std::ios::badbit);
        file << seed << std::flush;
    };
    for (const char* text : address_text::refused)
        add("parse", text);
    for (const auto& [text, address] : address_text::readings) {
        char bytes[16] = {};
        add("parse", text);
        add("parse", address);
        if (inet_pton(AF_INET, address, bytes) == 1 || inet_pton(AF_INET6, address, bytes) == 1)
            add("format", {bytes, sizeof bytes});
    }
}
