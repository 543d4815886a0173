#pragma once

// Texts that the strict readers take, with what is written for them, and texts that they refuse, with the
// reason: the tables of the unit tests, and seeds of the fuzzer.

#include <string>

namespace strict_text {

struct reading {
    std::string text;
    std::string written = text;
};

struct refusal {
    std::string text;
    const char* because;
};

inline const reading addresses[] = {
    {"0.0.0.0"},
    {"1.2.3.4"},
    {"255.255.255.255"},
    // RFC 4291, 2.2: the preferred form, the compressed one and the dotted one.
    {"ABCD:EF01:2345:6789:ABCD:EF01:2345:6789", "abcd:ef01:2345:6789:abcd:ef01:2345:6789"},
    {"FF01:0:0:0:0:0:0:101", "ff01::101"},
    {"2001:DB8::8:800:200C:417A", "2001:db8::8:800:200c:417a"},
    {"::"},
    {"::1"},
    {"0:0:0:0:0:0:13.1.68.3", "::d01:4403"},
    {"0:0:0:0:0:FFFF:129.144.52.38", "::ffff:129.144.52.38"},
    // RFC 5952, 2 and 4: one value, many texts, one canonical text.
    {"2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},
    {"2001:DB8:0:0:1::1", "2001:db8::1:0:0:1"},
    {"2001:db8:aaaa:bbbb:cccc:dddd:eeee:0001", "2001:db8:aaaa:bbbb:cccc:dddd:eeee:1"},
    {"2001:db8::1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
    {"2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},
    {"::1:2:3:4:5:6:7", "0:1:2:3:4:5:6:7"},
    {"1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0"},
    // RFC 6052, 2.4: a dotted tail after any prefix; only the mapped prefix is written with one.
    {"64:ff9b::192.0.2.33", "64:ff9b::c000:221"},
    {"2001:db8:122:344::192.0.2.33", "2001:db8:122:344::c000:221"},
    {"1:2:3:4:5:6:255.255.255.255", "1:2:3:4:5:6:ffff:ffff"},
    {"::2:3:4:5:6:1.2.3.4", "0:2:3:4:5:6:102:304"},
    {"::fffe:1.2.3.4", "::fffe:102:304"},
    {"::1:ffff:1.2.3.4", "::1:ffff:102:304"},
    // RFC 4007, 11.2: a scope, where there can be one.
    {"fe80::1234%1"},
    {"ff02::5678%5"},
    {"ff01::1%4294967295"},
    {"feff::1%3"},
    {"fe80::1.2.3.4%7", "fe80::102:304%7"},
    {"fe80::1%251"}, // scope 251: nothing is percent-decoded
    {"fe80:1111:2222:3333:4444:5555:6666:7777%4294967295"},
};

inline const refusal no_addresses[] = {
    {"", "it is empty"},
    {"0177.0.0.1", "leading zeros are octal to some readers, and decimal to others"},
    {"1.2.3.00", "an octet has a leading zero"},
    {"0x7f.0.0.1", "octets are decimal"},
    {"127.1", "octets are missing"},
    {"1.2.3.", "an octet is empty"},
    {"1..3.4", "an octet is empty"},
    {"1.2.3.256", "an octet is greater than 255"},
    {"4294967297.2.3.4", "an octet would wrap around"},
    {"1,2.3.4", "octets are separated by dots"},
    {"1.2.3.\xB2", "a character is not ASCII"},
    {"[::1]", "only endpoints have brackets"},
    {"192.0.002.1", "an octet has a leading zero"},
    {"192.0.2.00", "an octet has a leading zero"},
    {"192.0.2.256", "an octet is greater than 255"},
    {"192.0.2.1000", "an octet has four digits"},
    {"1.2345678.9.1", "an octet has seven digits"},
    {"192.0.2.", "an octet is empty"},
    {".192.0.2", "an octet is empty"},
    {".1.110.31", "an octet is empty"},
    {"192..0.2", "an octet is empty"},
    {"192.0.21", "an octet is missing"},
    {"192.0.2.1.1", "there is a fifth octet"},
    {"192.0.2/1", "octets are separated by dots"},
    {"192.0.2.:", "an octet is decimal"},
    {"192.0.2.1\xB1", "a character is not ASCII"},
    {":", "a colon is no group"},
    {"1:::2", "there are three colons in a row"},
    {":1:2:3:4:5:6:7", "one colon begins it"},
    {"1:2:3:4:5:6:7:", "one colon ends it"},
    {"1::2::3", "`::` stands there twice, so nobody knows for how many groups each"},
    {"1:2:3:4:5:6:7", "a group is missing"},
    {"1:2:3:4:5:6:7:8:9", "there is a ninth group"},
    {"1:2:3:4:5:6:7:8::", "`::` stands for no group"},
    {"12345::", "a group has five digits"},
    {"::g", "a group is hexadecimal"},
    {"::@", "a group is hexadecimal"},
    {"::`", "a group is hexadecimal"},
    {"::G", "a group is hexadecimal"},
    {std::string("::\x11", 3), "a group is hexadecimal"},
    {"2001:db8::1::", "`::` stands there twice"},
    {"2001:db8:::1", "there are three colons in a row"},
    {":2001:db8:0:0:0:0:1", "one colon begins it"},
    {"2001:db8:0:0:0:0:1:", "one colon ends it"},
    {"2001:db8:0:0:0:0:1", "a group is missing"},
    {"2001:db8:0:0:0:0:0:0:1", "there is a ninth group"},
    {"2001:db8::0:0:0:0:0:1", "`::` stands for no group"},
    {"2001:db8::00001", "a group has five digits"},
    {"20010:db8::1", "a group has five digits"},
    {"2001:db8::g", "a group is hexadecimal"},
    {"2001:db8::G", "a group is hexadecimal"},
    {"2001:db8::@", "a group is hexadecimal"},
    {"2001:db8::`", "a group is hexadecimal"},
    {"2001:db8::/", "a group is hexadecimal"},
    {std::string("2001:db8::\x11", 11), "a group is hexadecimal"},
    {"2001:db8::\xB1", "a character is not ASCII"},
    {"::1.2.3", "the dotted tail lacks an octet"},
    {"::1.2.3.4:5", "a group follows the dotted tail"},
    {"1.2.3.4::", "the dotted octets are not at the end"},
    {"::a.2.3.4", "the dotted tail is decimal"},
    {"1:2:3:4:5:6:7:1.2.3.4", "the dotted tail stands for two groups, and there is room for one"},
    {"1:2:3:4:5:6::1.2.3.4", "`::` stands for no group"},
    {"fe80::1%", "the scope is empty"},
    {"fe80::1%0", "scope 0 means that there is none"},
    {"fe80::1%01", "the scope has a leading zero"},
    {"fe80::1%4294967296", "the scope is greater than 4294967295"},
    {"fe80::1%18446744073709551617", "the scope would wrap around"},
    {"fe80::1%eth0", "the scope is a name: `kvtip_scope` turns it into a number"},
    {"::1%1", "::1 is complete without a scope"},
    {std::string(200, '1'), "it is too long"},
    {"0000:0000:0000:0000:0000:0000:0000:0000:0000:0000:0000:0000:0000", "it is too long"},
};

inline const reading endpoints[] = {
    {"192.0.2.1:80"},
    {"255.255.255.255:65535"},
    {"[2001:db8::1]:443"}, // RFC 5952, 6
    {"[::1.2.3.4]:1", "[::102:304]:1"},
    {"[::ffff:1.2.3.4]:8080"},
    {"[fe80::1%4]:80"},
    {"[fe80:1111:2222:3333:4444:5555:6666:7777%4294967295]:65535"},
    {"[fe80:1111:2222:3333:4444:5555:255.255.255.255%4294967295]:65535",
     "[fe80:1111:2222:3333:4444:5555:ffff:ffff%4294967295]:65535"}, // the longest text that is one
};

inline const refusal no_endpoints[] = {
    {"", "it is empty"},
    {"1.2.3.4", "there is no port"},
    {"1.2.3.4:", "the port is empty"},
    {"1.2.3.4:080", "the port has a leading zero"},
    {"1.2.3.4:65536", "the port is greater than 65535"},
    {"1.2.3.4:4294967297", "the port would wrap around"},
    {"1.2.3.4:http", "the port is a number"},
    {"[1.2.3.4]:80", "only IPv6 addresses have brackets"},
    {"::1:80", "an IPv6 address needs brackets: this is ::1:80 without a port"},
    {"[::1]", "there is no port"},
    {"[::1]:", "the port is empty"},
    {"[::1:80", "the bracket is not closed"},
    {"::1]:80", "the bracket is not opened"},
    {"[fe80::1]%4:80", "the scope belongs into the brackets"},
};

inline const reading networks[] = {
    {"0.0.0.0/0"},
    {"10.0.0.0/8"},
    {"192.0.2.128/25"},
    {"192.0.2.1/32"},
    {"2001:0DB8:0000:CD30::/60", "2001:db8:0:cd30::/60"}, // RFC 4291, 2.3
    {"fe80::/10"},
    {"::ffff:0:0/96", "::ffff:0.0.0.0/96"},
    {"2001:db8::1/128"},
    {"ffff:ffff:ffff:ffff:ffff:ffff:ffff:fffe/127"},
};

inline const refusal no_networks[] = {
    {"", "it is empty"},
    {"10.0.0.0", "there is no prefix length"},
    {"10.0.0.0/", "the prefix length is empty"},
    {"10.0.0.0/08", "the prefix length has a leading zero"},
    {"10.0.0.0/33", "the prefix length is greater than 32"},
    {"2001:db8::/129", "the prefix length is greater than 128"},
    {"10.0.0.0/4294967304", "the prefix length would wrap around"},
    {"10.0.0.0/255.0.0.0", "the prefix length is a number, not a mask"},
    {"10.0.0.1/8", "bits after the prefix are not 0: `network::of` clears them"},
    {"2001:db8::1/127", "a bit after the prefix is not 0"},
    {"fe80::%1/64", "a network has no scope"},
};

inline const reading macs[] = {
    {"02-00-5E-10-00-01"},
    {"02:00:5e:10:00:01", "02-00-5E-10-00-01"},
    {"aF-Fa-09-90", "AF-FA-09-90"},
    {"00"},
    {"02-00-5E-FF-FE-10-00-01"}, // EUI-64
    {"00-01-02-03-04-05-06-07-08-09-0A-0B-0C-0D-0E-0F-10-11-12-13-14-15-16-17-18-19-1A-1B-1C-1D-1E-1F"},
};

inline const refusal no_macs[] = {
    {"", "it is empty"},
    {"0", "a byte has one digit"},
    {"02-0-5E", "a byte has one digit"},
    {"02-000-5E", "a byte has three digits"},
    {"02005E100001", "bytes are separated by hyphens or colons"},
    {"-02-00", "it begins with a hyphen"},
    {"02-00-", "a hyphen ends it"},
    {"0G-00", "a byte is hexadecimal"},
    {"\xB0\xB2-00", "a character is not ASCII"},
    {"00-01-02-03-04-05-06-07-08-09-0A-0B-0C-0D-0E-0F-10-11-12-13-14-15-16-17-18-19-1A-1B-1C-1D-1E-1F-20",
     "it has 33 bytes"},
};

} // namespace strict_text
