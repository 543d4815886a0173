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


def declared(folder):
    """The qualified name of each function that the headers mark with KVTIP_API, once for each overload."""
    for header in folder.rglob("*.h"):
        text = re.sub(r"//.*|#.*|enum class|friend [^;]*;", "", header.read_text(encoding="utf-8"))
        scopes = []
        for token in re.finditer(r"\b(?:namespace|class|struct) ([\w:]+)[^;{()]*{|KVTIP_API[^(;]*?(\w+)\(|{|}", text):
            if token[2]:
                yield "::".join([scope for scope in scopes if scope] + [token[2]])
            elif token[0] == "}":
                scopes.pop()
            else:
                scopes.append(token[1])


def qualified(name):
    """The qualified name in a mangled one (_ZN2ip3lib4initEv: ip::lib::init); any other name as it is."""
    if not name.startswith("_ZN"):
        return name
    rest, parts = name[3:], []
    while length := re.match(r"\d+", rest):
        rest = rest[length.end():]
        parts.append(rest[:int(length[0])])
        rest = rest[int(length[0]):]
    return "::".join(parts)


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
        self.assertEqual(sorted(map(qualified, set(names) - set(functions))), sorted(declared(source / "include/ip")))

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
