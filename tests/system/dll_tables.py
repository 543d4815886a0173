#!/usr/bin/env python3
"""Checks what the linker put into the header and the tables of the DLL: dll_tables.py OBJDUMP DLL."""

import re
import subprocess
import sys
import unittest

exports = """\
ip::adapter_enumerator::fill_adapter(ip::_SFindAdapter&)
ip::adapter_enumerator::find_best(ip::_SFindAdapter&, ip::saddr const&, unsigned int)
ip::adapter_enumerator::find_best_gateway(ip::_SFindAdapter const&, ip::saddr const&, ip::saddr&)
ip::adapter_enumerator::find_current_profile(ip::_SCurrentProfile&, ip::saddr const&)
ip::adapter_enumerator::find_first(ip::_SFindAdapter&, unsigned int)
ip::adapter_enumerator::find_next_addr(ip::_SFindAddress&)
ip::adapter_enumerator::retrievednsservers(std::basic_string<char>&)
ip::detail::from_string({char|wchar_t} const*, ip::{_raw_addr4_no|_raw_addr6_no}&)
ip::detail::to_string(ip::{_raw_addr4_no|_raw_addr6_no} const&, {char|wchar_t}*, unsigned long long)
ip::dnsapi::addresses_from_name({char|wchar_t} const*, std::vector<ip::addr>&, unsigned short, unsigned long)
ip::dnsapi::names_from_address(ip::addr const&, std::vector<std::basic_string<{char|wchar_t}>>&, unsigned long)
ip::getbestinterface(ip::saddr const&, {unsigned int|ip::_SFindAdapter}&)
ip::hlpapi::findPid(unsigned long, ip::saddr const&, ip::saddr const&, unsigned long&)
ip::hlpapi::getConnections(std::vector<ip::hlpapi::_SIpConnection>&, unsigned long, unsigned short, unsigned long)
ip::hlpapi::getTcpConnections(std::vector<ip::hlpapi::_SIpConnection>&, unsigned short, unsigned long)
ip::hlpapi::getUdpConnections(std::vector<ip::hlpapi::_SIpConnection>&, unsigned short)
ip::hlpapi::getipnettable(std::vector<ip::hlpapi::_SIpNetRow>&, unsigned short)
ip::hlpapi::load()
ip::hlpapi::ping(ip::saddr const&, unsigned long, ip::hlpapi::_SPingReply&)
ip::hlpapi::ping(ip::saddr, ip::hlpapi::_SPingReply&, unsigned char, unsigned long, unsigned short, unsigned char, int)
ip::hlpapi::sendARP(ip::saddr4 const&, ip::saddr4 const&, ip::macaddr&)
ip::lib::address_family_supported(unsigned short)
ip::lib::is_ipv6_supported()
ip::local_address(ip::addr&, unsigned short)
ip::localaddresses(std::vector<ip::addr>&, unsigned short)
ip::macaddr::from_addr(ip::addr const&, ip::addr const*)
ip::membuffer::get(unsigned long long)
ip::winsock2::accept(ip::socket const&, ip::socket&, ip::addr&, int (*)(_WSABUF*, _WSABUF*, _QualityOfService*, _QualityOfService*, _WSABUF*, _WSABUF*, unsigned int*, unsigned long long), unsigned long long)
ip::winsock2::address_from_string(ip::addr&, {char const*, unsigned short|wchar_t const*})
ip::winsock2::address_to_string(std::basic_string<{char|wchar_t}>&, ip::addr const&)
ip::winsock2::bind(ip::socket const&, ip::saddr const&)
ip::winsock2::cleanup()
ip::winsock2::closesocket(ip::socket&)
ip::winsock2::connect(ip::socket const&, ip::saddr const&{|, timeval const*})
ip::winsock2::connectbyname(ip::socket const&, {char|wchar_t} const*, {char|wchar_t} const*, ip::addr*, ip::addr*, timeval const*)
ip::winsock2::ensure_af(unsigned short&)
ip::winsock2::getaddrinfo(char const*, std::vector<ip::addr>&, char const*, addrinfo*)
ip::winsock2::getaddrinfo(wchar_t const*, std::vector<ip::addr>&, wchar_t const*, addrinfoW*)
ip::winsock2::gethostname({char|wchar_t}*, int)
ip::winsock2::getlasterror()
ip::winsock2::getnameinfo(ip::saddr const&, std::basic_string<{char|wchar_t}>*, std::basic_string<{char|wchar_t}>*, int)
ip::winsock2::{getpeername|getsockname}(ip::socket const&, ip::saddr&)
ip::winsock2::getsockopt(ip::socket const&, int, int, char*, int*)
ip::winsock2::ioctlsocket(ip::socket const&, long, unsigned long*)
ip::winsock2::{listen|shutdown}(ip::socket const&, int)
ip::winsock2::poll(pollfd*, unsigned long, int)
ip::winsock2::recv(ip::socket const&, char*, int, int)
ip::winsock2::recvfrom(ip::socket const&, char*, int, ip::saddr&, int)
ip::winsock2::select(fd_set*, fd_set*, fd_set*, timeval const*, int)
ip::winsock2::send(ip::socket const&, char const*, int, int)
ip::winsock2::sendto(ip::socket const&, char const*, int, ip::saddr const&, int)
ip::winsock2::setsockopt(ip::socket const&, int, int, char const*, int)
ip::winsock2::socket(ip::socket&, int, int, unsigned short, _WSAPROTOCOL_INFOW*, unsigned int, unsigned long, bool)
ip::winsock2::start(WSAData&)
ip::{dnsapi|hlpapi|lib|membuffer}::free()
ip::{dnsapi|lib}::init()
"""


