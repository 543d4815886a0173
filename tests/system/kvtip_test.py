#!/usr/bin/env python3
"""Runs kvtip as a user does, and holds what it says against what the host says of itself.

    kvtip_test.py [ADAPTER...] -- COMMAND...

COMMAND runs kvtip; each ADAPTER must be among those that it finds. Wine tells IPv4 gateways only, no
address that has a label of its own ("eth0:1"), and all name servers with every adapter."""

import contextlib
import json
import os
import socket
import subprocess
import sys
import unittest
from ipaddress import ip_address

split = sys.argv.index("--")
required, kvtip = sys.argv[1:split], sys.argv[split + 1 :]
os.environ["LC_ALL"] = "C.UTF-8"  # Wine reads arguments in the locale's encoding

# arguments, what is wrong with them, where to look for help
bad_usage = [
    ([], "A subcommand is required", "kvtip"),
    (["nothing"], "The following argument was not expected: nothing", "kvtip"),
    (["adapters", "grüße €😀"], "The following argument was not expected: grüße €😀", "kvtip adapters"),
    (["adapters", "*"], "The following argument was not expected: *", "kvtip adapters"),
    (["addresses", "--family", "5"], "--family: 5 not in {4,6}", "kvtip addresses"),
    (["resolve", ""], "NAME: must not be empty", "kvtip resolve"),
    (["name", "grüße"], "ADDRESS: grüße is not an address", "kvtip name"),
    (["name", "1" * 300], f"ADDRESS: {'1' * 300} is not an address", "kvtip name"),
]
bad_usage += [(["connect", "::1", port], f"PORT: Value {port} not in range 1 to 65535", "kvtip connect")
              for port in ("0", "65536", "-1", "abc")]
bad_usage += [(["ping", "::1", option, str(value)],
               f"{option}: Value {value} not in range {least} to {most}", "kvtip ping")
              for option, least, most in (("--count", 1, 65535), ("--size", 0, 65500), ("--ttl", 1, 255),
                                          ("--timeout", 1, 60000))
              for value in (least - 1, most + 1)]
bad_usage += [
    (["trace", "::1", "--max-hops", "0"], "--max-hops: Value 0 not in range 1 to 255", "kvtip trace"),
    (["lookup", "a", "--type", "mx"], "--type: mx not in {a,aaaa,both}", "kvtip lookup"),
    (["reverse", "a"], "ADDRESS: a is not an address", "kvtip reverse"),
    (["mac", "a"], "ADDRESS: a is not an address", "kvtip mac"),
    (["owner", "a", "::1"], "LOCAL: a is not an address", "kvtip owner"),
    (["owner", "::1", "a"], "REMOTE: a is not an address", "kvtip owner"),
    (["profile", ""], "DESTINATION: must not be empty", "kvtip profile"),
    (["connections", "--tcp", "--udp"], "--tcp excludes --udp", "kvtip connections"),
    (["connections", "--udp", "--state", "listen"], "--udp excludes --state", "kvtip connections"),
    (["connections", "--pid", "-1"], "Could not convert: --pid = -1", "kvtip connections"),
]
bad_usage += [(["connect", "::1", "9", "--timeout", seconds],
               f"--timeout: {seconds} is not above 0 and up to 86400", "kvtip connect")
              for seconds in ("0", "-1", "nan", "abc", "86401")]


def run(*command, stdout=subprocess.PIPE, **options):
    done = subprocess.run(command, stdout=stdout, stderr=subprocess.PIPE, timeout=120, check=False, **options)
    return done.returncode, (done.stdout or b"").decode(), done.stderr.decode().replace("\r", "")


def address(text):
    return str(ip_address(text.split("%")[0]))


def host_adapters():
    with open("/etc/resolv.conf", encoding="utf-8") as file:
        servers = [address(line.split()[1]) for line in file if line.startswith("nameserver")]
    routes = json.loads(run("ip", "-j", "-4", "route", "show", "default")[1])
    for link in json.loads(run("ip", "-j", "addr")[1]):
        name = link["ifname"]
        yield name, {
            "index": link["ifindex"],
            "loopback": link["link_type"] == "loopback",
            "up": "UP" in link["flags"],
            "mac": link["address"].upper().replace(":", "-") if link["link_type"] == "ether" else None,
            "addresses": sorted(f"{a['local']}/{a['prefixlen']}" for a in link["addr_info"]
                                if a.get("label", name) == name),
            "gateways": [r["gateway"] for r in routes if "gateway" in r and r["dev"] == name],
            "name servers": servers[:3] or ["127.0.0.1"],
        }


def accepted_port(server):
    caller, (_, port, *_) = server.accept()
    caller.close()
    return port


def addresses_of(adapter):
    return sorted(f"{a['address']}/{a['prefix_length']}" for a in adapter["addresses"])


