#include "corpus.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <functional>
#include <random>

namespace {

constexpr std::size_t corpus_size = 16384;

/// Numbers that do not depend on the standard library's choice of distributions.
class numbers {
public:
    explicit numbers(unsigned seed) : engine_(seed) {}
    unsigned below(unsigned limit) { return static_cast<unsigned>(engine_() >> 16) % limit; }

private:
    std::mt19937 engine_;
};

using groups = std::array<unsigned, 8>;

sample written_by_the_system(int family, const std::array<std::uint8_t, 16>& bytes) {
    sample result{bytes};
    inet_ntop(family, bytes.data(), result.text.data(), static_cast<socklen_t>(result.text.size()));
    result.length = std::strlen(result.text.data());
    return result;
}

sample ipv6_sample(const groups& values) {
    std::array<std::uint8_t, 16> bytes;
    for (std::size_t group = 0; group < values.size(); ++group) {
        bytes[2 * group] = static_cast<std::uint8_t>(values[group] >> 8);
        bytes[2 * group + 1] = static_cast<std::uint8_t>(values[group]);
    }
    return written_by_the_system(AF_INET6, bytes);
}

corpus generate(unsigned seed, const std::function<sample(numbers&)>& next) {
    numbers random(seed);
    corpus samples(corpus_size);
    std::generate(samples.begin(), samples.end(), [&] { return next(random); });
    return samples;
}

groups mapped_groups(numbers& random) {
    return {0, 0, 0, 0, 0, 0xffff, random.below(0x10000), random.below(0x10000)};
}

/// Groups of one to four digits, three times in four with a zero run among them.
groups mixed_groups(numbers& random) {
    groups values;
    for (unsigned& value : values) {
        const unsigned greatest = 0xffffU >> (4 * random.below(4));
        value = 1 + random.below(greatest);
    }
    if (random.below(4) != 0) {
        const unsigned first = random.below(8);
        const unsigned length = 1 + random.below(8 - first);
        std::fill_n(values.begin() + first, length, 0U);
    }
    return values;
}

} // namespace

corpus ipv4_addresses() {
    return generate(4, [](numbers& random) {
        std::array<std::uint8_t, 16> bytes{};
        for (int i = 0; i < 4; ++i) {
            bytes[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(random.below(256));
        }
        return written_by_the_system(AF_INET, bytes);
    });
}

corpus ipv6_mixed_addresses() {
    return generate(6, [](numbers& random) {
        const bool mapped = random.below(8) == 0;
        return ipv6_sample(mapped ? mapped_groups(random) : mixed_groups(random));
    });
}

corpus ipv6_full_addresses() {
    return generate(16, [](numbers& random) {
        groups values;
        for (unsigned& value : values) {
            value = 0x1000 + random.below(0xf000);
        }
        return ipv6_sample(values);
    });
}

corpus mixed_family_addresses() {
    corpus samples = ipv4_addresses();
    const corpus ipv6 = ipv6_mixed_addresses();
    numbers random(46);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (random.below(2) != 0) {
            samples[i] = ipv6[i];
        }
    }
    return samples;
}
