#pragma once

// Address texts and what they read as: the unit test's tables and the fuzzer's seeds.

namespace address_text {

struct row {
    const char* text;
    /// As the library writes it, with the prefix length after it unless that is the greatest.
    const char* address = text;
};

/// What text with a ninth group in its middle leaves of 16 bytes 0xee: it is accepted but not read.
inline constexpr const char* unread = "eeee:eeee:eeee:eeee:eeee:eeee:eeee:eeee/0";

inline constexpr row readings[] = {
    // Octets are decimal; blanks and any number of zeros may stand before them.
    row{"0.0.0.0"}, row{"9.10.99.100"}, row{"101.109.200.255"}, row{"\t\v\f\r 1.2.3.4", "1.2.3.4"},
    row{"00000000000255.002.003.010", "255.2.3.10"},
    // Whatever follows the fourth octet is ignored, a dot and a prefix length after it too.
    row{"1.2.3.4:80", "1.2.3.4"}, row{"1.2.3.4\n", "1.2.3.4"}, row{"1.2.3.4.", "1.2.3.4"},
    row{"1.2.3.4.x", "1.2.3.4"}, row{"1.2.3.4./8", "1.2.3.4"}, row{"1.2.3.4/", "1.2.3.4"},
    row{"1.2.3.4/x", "1.2.3.4"},
    // With a prefix length octets may be left out, unless it covers a whole one of them.
    row{"1.2.3.4/0"}, row{"1.2.3.4/32", "1.2.3.4"}, row{"1.2.3.4/0024", "1.2.3.4/24"},
    row{"10/8", "10.0.0.0/8"}, row{"10/15", "10.0.0.0/15"}, row{"10.1/23", "10.1.0.0/23"},
    row{"10.1.2/31", "10.1.2.0/31"},
    // Groups are read with up to four digits of either case, and written without leading zeros.
    row{"1:12:123:1234:abcd:f0:f00:f"}, row{"ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
    row{"1:80:100:8000:1:80:100:8000"},
    row{"0123:4567:89ab:cdef:ABCD:EF:00f:1", "123:4567:89ab:cdef:abcd:ef:f:1"},
    // Zeros may be left out anywhere, a single group of them too.
    row{"::"}, row{"::8"}, row{"1::"}, row{"2001:db8::7:8"}, row{"::2:3:4:5:6:7:8"}, row{"1:2:3:4:5:6:7::"},
    // The longest run is written like that, a single group and the first of equal runs included.
    row{"0:0:0:0:0:0:0:0", "::"}, row{"0:0:0:0:0:0:0:1", "::1"}, row{"1:0:2:3:4:5:6:7", "1::2:3:4:5:6:7"},
    row{"1:0:0:2:0:0:3:4", "1::2:0:0:3:4"}, row{"1:0:2:0:0:3:4:5", "1:0:2::3:4:5"},
    row{"0:0:1:2:3:0:0:0", "0:0:1:2:3::"},
    // IPv4-mapped addresses are written with a tail, and only those.
    row{"::ffff:1.2.3.255"}, row{"::ffff:0:0", "::ffff:0.0.0.0"}, row{"::102:304"}, row{"::fffe:102:304"},
    row{"::1:ffff:102:304"}, row{"::1:0:ffff:102:304"},
    // Blanks are skipped; whatever follows a complete address is ignored.
    row{"\t\v\f\r ::1", "::1"}, row{"fe80::1%eth0", "fe80::1"}, row{"::\xff", "::"}, row{"1::.5.6", "1::"},
    row{"1:2:3:4:5:6:7:8x", "1:2:3:4:5:6:7:8"}, row{"1:2:3:4:5:6:7:8:x", "1:2:3:4:5:6:7:8"},
    // A malformed prefix length is ignored: too great, with a leading zero, with text after it.
    row{"1:2:3:4:5:6:7:8/64"}, row{"1:2:3:4:5:6:7:8:/64", "1:2:3:4:5:6:7:8/64"}, row{"1::/0"},
    row{"1::/128", "1::"}, row{"1::/129", "1::"}, row{"1::/4294967304", "1::"}, row{"1::/064", "1::"},
    row{"1::/00", "1::"}, row{"1::/64x", "1::"}, row{"1::/", "1::"},
    // A tail takes the room of two groups; octets may be left out, a prefix may follow.
    row{"1:2:3:4:5:6:7.8.9.255", "1:2:3:4:5:6:708:9ff"}, row{"1:2:3:4:5:6:7:8.9", "1:2:3:4:5:6:7:8"},
    row{"1::5.6", "1::506:0"}, row{"1::5..6", "1::500:600"}, row{"1::0.0.0.1", "1::1"},
    row{"1::5.6.7.8/96", "1::506:708/96"}, row{"1::5.6/24", "1::506:0/24"}, row{"1::5.../24", "1::500:0/24"},
    row{"1::5.6.7.8/", "1::506:708"}, row{"1::5.6.7.8/129", "1::506:708"},
    // Of a tail that ends otherwise or has a malformed octet the first digits are a group.
    row{"1::5.6.7.8x", "1::5"}, row{"1::5.6.7.8 ", "1::5"}, row{"1::5.", "1::5"}, row{"1::5.6.7.8.", "1::5"},
    row{"1::5.6.7.8.9", "1::5"}, row{"1::5.6.7.8./8", "1::5"}, row{"1::256.1", "1::256"},
    row{"1::5.256", "1::5"}, row{"1::05.6", "1::5"}, row{"1::5.00", "1::5"}, row{"1::5.a", "1::5"},
    row{"1::a.5", "1::a"}, row{"1:2:3:4:5:6::7.x", "1:2:3:4:5:6::7"},
    // A ninth group in the middle.
    row{"a:2:3:4:5:6:7:8:9:x", unread}, row{"a:2:3:4:5:6:7:8:9:a:b", unread},
    row{"a:2:3:4:5:6:7:8:9::", unread}, row{"a:2:3:4:5:6:7:8::9:a", unread}};

inline constexpr const char* refused[] = {
    // No address, a line feed in front.
    "", " ", "\n1.2.3.4", " \n1.2.3.4", "\n::1", ".1.2.3", "-1.2.3.4", "\xb2.1.2.3", "\xe1::", "g::", "/8",
    // Too few octets or too many, an empty one, one too great, one that would wrap around.
    "1.2.3", "1.2.3.", "1..2.3.4", "1.2.3x.4", "1.2.3.256", "4294967297.2.3.4", "1.2.3.4.5",
    // A prefix length that is malformed, too great, or covers an octet left out.
    "10/", "10./8", "10/16", "10.1.2/32", "1.2.3.4/33", "1.2.3.4/4294967304", "1.2.3.4/8x", "1:2/64",
    // Too few groups or too many, five digits, a colon too many.
    "1:2:3:4:5:6:7", "1:2:3:4:5:6:7:8:9", "1:2:3:4:5:6:7:8:9:", "12345::", "::00001", "::12345.1", ":",
    ":1::", ":::", "1:::2", "1:2:3:4:5:6:7:", "::1:", "1:2:3:4:5:6:7:8:",
    // Zeros twice, or left out where there is no room for them.
    "1::2::3", "1:2:3:4:5:6:7:8::", "1:2:3:4:5:6:7::8", "1:2:3:4:5:6::7.8", "1:2:3:4:5:6:7::8.9",
    // A tail in front, seven groups after a failed one.
    "1.2.3::", "1:2:3:4:5:6.7.8.9x", "1:2:3:4:5:6:7.8.9.10.11"};

} // namespace address_text
