#!/usr/bin/env python3
"""Holds the C header against the record of the interface.

    check_header.py HEADER RECORD DEFINITION COMPILER [--write]

Every function's comment ends in its five lines; no structure has padding that the header does not name; functions,
sizes and offsets are those of the record; the module definition file exports just these functions. --write makes the
record and the definition file anew, for a change that is meant.
"""
import re
import subprocess
import sys
import tempfile
from pathlib import Path

FIVE_LINES = ["Returns", "On failure", "Frees", "Blocks", "Since"]


def functions_of(header):
    """The declared functions by name, each with the comment before it."""
    pattern = re.compile(r"/\*((?:(?!\*/).)*)\*/\s*KVTIP_FUNCTION\s[^;]*?KVTIP_CALL\s+(\w+)\s*\(", re.S)
    found = {name: comment for comment, name in pattern.findall(header)}
    declared = re.findall(r"KVTIP_CALL\s+(\w+)\s*\(", header)
    missing = set(declared) - set(found)
    assert not missing, f"functions without a comment: {sorted(missing)}"
    return found


def wrong_comments(functions):
    for name, comment in functions.items():
        labels = re.findall(r"^ \* (Returns|On failure|Frees|Blocks|Since): \S", comment, re.M)
        if labels != FIVE_LINES:
            yield f"{name}: its comment ends in {labels}, not in {FIVE_LINES}"


def structures_of(header):
    """The structures by name, each with the names of its members."""
    plain = re.sub(r"/\*.*?\*/", "", header, flags=re.S)
    return {name: re.findall(r"(\w+)(?:\[\w+\])?;", body)
            for body, name in re.findall(r"typedef struct \w+ \{(.*?)\} (\w+);", plain, re.S)}


def layout_of(header_file, structures, compiler):
    """A line for each structure and member, as the compiler lays them out. Padding is an error."""
    lines = []
    for name, members in structures.items():
        lines.append(f'printf("structure {name} %zu\\n", sizeof({name}));')
        lines += [f'printf("member {name}.{member} %zu %zu\\n", offsetof({name}, {member}), '
                  f"sizeof((({name} *)0)->{member}));" for member in members]
    source = f'#include <stdio.h>\n#include "{header_file}"\nint main(void) {{\n' + "\n".join(lines) + "\nreturn 0; }\n"
    with tempfile.TemporaryDirectory() as folder:
        program = Path(folder, "layout")
        subprocess.run([compiler, "-std=c99", "-Wall", "-Wextra", "-Wpedantic", "-Wpadded", "-Werror", "-x", "c", "-",
                        "-o", program], input=source, text=True, check=True)
        return subprocess.run([program], capture_output=True, text=True, check=True).stdout.splitlines()


def main(header_file, record, definition, compiler, *options):
    header_file, record, definition = Path(header_file).resolve(), Path(record), Path(definition)
    header = header_file.read_text()
    functions = functions_of(header)
    faults = list(wrong_comments(functions))
    now = [f"function {name}" for name in sorted(functions)]
    now += layout_of(header_file, structures_of(header), compiler)
    exports = ["LIBRARY kvtIP.dll", "EXPORTS", *(f"    {name}" for name in sorted(functions))]
    for file, lines in ((record, now), (definition, exports)):
        if "--write" in options:
            file.write_text("\n".join(lines) + "\n")
        recorded = file.read_text().splitlines()
        faults += [f"{file.name} lacks: {line}" for line in lines if line not in recorded]
        faults += [f"{file.name} has, and the header not: {line}" for line in recorded if line not in lines]
    print(*faults, sep="\n")
    print(f"{len(functions)} functions, {len(now) - len(functions)} lines of layout, {len(faults)} faults")
    return bool(faults)


sys.exit(main(*sys.argv[1:]))
