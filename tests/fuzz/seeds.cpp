// Writes the unit test's texts and addresses as the fuzzers' first inputs, into the subfolders "parse"
// and "format" of the folder given. What those held before is removed: every run starts from the same.

#include "address_text_cases.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <span>
#include <string>
#include <string_view>

namespace {

using namespace address_text;

class seed_folder {
public:
    explicit seed_folder(std::filesystem::path path) : path_(std::move(path)) {
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }

    void add(std::string_view content) {
        std::ofstream file(path_ / std::to_string(count_++), std::ios::binary);
        file.exceptions(std::ios::failbit | std::ios::badbit);
        file.write(content.data(), static_cast<std::streamsize>(content.size()));
    }

private:
    std::filesystem::path path_;
    int count_ = 0;
};

void write_seeds(const std::filesystem::path& folder) {
    seed_folder parse(folder / "parse");
    for (const parse_case& row : parse_cases)
        parse.add(row.text);
    for (const char* text : nine_group_texts)
        parse.add(text);

    seed_folder format(folder / "format");
    for (const std::span rows : {std::span<const format_case>(ipv4_format_cases), {ipv6_format_cases}})
        for (const format_case& row : rows) {
            parse.add(row.text);
            format.add({reinterpret_cast<const char*>(row.address.data()), row.address.size()});
        }
}

} // namespace

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::cerr << "usage: " << argv[0] << " <folder>\n";
        return 2;
    }
    write_seeds(argv[1]);
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
