// The strict readers take just what the system takes for an address, and read it the same; text of every type
// of character reads the same; nothing is read past the end. What is written reads back as the same value.

#include "kvtip/address.hpp"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

/// Ends the fuzzer's run, which reports the input, unless the condition holds.
void check(bool condition) {
    if (!condition)
        std::abort();
}

template <class Value, class Char>
std::optional<Value> read_block(const std::uint8_t* data, std::size_t size) {
    const std::vector<Char> block(data, data + size); // of exactly the text's size
    return Value::parse(std::basic_string_view<Char>(block.data(), size));
}

template <class Value>
std::optional<Value> read_and_write_back(const std::uint8_t* data, std::size_t size) {
    const auto value = read_block<Value, char>(data, size);
    check((read_block<Value, char16_t>(data, size) == value));
    check((read_block<Value, wchar_t>(data, size) == value));
    if (value)
        check(Value::parse(value->text()) == value);
    return value;
}

void compare_with_the_system(const std::string& text, const std::optional<kvtip::address>& value) {
    const bool has_zero = text.find('\0') != std::string::npos;
    if (has_zero || text.find('%') != std::string::npos) {
        check(!has_zero || !value);
        return;
    }
    std::uint8_t bytes[16];
    const bool is_ipv4 = inet_pton(AF_INET, text.c_str(), bytes) == 1;
    const bool is_ipv6 = !is_ipv4 && inet_pton(AF_INET6, text.c_str(), bytes) == 1;
    check(value.has_value() == (is_ipv4 || is_ipv6));
    check(!value || (value->is_ipv6() == is_ipv6 && std::memcmp(value->data(), bytes, value->size()) == 0));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    compare_with_the_system({data, data + size}, read_and_write_back<kvtip::address>(data, size));
    read_and_write_back<kvtip::endpoint>(data, size);
    read_and_write_back<kvtip::network>(data, size);
    read_and_write_back<kvtip::mac>(data, size);

    std::array<std::uint8_t, 16> bytes{};
    std::copy_n(data, std::min(size, bytes.size()), bytes.begin());
    const kvtip::address address(bytes, bytes[15]);
    check(kvtip::address::parse(address.text()) == address);
    compare_with_the_system(address.without_scope().to_string(), address.without_scope());
    return 0;
}