def expanded(line):
    """The line with each of the choices "{a|b}" in it, the same for equal ones."""
    choices = re.search(r"{(.*?)}", line)
    return [line] if not choices else [each for choice in choices[1].split("|")
                                       for each in expanded(line.replace(choices[0], choice))]


# Standard types without their defaulted parameters.
abbreviations = [
    (r"std::__cxx11::basic_string<(\w+), std::char_traits<\1>, std::allocator<\1> >", r"std::basic_string<\1>"),
    (r"std::vector<([^,]+), std::allocator<\1 ?> >", r"std::vector<\1>"),
]


def output(*command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True, **options).stdout


class Tables(unittest.TestCase):
    maxDiff = None
    dump = output(sys.argv[1], "-p", sys.argv[2])

    def test_exports_are_the_interface(self):
        names = re.findall(r"^\t\[ *\d+\] (\w+)$", self.dump, re.MULTILINE)
        demangled = output("c++filt", input="\n".join(names) + "\n")
        for pattern, short in abbreviations:
            demangled = re.sub(pattern, short, demangled)
        self.assertEqual(sorted(demangled.splitlines()),
                         sorted(each for line in exports.splitlines() for each in expanded(line)))
        self.assertEqual(self.dump.count("+base["), len(names), "exports without a name")

    def test_imports_are_of_system_libraries(self):
        blocks = [block.split("\n\n")[0].split() for block in self.dump.split("DLL Name: ")[1:]]
        imports = {module: names for module, *_, names in ((b[0], b[7::3]) for b in blocks)}
        self.assertEqual(sorted(imports), ["ADVAPI32.dll", "IPHLPAPI.DLL", "KERNEL32.dll", "msvcrt.dll"])
        self.assertEqual(imports["IPHLPAPI.DLL"],
                         ["GetAdaptersInfo", "GetBestInterface", "GetBestRoute", "GetNetworkParams"])

    def test_protections_are_on(self):
        flags = self.dump.split("DllCharacteristics")[1].split("SizeOf")[0].split()[1:]
        self.assertEqual(flags, ["HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"])


unittest.main(argv=sys.argv[:1])
