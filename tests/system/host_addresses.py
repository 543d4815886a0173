#!/usr/bin/env python3
"""Checks what kvtip says of the network adapters against what this network namespace says of itself.

    host_addresses.py ADAPTER... -- COMMAND...

COMMAND runs kvtip; each ADAPTER must be among those that it finds. Wine tells IPv4 gateways only,
no address that has a label of its own ("eth0:1"), and all name servers with every adapter."""

import json
import subprocess
import sys
from ipaddress import ip_address


def json_of(*command):
    done = subprocess.run(command, stdout=subprocess.PIPE, timeout=120, check=True)
    return json.loads(done.stdout.decode())


def address(text):
    return str(ip_address(text.split("%")[0]))


def name_servers():
    with open("/etc/resolv.conf", encoding="utf-8") as file:
        lines = [line.split() for line in file]
    servers = [address(words[1]) for words in lines if words[:1] == ["nameserver"]]
    return servers[:3] or ["127.0.0.1"]


def system_adapters():
    routes = json_of("ip", "-j", "-4", "route", "show", "default")
    for link in json_of("ip", "-j", "addr"):
        name = link["ifname"]
        yield name, {
            "index": link["ifindex"],
            "loopback": link["link_type"] == "loopback",
            "up": "UP" in link["flags"],
            "mac": link["address"].upper().replace(":", "-") if link["link_type"] == "ether" else None,
            "addresses": sorted(f"{address(a['local'])}/{a['prefixlen']}" for a in link["addr_info"]
                                if a.get("label", name) == name),
            "gateways": [r["gateway"] for r in routes if "gateway" in r and r["dev"] == name],
            "name servers": name_servers(),
        }


def reported_adapters(kvtip):
    for adapter in json_of(*kvtip, "adapters", "--json"):
        yield adapter["friendly_name"], {
            "index": adapter["index"],
            "loopback": adapter["type"] == 24,
            "up": adapter["oper_status"] == 1,
            "mac": adapter["hw_address"],
            "addresses": sorted(f"{address(a['address'])}/{a['prefix_length']}" for a in adapter["addresses"]),
            "gateways": adapter["gateways"],
            "name servers": [address(server) for server in adapter["dns_servers"]],
        }


def differences(required, kvtip):
    system, reported = dict(system_adapters()), dict(reported_adapters(kvtip))
    for name in sorted({*required, *system, *reported}):
        if name not in system or name not in reported:
            yield f"{name}: known to the system: {name in system}, to kvtip: {name in reported}"
            continue
        for field, value in system[name].items():
            if value != reported[name][field]:
                yield f"{name}: {field}: the system has {value}, kvtip {reported[name][field]}"
    listed = sorted(address(text) for text in json_of(*kvtip, "addresses", "--json"))
    expected = sorted(text.split("/")[0] for adapter in system.values() for text in adapter["addresses"])
    if listed != expected:
        yield f"addresses: the system has {expected}, kvtip {listed}"


split = sys.argv.index("--")
found = list(differences(sys.argv[1:split], sys.argv[split + 1 :]))
sys.exit("\n".join(found) or None)
