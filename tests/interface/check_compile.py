#!/usr/bin/env python3
"""Compiles the headers of the interface as programs may include them: check_compile.py INCLUDE RECORD COMPILER FLAG...

The C header must have the layout of RECORD wherever it is included. Clang also compiles it for MSVC's target, and the C++
headers, for which one compiler will do. With "alone" for RECORD, each C++ header is compiled alone instead."""
import re
import subprocess
import sys
from pathlib import Path

WINDOWS = "#include <winsock2.h>\n#include <windows.h>\n"
# Each use of these names is an error; those of min and max as a function, as with the macros of windows.h.
MACROS = "".join(f"#undef {name.split('(')[0]}\n#define {name} a_macro(\n" for name in (
    "min(a, b)", "max(a, b)", "interface", "near", "far", "small", "ERROR", "IN", "OUT", "DELETE"))
C99, CXX20 = ["-std=c99", "-x", "c"], ["-std=c++20", "-x", "c++"]


def layout(record):
    """Assertions that the structures are those of the record. They are arrays, because C99 has no others."""
    for number, line in enumerate(record.splitlines()):
        kind, name, *numbers = line.split()
        if kind == "structure":
            condition = f"sizeof({name}) == {numbers[0]}"
        elif kind == "member":
            structure, member = name.split(".")
            condition = (f"offsetof({structure}, {member}) == {numbers[0]}"
                         f" && sizeof((({structure} *)0)->{member}) == {numbers[1]}")
        else:
            continue
        yield f"typedef char assertion_{number}[{condition} ? 1 : -1]; /* {line} */\n"


def c_cases(record, compilers):
    header = '#include "kvtip/kvtip.h"\n'
    checked = header + "".join(layout(record))
    for compiler, command in compilers:
        yield f"{compiler}, alone", command, checked
        yield f"{compiler}, packed", command, "#pragma pack(1)\n" + checked
        yield f"{compiler}, among macros", command, "#include <stddef.h>\n#include <stdint.h>\n" + MACROS + checked
        if "MSVC" not in compiler:
            yield f"{compiler}, after windows.h", command, WINDOWS + checked
            yield f"{compiler}, before windows.h", command, header + WINDOWS


def lines_of(include):
    headers = sorted(Path(include, "kvtip").rglob("*.hpp"))
    return {header: f'#include "{header.relative_to(include)}"\n' for header in headers}


def alone_cases(include, command):
    for header, line in lines_of(include).items():
        yield f"{header.name}, alone", command, line


def cxx_cases(include, command):
    headers = lines_of(include)
    every = "".join(headers.values())
    standard = sorted({name for header in headers for name in re.findall("#include (<.*>)", header.read_text())})
    yield "C++, after windows.h, packed", command, WINDOWS + "#pragma pack(1)\n" + every
    yield "C++, before windows.h, without exceptions", [*command, "-fno-exceptions"], every + WINDOWS
    # Only uses in these headers count, and none in those of the standard library.
    yield "C++, among macros", command, "".join(f"#if __has_include({name})\n#include {name}\n#endif\n"
                                                for name in standard) + MACROS + every


def main(include, record, compiler, *flags):
    strict = ["-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only", f"-I{include}"]
    command = [compiler, *flags, *strict]
    c_compilers = {"C99": [*command, *C99], "C++20": [*command, *CXX20]}
    is_clang = "clang" in Path(compiler).name
    if is_clang:
        # The compiler's own headers must do, because there are none of MSVC.
        msvc = [compiler, "--target=x86_64-pc-windows-msvc", "-ffreestanding", *strict]
        c_compilers |= {"C99 for MSVC": [*msvc, *C99], "C++20 for MSVC": [*msvc, *CXX20]}
    if record == "alone":
        cases = [*alone_cases(include, c_compilers["C++20"])]
    else:
        cases = [*c_cases(Path(record).read_text(), c_compilers.items())]
        if is_clang:
            cases += cxx_cases(include, c_compilers["C++20"])
    faults = 0
    for name, command, source in cases:
        result = subprocess.run([*command, "-"], input=source, text=True, capture_output=True)
        if result.returncode:
            faults += 1
            print(f"--- {name}: {' '.join(command)}\n{result.stderr}")
    print(f"{len(cases)} compilations, {faults} failed")
    return bool(faults)


sys.exit(main(*sys.argv[1:]))
