#!/usr/bin/env python3
"""Compares what the strict readers take with the host's inet_pton and Python's ipaddress, on random texts.

    address_oracles.py PROGRAM

PROGRAM reads each line as an address, a network and an endpoint. Where the others are less strict (names as scopes,
masks as prefix lengths), the rules are added here. The texts are the same in every run.
"""
import ipaddress
import random
import re
import socket
import subprocess
import sys

COUNT = 60000
NUMBER = re.compile(r"0|[1-9][0-9]{0,9}", re.ASCII)


def number(text, most):
    return int(text) if NUMBER.fullmatch(text) and int(text) <= most else None


def may_have_scope(value):
    return value.version == 6 and (value in ipaddress.ip_network("fe80::/10") or value in ipaddress.ip_network("fec0::/10")
                                   or value.packed[0] == 0xFF and value.packed[1] & 15 in (1, 2))


def canonical(value):
    return f"::ffff:{value.ipv4_mapped}" if value.version == 6 and value.ipv4_mapped else str(value)


def plain_address(text):
    """The address, if it has no scope. Both oracles must agree."""
    packed = None
    for family in (socket.AF_INET, socket.AF_INET6):
        try:
            packed = socket.inet_pton(family, text)
        except (OSError, ValueError):
            pass
    try:
        value = ipaddress.ip_address(text) if "%" not in text else None
    except ValueError:
        value = None
    assert (value and value.packed) == packed, f"the oracles differ: {text!r}"
    return value


def address(text):
    plain, percent, scope = text.partition("%")
    value = plain_address(plain)
    if value is None or not percent:
        return canonical(value) if value else ""
    return f"{canonical(value)}%{scope}" if may_have_scope(value) and number(scope, 0xFFFFFFFF) else ""


def network(text):
    plain, slash, length = text.partition("/")
    value = plain_address(plain)
    if value is None or number(length, value.max_prefixlen) is None:
        return ""
    try:
        ipaddress.ip_network(text)
    except ValueError:
        return ""
    return f"{canonical(value)}/{length}"


def endpoint(text):
    host, colon, port = text.rpartition(":")
    if number(port, 0xFFFF) is None:
        return ""
    bracketed = re.fullmatch(r"\[(.*)\]", host)
    read = address(bracketed[1] if bracketed else host)
    if not read or bool(bracketed) != (":" in read):
        return ""
    return f"[{read}]:{port}" if bracketed else f"{read}:{port}"


def texts(source):
    def octets():
        return ".".join(str(source.choice((source.randrange(256), source.randrange(300)))) for _ in range(4))

    def group():
        return f"{source.choice((0, 0, 1, 0xFFFF, source.getrandbits(16), source.getrandbits(8))):0{source.choice((1, 1, 4))}x}"

    def ipv6():
        groups = [group() for _ in range(source.choice((8, 8, 6, 7, source.randrange(10))))]
        if source.random() < 0.2:
            groups = groups[:6] + [octets()]
        text = ":".join(groups)
        if source.random() < 0.6 and groups:
            first = source.randrange(len(groups))
            last = source.randrange(first, len(groups)) + 1
            text = ":".join(groups[:first]) + "::" + ":".join(groups[last:])
        if source.random() < 0.3:
            text = source.choice(("fe80:", "fec0:", "ff02:", "fe80::", "::ffff:")) + text
        return text.upper() if source.random() < 0.1 else text

    def mutated(text):
        characters = "0123456789abcdefABCDEF::::....%/[] -gx"
        for _ in range(source.choice((0, 0, 1, 1, 2, 3))):
            at = source.randrange(len(text) + 1)
            text = text[:at] + source.choice(("", source.choice(characters))) + text[at + source.randrange(2):]
        return text

    while True:
        text = octets() if source.random() < 0.3 else ipv6()
        kind = source.randrange(8)
        if kind == 0:
            text += "%" + str(source.choice((0, 1, 7, 251, 4294967295, 4294967296)))
        elif kind in (1, 2):
            length = source.choice((8, 16, 24, 32, 48, 64, 128, source.randrange(140)))
            try:
                text = str(ipaddress.ip_network(f"{text}/{length}", strict=source.random() < 0.2))
            except ValueError:
                text += f"/{length}"
        elif kind in (3, 4):
            host = f"[{text}]" if (":" in text) == (source.random() < 0.9) else text
            text = f"{host}:{source.choice((0, 80, 65535, 65536))}"
        yield mutated(text)


def main(program):
    generator = texts(random.Random(4291))
    lines = [next(generator) for _ in range(COUNT)]
    output = subprocess.run([program], input="\n".join(lines) + "\n", capture_output=True, text=True, check=True).stdout
    accepted = [0, 0, 0]
    for line, read in zip(lines, output.splitlines(), strict=True):
        expected = [address(line), network(line), endpoint(line)]
        assert read.split("\t") == expected, f"{line!r} reads as {read.split(chr(9))}, and should as {expected}"
        accepted = [count + bool(text) for count, text in zip(accepted, expected)]
    assert min(accepted) > COUNT / 20, f"too few texts are values: {accepted}"
    print(f"{COUNT} texts, of which {accepted} are addresses, networks and endpoints")


main(*sys.argv[1:])
