#!/usr/bin/env python3
"""Checks what the linker put into the header and the tables of the DLL: dll_tables.py OBJDUMP DLL."""

import re
import subprocess
import sys
import unittest

exports = """\
ip::adapter_enumerator::fill_adapter(ip::_SFindAdapter&)
ip::adapter_enumerator::find_first(ip::_SFindAdapter&, unsigned int)
ip::adapter_enumerator::find_next_addr(ip::_SFindAddress&)
ip::detail::from_string(char const*, ip::_raw_addr4_no&)
ip::detail::from_string(char const*, ip::_raw_addr6_no&)
ip::detail::from_string(wchar_t const*, ip::_raw_addr4_no&)
ip::detail::from_string(wchar_t const*, ip::_raw_addr6_no&)
ip::detail::to_string(ip::_raw_addr4_no const&, char*, unsigned long long)
ip::detail::to_string(ip::_raw_addr4_no const&, wchar_t*, unsigned long long)
ip::detail::to_string(ip::_raw_addr6_no const&, char*, unsigned long long)
ip::detail::to_string(ip::_raw_addr6_no const&, wchar_t*, unsigned long long)
ip::hlpapi::free()
ip::hlpapi::load()
ip::lib::address_family_supported(unsigned short)
ip::lib::free()
ip::lib::init()
ip::lib::is_ipv6_supported()
ip::local_address(ip::addr&, unsigned short)
ip::localaddresses(std::vector<ip::addr, std::allocator<ip::addr> >&, unsigned short)
ip::membuffer::free()
ip::membuffer::get(unsigned long long)
ip::winsock2::cleanup()
ip::winsock2::getlasterror()
ip::winsock2::start(WSAData&)
"""


def output(*command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True, **options).stdout


class Tables(unittest.TestCase):
    maxDiff = None
    dump = output(sys.argv[1], "-p", sys.argv[2])

    def test_exports_are_the_interface(self):
        names = re.findall(r"^\t\[ *\d+\] (\w+)$", self.dump, re.MULTILINE)
        demangled = output("c++filt", input="\n".join(names) + "\n")
        self.assertEqual("".join(sorted(demangled.splitlines(keepends=True))), exports)
        self.assertEqual(self.dump.count("+base["), len(names), "exports without a name")

    def test_imports_are_of_system_libraries(self):
        blocks = [block.split("\n\n")[0].split() for block in self.dump.split("DLL Name: ")[1:]]
        imports = {module: names for module, *_, names in ((b[0], b[7::3]) for b in blocks)}
        self.assertEqual(sorted(imports), ["ADVAPI32.dll", "IPHLPAPI.DLL", "KERNEL32.dll", "msvcrt.dll"])
        self.assertEqual(imports["IPHLPAPI.DLL"], ["GetAdaptersInfo"])

    def test_protections_are_on(self):
        flags = self.dump.split("DllCharacteristics")[1].split("SizeOf")[0].split()[1:]
        self.assertEqual(flags, ["HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"])


unittest.main(argv=sys.argv[:1])
