#!/usr/bin/env python3
"""Checks what the linker put into the header and the tables of the DLL: dll_tables.py OBJDUMP DLL SOURCE.

SOURCE is the folder of the project."""

import pathlib
import re
import subprocess
import sys
import unittest

# The functions of kernel32 that the DLL may import: they exist in 64-bit Windows 5.2, the oldest system that
# must load the DLL. Most of them serve the C++ runtime inside it.
kernel32 = """
AddVectoredExceptionHandler CloseHandle CreateEventA CreateSemaphoreA DeleteCriticalSection DuplicateHandle
EnterCriticalSection ExpandEnvironmentStringsW FormatMessageA FreeLibrary GetCurrentProcess
GetCurrentProcessId GetCurrentThread GetCurrentThreadId GetHandleInformation GetLastError GetModuleHandleA
GetModuleHandleW GetProcAddress GetProcessAffinityMask GetSystemDirectoryW GetSystemTimeAsFileTime
GetThreadContext GetThreadPriority GetTickCount InitializeCriticalSection IsDBCSLeadByteEx IsDebuggerPresent
LeaveCriticalSection LoadLibraryW LocalFree MultiByteToWideChar OpenProcess OutputDebugStringA
QueryPerformanceCounter QueryPerformanceFrequency RaiseException ReleaseSemaphore
RemoveVectoredExceptionHandler ResetEvent ResumeThread RtlCaptureContext RtlLookupFunctionEntry RtlUnwindEx
RtlVirtualUnwind SetEvent SetLastError SetProcessAffinityMask SetThreadContext SetThreadPriority Sleep
SuspendThread TlsAlloc TlsGetValue TlsSetValue TryEnterCriticalSection VirtualProtect VirtualQuery
WaitForMultipleObjects WaitForSingleObject WideCharToMultiByte __C_specific_handler
""".split()


class Tables(unittest.TestCase):
    maxDiff = None
    dump = subprocess.run([sys.argv[1], "-p", sys.argv[2]], stdout=subprocess.PIPE, text=True, check=True).stdout

    def test_exports_are_the_interface(self):
        table = self.dump.split("[Ordinal/Name Pointer] Table")[1].split("\n\n")[0]
        names = re.findall(r"^\t\[.* (\w+)$", table, re.MULTILINE)
        self.assertEqual(self.dump.count("Export RVA"), len(names), "an export has no name")
        source = pathlib.Path(sys.argv[3])
        functions = [name for name in names if name.startswith("kvtip_")]
        definition = (source / "src/kvtip/kvtIP.def").read_text(encoding="utf-8")
        self.assertEqual(sorted(functions), definition.split("EXPORTS")[1].split())
        # The rest is in namespace ip, and as much as the headers of the classes mark.
        members = [name for name in names if re.match("_ZNK?2ip", name)]
        self.assertEqual(set(names), {*functions, *members})
        headers = "".join(header.read_text(encoding="utf-8") for header in (source / "include/ip").rglob("*.h"))
        marked = re.findall(r"KVTIP_API[^(;{#]*\(", re.sub("//.*|#.*|friend .*", "", headers))
        self.assertEqual(len(members), len(marked))

    def test_imports_are_of_old_systems(self):
        blocks = [block.split("\n\n")[0].splitlines() for block in self.dump.split("DLL Name: ")[1:]]
        imports = {module: [row.split()[-1] for row in rows] for module, _, *rows in blocks}
        self.assertEqual(sorted(imports), ["ADVAPI32.dll", "IPHLPAPI.DLL", "KERNEL32.dll", "msvcrt.dll"])
        self.assertEqual(imports["IPHLPAPI.DLL"],
                         ["GetAdaptersInfo", "GetBestInterface", "GetBestRoute", "GetNetworkParams"])
        self.assertEqual(set(imports["KERNEL32.dll"]) - set(kernel32), set())
        self.assertEqual(re.findall(r"SubsystemVersion\s+(\d+)", self.dump), ["5", "2"])

    def test_protections_are_on(self):
        flags = self.dump.split("DllCharacteristics")[1].split("SizeOf")[0].split()[1:]
        self.assertEqual(flags, ["HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"])


unittest.main(argv=sys.argv[:1])
