// Reading and writing address text: this library against the system's routines, asio and Boost.URL.
// Each is called in the fastest way that it offers, with input of the kind that it takes, made beforehand.
// The figure to compare is `per_address`, which comes from the CPU time of the thread, in its least
// repetition: that depends least on what else the machine does.

#include "address/format.h"
#include "address/parse.h"
#include "corpus.h"
#include "kvtip/address.hpp"

#include <arpa/inet.h>
#include <asio/ip/address.hpp>
#include <benchmark/benchmark.h>
#include <boost/url/ipv4_address.hpp>
#include <boost/url/ipv6_address.hpp>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

struct ipv4 {
    static constexpr int family = AF_INET;
    static constexpr std::size_t text_size = 16;
    static constexpr auto& parse = ip::detail::parse_ipv4;
    static constexpr auto& format = ip::detail::format_ipv4;
    using asio_address = asio::ip::address_v4;
    using url_address = boost::urls::ipv4_address;
    static asio_address parse_asio(const char* text, asio::error_code& error) {
        return asio::ip::make_address_v4(text, error);
    }
    static auto parse_url(std::string_view text) { return boost::urls::parse_ipv4_address(text); }
};

struct ipv6 {
    static constexpr int family = AF_INET6;
    static constexpr std::size_t text_size = 50;
    static constexpr auto& parse = ip::detail::parse_ipv6;
    static constexpr auto& format = ip::detail::format_ipv6;
    using asio_address = asio::ip::address_v6;
    using url_address = boost::urls::ipv6_address;
    static asio_address parse_asio(const char* text, asio::error_code& error) {
        return asio::ip::make_address_v6(text, error);
    }
    static auto parse_url(std::string_view text) { return boost::urls::parse_ipv6_address(text); }
};

/// Adds a line to the report: an operation, which returns whether it succeeded, on all inputs.
template <class Input, class Operation>
void add(const std::string& name, std::vector<Input> inputs, Operation operation) {
    const auto run = [inputs = std::move(inputs), operation](benchmark::State& state) {
        bool succeeded = true;
        for (auto _ : state) {
            for (const Input& input : inputs) {
                succeeded &= operation(input);
            }
        }
        if (!succeeded) {
            state.SkipWithError("an address was refused");
        }
        state.counters["per_address"] =
            benchmark::Counter(static_cast<double>(inputs.size()),
                               benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    };
    benchmark::RegisterBenchmark(name.c_str(), run)
        ->ComputeStatistics("least", [](const std::vector<double>& repetitions) {
            return *std::min_element(repetitions.begin(), repetitions.end());
        });
}

/// Adds the reader of the headers, which takes either family, with text of both kinds.
void add_header_parsers(const std::string& row, const corpus& samples) {
    const auto parse = [](const auto& text) {
        std::optional<kvtip::address> address = kvtip::address::parse(text);
        benchmark::DoNotOptimize(address);
        return address.has_value();
    };
    std::vector<std::u16string> utf16;
    for (const sample& each : samples) {
        utf16.emplace_back(each.view().begin(), each.view().end());
    }
    add(row + "/header", samples, [=](const sample& input) { return parse(input.view()); });
    add(row + "/header_utf16", utf16, parse);
}

template <class Family>
void add_parsers(const std::string& row, const corpus& samples) {
    add_header_parsers(row, samples);
    add(row + "/kvtip", samples, [](const sample& input) {
        std::uint8_t out[16];
        const int prefix = Family::parse(input.text.data(), out);
        benchmark::DoNotOptimize(out);
        return prefix >= 0;
    });
    add(row + "/inet_pton", samples, [](const sample& input) {
        std::uint8_t out[16];
        const int result = inet_pton(Family::family, input.text.data(), out);
        benchmark::DoNotOptimize(out);
        return result == 1;
    });
    add(row + "/asio", samples, [](const sample& input) {
        asio::error_code error;
        auto address = Family::parse_asio(input.text.data(), error);
        benchmark::DoNotOptimize(address);
        return !error;
    });
    add(row + "/boost_url", samples, [](const sample& input) {
        auto result = Family::parse_url({input.text.data(), input.length});
        benchmark::DoNotOptimize(result);
        return result.has_value();
    });
}

/// The samples as values of the type that another library's formatter takes.
template <class Value>
std::vector<Value> values(const corpus& samples) {
    std::vector<Value> result;
    for (const sample& each : samples) {
        typename Value::bytes_type bytes;
        std::copy_n(each.bytes.begin(), bytes.size(), bytes.begin());
        result.emplace_back(bytes);
    }
    return result;
}

/// The samples as values of the headers.
template <class Family>
std::vector<kvtip::address> header_values(const corpus& samples) {
    std::vector<kvtip::address> result;
    for (const sample& each : samples) {
        const auto& bytes = each.bytes;
        result.push_back(Family::family == AF_INET ? kvtip::address(bytes[0], bytes[1], bytes[2], bytes[3])
                                                   : kvtip::address(bytes));
    }
    return result;
}

template <class Family>
void add_formatters(const std::string& row, const corpus& samples) {
    add(row + "/header", header_values<Family>(samples), [](const kvtip::address& input) {
        auto text = input.text();
        benchmark::DoNotOptimize(text);
        return text.size() != 0;
    });
    add(row + "/kvtip", samples, [](const sample& input) {
        char out[Family::text_size];
        const std::size_t length = Family::format(input.bytes.data(), out);
        benchmark::DoNotOptimize(out);
        return length != 0;
    });
    add(row + "/inet_ntop", samples, [](const sample& input) {
        char out[Family::text_size];
        const char* const text = inet_ntop(Family::family, input.bytes.data(), out, sizeof out);
        benchmark::DoNotOptimize(out);
        return text != nullptr;
    });
    using asio_address = typename Family::asio_address;
    add(row + "/asio", values<asio_address>(samples), [](const asio_address& input) {
        std::string text = input.to_string();
        benchmark::DoNotOptimize(text);
        return !text.empty();
    });
    using url_address = typename Family::url_address;
    add(row + "/boost_url", values<url_address>(samples), [](const url_address& input) {
        char out[Family::text_size];
        const auto text = input.to_buffer(out, sizeof out);
        benchmark::DoNotOptimize(out);
        return !text.empty();
    });
}

/// Adds the readers of text of either family, which only asio has besides.
void add_address_parsers(const std::string& row, const corpus& samples) {
    add_header_parsers(row, samples);
    add(row + "/kvtip", samples, [](const sample& input) {
        ip::addr address;
        const bool succeeded = ip::detail::parse_address(input.text.data(), address);
        benchmark::DoNotOptimize(address);
        return succeeded;
    });
    add(row + "/asio", samples, [](const sample& input) {
        asio::error_code error;
        auto address = asio::ip::make_address(input.text.data(), error);
        benchmark::DoNotOptimize(address);
        return !error;
    });
}

} // namespace

int main(int argc, char** argv) {
    add_parsers<ipv4>("parse/ipv4", ipv4_addresses());
    add_parsers<ipv6>("parse/ipv6_mixed", ipv6_mixed_addresses());
    add_parsers<ipv6>("parse/ipv6_full", ipv6_full_addresses());
    add_address_parsers("parse/either_family", mixed_family_addresses());
    add_formatters<ipv4>("format/ipv4", ipv4_addresses());
    add_formatters<ipv6>("format/ipv6_mixed", ipv6_mixed_addresses());
    add_formatters<ipv6>("format/ipv6_full", ipv6_full_addresses());

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