class Kvtip(unittest.TestCase):
    maxDiff = None

    def output(self, *arguments):
        status, out, err = run(*kvtip, *arguments)
        self.assertEqual((status, err), (0, ""), arguments)
        return out

    def test_bad_usage(self):
        for arguments, reason, helper in bad_usage:
            answer = (2, "", f"kvtip: {reason}\ntry '{helper} --help'\n")
            self.assertEqual(run(*kvtip, *arguments), answer)

    def test_help_and_version(self):
        self.assertEqual(self.output("--version"), "kvtip 0.1.0\n")
        self.assertIn("--family", self.output("addresses", "--help"))

    @unittest.skipUnless(sys.platform == "linux", "needs a host that can be asked")
    def test_adapters_are_the_hosts(self):
        host = dict(host_adapters())
        self.assertLessEqual(set(required), set(host))
        self.assertEqual(host, {adapter["friendly_name"]: {
            "index": adapter["index"],
            "loopback": adapter["type"] == 24,
            "up": adapter["oper_status"] == 1,
            "mac": adapter["hw_address"],
            "addresses": addresses_of(adapter),
            "gateways": adapter["gateways"],
            "name servers": [address(server) for server in adapter["dns_servers"]],
        } for adapter in json.loads(self.output("adapters", "--json"))})
        expected = sorted(text.split("/")[0] for adapter in host.values() for text in adapter["addresses"])
        self.assertEqual(sorted(json.loads(self.output("addresses", "--json"))), expected)

    def test_families_share_out_the_addresses(self):
        every, ipv4, ipv6 = (json.loads(self.output("addresses", "--json", *family))
                             for family in ([], ["--family", "4"], ["--family", "6"]))
        self.assertIn("127.0.0.1", ipv4)
        self.assertEqual(ipv4, [text for text in every if ":" not in text])
        self.assertEqual(ipv6, [text for text in every if ":" in text])
        self.assertEqual(self.output("addresses"), "".join(text + "\n" for text in every))

    def test_text_shows_what_json_has(self):
        blocks = self.output("adapters").split("\n\n")
        adapters = json.loads(self.output("adapters", "--json"))
        self.assertEqual(len(blocks), len(adapters))
        for block, adapter in zip(blocks, adapters):
            shown = [adapter[key] for key in ("friendly_name", "name", "hw_address", "dns_suffix")]
            shown += adapter["gateways"] + adapter["dns_servers"] + addresses_of(adapter)
            for value in filter(None, shown):
                self.assertIn(value, block)

    def assert_fails(self, code, *arguments):
        status, out, err = run(*kvtip, *arguments)
        self.assertRegex(f"{status} {out}{err}", rf"^1 kvtip: {arguments[0]}: {code}: .*\S\n$")

    def test_names_have_the_hosts_addresses(self):
        for family, *option in ((0,), (socket.AF_INET, "--family", "4"), (socket.AF_INET6, "--family", "6")):
            try:
                found = socket.getaddrinfo("localhost", None, family, socket.SOCK_STREAM)
            except socket.gaierror:
                self.assert_fails(r"1100\d", "resolve", "localhost", *option)
                continue
            expected = list(dict.fromkeys(address for *_, (address, *_) in found))
            self.assertEqual(json.loads(self.output("resolve", "localhost", "--json", *option)), expected)
            self.assertEqual(self.output("resolve", "localhost", *option).split(), expected)

    def test_unknown_names_are_a_failure(self):
        for name in ("a" * 64, "a" * 300, "grüße €😀"):  # which no name server is asked for
            self.assert_fails(11001, "resolve", name)
            self.assert_fails(11001, "connect", name, "9")
        self.assert_fails(r"\d+", "resolve", "ü" * 300)

    def test_addresses_have_the_hosts_names(self):
        for address in ("127.0.0.1", "::1"):
            try:
                name = socket.getnameinfo((address, 0), socket.NI_NAMEREQD)[0]
            except socket.gaierror:
                self.assert_fails(r"1100\d", "name", address)
                continue
            self.assertEqual(self.output("name", address), name + "\n")
            self.assertEqual(json.loads(self.output("name", address, "--json")),
                             {"address": address, "name": name})

    @unittest.skipUnless(sys.platform == "linux", "needs a host that can be asked")
    def test_hostname_is_the_hosts(self):
        self.assertEqual(self.output("hostname"), socket.gethostname() + "\n")
        self.assertEqual(json.loads(self.output("hostname", "--json")), {"hostname": socket.gethostname()})

    def test_connection_is_as_the_listener_sees_it(self):
        for host in {"127.0.0.1", "::1"}.intersection(json.loads(self.output("addresses", "--json"))):
            family, form = (socket.AF_INET6, "[{}]:{}") if ":" in host else (socket.AF_INET, "{}:{}")
            with socket.create_server((host, 0), family=family) as server:
                port = server.getsockname()[1]
                found = json.loads(self.output("connect", host, str(port), "--json"))
                self.assertGreater(found.pop("milliseconds"), 0)
                self.assertEqual(found, {"local": {"address": host, "port": accepted_port(server)},
                                         "remote": {"address": host, "port": port}})
                shown = self.output("connect", host, str(port), "--timeout", "59.5").split()
                self.assertEqual(shown[:5], ["local", form.format(host, accepted_port(server)),
                                             "remote", form.format(host, port), "time"])

    def test_connection_that_is_refused_or_not_answered_is_a_failure(self):
        with socket.socket() as server, contextlib.ExitStack() as callers:
            server.bind(("127.0.0.1", 0))
            port = str(server.getsockname()[1])
            self.assert_fails(10061, "connect", "127.0.0.1", port)
            server.listen(0)
            for _ in range(3):  # more than wait for a listener at a time
                caller = callers.enter_context(socket.socket())
                caller.setblocking(False)
                caller.connect_ex(server.getsockname())
            self.assert_fails(1460, "connect", "127.0.0.1", port, "--timeout", "0.3")

    def test_ping_shows_each_answer_and_sums_up(self):
        lines = self.output("ping", "127.0.0.1", "--count", "2", "--ttl", "1").splitlines()
        self.assertEqual((lines[0], lines[3], len(lines)),
                         ("pinging 127.0.0.1 with 32 bytes", "2 sent, 2 answered, 0% lost", 5))
        for line in lines[1:3]:
            self.assertRegex(line, r"^reply from 127\.0\.0\.1: <?\d+ ms, ttl \d+$")
        for size in ("0", "65500"):
            found = json.loads(self.output("ping", "127.0.0.1", "--count", "1", "--size", size, "--json"))
            self.assertEqual([found[key] for key in ("size", "sent", "received", "lost")],
                             [int(size), 1, 1, 0])
            self.assertEqual([(reply["address"], reply["code"]) for reply in found["replies"]],
                             [("127.0.0.1", 0)])

    def test_ping_shows_an_answer_before_it_sends_the_next_echo(self):
        with subprocess.Popen([*kvtip, "ping", "127.0.0.1", "--count", "60"], stdout=subprocess.PIPE) as ping:
            self.assertIn(b"pinging", ping.stdout.readline())
            self.assertIn(b"reply", ping.stdout.readline())
            ping.terminate()  # long before its end

    def test_ping_without_an_answer_is_a_failure(self):
        ping = "ping", "255.255.255.255", "--count", "1"  # which no echo may be sent to
        status, out, err = run(*kvtip, *ping)
        self.assertRegex(f"{status} {out}",
                         r"^1 pinging .*\nno answer: .* \(\d+\)\n1 sent, 0 answered, 100% lost\n$")
        self.assertRegex(err, r"^kvtip: ping: \d+: .*\S\n$")
        status, out, same = run(*kvtip, *ping, "--json")
        self.assertEqual((status, same, json.loads(out)["average"]), (1, err, None))

    def test_connections_are_those_of_the_host(self):
        def found(*options):
            return {(row["protocol"], row["local"]["port"], row["remote"] and row["remote"]["port"],
                     row["state_name"]) for row in json.loads(self.output("connections", "--json", *options))}
        with socket.create_server(("127.0.0.1", 0)) as server, socket.socket(type=socket.SOCK_DGRAM) as udp:
            with socket.create_connection(server.getsockname()) as caller:
                udp.bind(("127.0.0.1", 0))
                port, other = server.getsockname()[1], caller.getsockname()[1]
                listener, endpoint = ("TCP", port, None, "listen"), ("UDP", udp.getsockname()[1], None, None)
                ends = {("TCP", port, other, "established"), ("TCP", other, port, "established")}
                every = {listener, endpoint} | ends
                for options, expected in (("", every), ("--tcp", every - {endpoint}), ("--udp", {endpoint}),
                                          ("--family 6", set()), ("--state established", ends),
                                          ("--pid 4294967295", set())):
                    self.assertEqual(found(*options.split()) & every, expected, options)
                line = rf"(?m)^TCP +127\.0\.0\.1:{port} +127\.0\.0\.1:{other} +established "
                self.assertRegex(self.output("connections"), line)
                owner = json.loads(self.output("owner", "127.0.0.1", "127.0.0.1", "--json"))
                self.assertEqual((owner["local"], owner["remote"]), ("127.0.0.1", "127.0.0.1"))
        self.assert_fails(2, "owner", "203.0.113.77", "127.0.0.1")

    def test_addresses_without_neighbour_or_name_are_a_failure(self):
        self.assert_fails(r"\d+", "mac", "0.0.0.0")
        self.assert_fails(r"\d+", "reverse", "0.0.0.0")
        self.assert_fails(r"\d+", "lookup", "a" * 64)
        self.assert_fails(r"\d+", "lookup", "a..b")

    @unittest.skipUnless("lab0" in required, "needs the lab")
    def test_lab_is_as_it_was_made(self):
        if run("getent", "hosts", "far.lab.test")[0] != 0:
            self.skipTest("needs the lab with a far host")
        both = ["198.51.100.10", "2001:db8:1::10"]
        for name, records, expected in (("www", "both", both), ("www", "a", both[:1]),
                                        ("www", "aaaa", both[1:]), ("alias", "both", both),
                                        ("v6", "both", ["2001:db8:1::12"])):
            self.assertEqual(self.output("lookup", name + ".lab.test", "--type", records).split(), expected)
        for records in ("a", "aaaa", "both"):
            self.assert_fails(9003, "lookup", "missing.lab.test", "--type", records)
        for address in both:
            self.assertEqual(self.output("reverse", address), "www.lab.test\n")
        self.assert_fails(9003, "reverse", "198.51.100.99")

        hops = r"\n  1  198\.51\.100\.1  .* ms\n  2  203\.0\.113\.2  .* ms\n203\.0\.113\.2 reached\n$"
        self.assertRegex(self.output("trace", "far.lab.test", "--family", "4"), hops)
        for host, ttl, code in (("198.51.100.66", "9", 11010), ("203.0.113.2", "1", 11013)):
            status, _, err = run(*kvtip, "ping", host, "--count", "1", "--timeout", "900", "--ttl", ttl)
            self.assertRegex(f"{status} {err}", rf"^1 kvtip: ping: {code}: ")
        self.assertRegex(self.output("neighbours", "--family", "4"),
                         r"\n198\.51\.100\.50 +02-00-5E-10-00-50 ")

        for host, gateway in (("203.0.113.2", "198.51.100.1"), ("198.51.100.10", None)):
            self.assertEqual(json.loads(self.output("route", host, "--json")), {
                "destination": host, "interface_index": socket.if_nametoindex("lab0"), "adapter": "lab0",
                "gateway": gateway})
        profile = json.loads(self.output("profile", "--json"))
        self.assertEqual([profile[key] for key in ("adapter", "address", "mask", "gateway", "dial_up")],
                         ["lab0", "198.51.100.2", "255.255.255.0", "198.51.100.1", False])
        self.assertEqual([row["server"] for row in json.loads(self.output("dns", "--json"))],
                         ["198.51.100.1", "2001:db8:1::1"])

    @unittest.skipUnless(os.path.exists("/dev/full"), "needs a device that is always full")
    def test_output_that_cannot_be_written_is_a_failure(self):
        with open("/dev/full", "wb") as full:
            status, _, err = run(*kvtip, "addresses", stdout=full)
        self.assertRegex(f"{status} {err}", r"^1 kvtip: addresses: 112: .*\S\n$")

    @unittest.skipUnless("wine" in kvtip[0], "Wine alone can be told to leave a library out")
    def test_missing_socket_library_is_a_failure(self):
        without = {"env": {**os.environ, "WINEDLLOVERRIDES": "ws2_32="}}
        status, out, err = run(*kvtip, "adapters", **without)
        self.assertRegex(f"{status} {out}{err}", r"^1 kvtip: adapters: 126: .*\S\n$")
        status, out, err = run(*kvtip, "doctor", **without)
        self.assertRegex(out, r"kvtIP +does not start: 126: .*\n +Ws2_32.dll +missing: the library does not start\n")
        self.assertEqual((status, err), (1, "kvtip: doctor: the library does not start\n"))

    def test_doctor_knows_all_entries(self):
        found = {library["module"]: library["entries"] for library in
                 json.loads(self.output("doctor", "--json"))["libraries"]}
        self.assertEqual({module: len(entries) for module, entries in found.items()},
                         {"Ws2_32.dll": 42, "Iphlpapi.dll": 17, "Dnsapi.dll": 3, "rasapi32.dll": 2})
        self.assertEqual({entry["state"] for entry in found["Ws2_32.dll"]}, {"bound"})
        self.assertIn("Ws2_32.dll    42 of 42 entries\n", self.output("doctor"))

    def test_report_holds_what_the_subcommands_show(self):
        page = self.output("report")
        for part in ("hostname", "doctor", "addresses"):
            for line in self.output(part).splitlines():
                self.assertIn(line.strip(), page)
        self.assertEqual(json.loads(self.output("report", "--json"))["host"]["result"],
                         json.loads(self.output("hostname", "--json")))


unittest.main(argv=sys.argv[:1])
