#!/usr/bin/env python3
"""Runs kvtip as a user does, and holds what it says against what the host says of itself.

    kvtip_test.py [ADAPTER...] -- COMMAND...

COMMAND runs kvtip; each ADAPTER must be among those that it finds. Wine 8 reports IPv4 gateways only, no Wine an
address with a label ("eth0:1"), and each all name servers with every adapter."""

import contextlib
import itertools
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from ipaddress import ip_address
from pathlib import Path

import jsonschema

split = sys.argv.index("--")
required, kvtip = sys.argv[1:split], sys.argv[split + 1 :]
os.environ["LC_ALL"] = "C.UTF-8"  # Wine reads arguments in the locale's encoding

# arguments, and what the message must hold: the option parser's words differ from version to version
bad_usage = [
    ([], "A subcommand is required"),
    (["hostname", "grüße €😀"], "grüße €😀"),
    (["hostname", "*"], "*"),
    (["hostname", "\x01\x1b\x1f\x7f\x9f\u202a\u202e\u2066\u2069"],
     r"\u0001\u001B\u001F\u007F\u009F\u202A\u202E\u2066\u2069"),
    (["hostname", " ~\xa0\u2029\u202f\u2065\u206a"], " ~\xa0\u2029\u202f\u2065\u206a"),
    (["resolve", "localhost", ""], "HOST: must not be empty"),
    (["name", "1" * 300], f"ADDRESS: {'1' * 300} is not an address"),
    (["connect", "::1", "9", "--timeout", "nan"], "--timeout: nan is not a number of seconds above 0 and up to 86400"),
    (["ping", "::1", "--size", "65501"], "--size"),
    (["ping", "10.1.2.3/24"], "10.1.2.3/24 is not a network: its address lies in 10.1.2.0/24"),
    (["ping", "10.0.0.0/33"], "10.0.0.0/33 is not a network"),
    (["ping", "2001:db8::/64"], "2001:db8::/64 is too large: at most 65536 addresses can be pinged, as in a /112"),
    (["ping", "10.0.0.0/24", "--count", "2"], "the hosts of a network are pinged once each"),
    (["connections", "--udp", "--state", "listen"], "--state"),
    (["lookup", "localhost", "foo"], "foo is neither one of A, NS,"),
    (["routes", "--interface", "nowhere"], "there is no interface 'nowhere'"),
    (["ping", "fe80::1%nowhere"], "there is no interface 'nowhere'"),
    (["owner", "[fe80::1%nowhere]:80", "::"], "there is no interface 'nowhere'"),
    (["mac", "10.0.0.1%1"], "10.0.0.1%1 is not an address"),
    *[([*arguments, address], f"{address} needs an interface: {address}%")
      for arguments, address in ((["ping"], "fe80::1"), (["mac"], "fe80::1"), (["route"], "ff02::1"))],
    (["nonsense"], "there is no subcommand nonsense"),
]


def run(*command, stdout=subprocess.PIPE, **options):
    for _ in range(2):
        done = subprocess.run(command, stdout=stdout, stderr=subprocess.PIPE, timeout=120, check=False, **options)
        # On a busy machine, a program under Wine ends like this once in many thousand starts, not only this one.
        if (done.returncode, done.stdout, done.stderr) != (1, b"", b""):
            break
    return done.returncode, (done.stdout or b"").decode(), done.stderr.decode().replace("\r", "")


def built(name):
    return os.path.join(os.path.dirname(kvtip[-1]), name)


@contextlib.contextmanager
def copies(*names):
    """A folder with files of the build folder under other names."""
    with tempfile.TemporaryDirectory() as folder:
        for source, name in names:
            shutil.copy(built(source), os.path.join(folder, name))
        yield folder


def with_overrides(overrides):
    return {**os.environ, "WINEDLLOVERRIDES": f"{os.environ.get('WINEDLLOVERRIDES', '')};{overrides}"}


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


def addresses_of(adapter, text=str):
    return sorted(f"{text(a['address'])}/{a['prefix_length']}" for a in adapter["addresses"])


def strict(schema):
    """The schema without room for members that it does not describe."""
    if isinstance(schema, list):
        return [strict(each) for each in schema]
    if not isinstance(schema, dict):
        return schema
    closed = {"additionalProperties": False} if schema.get("type") == "object" else {}
    return {**{key: strict(each) for key, each in schema.items()}, **closed}


doctor_helps = "try 'kvtip doctor', which shows what this system lacks\n"
docs = Path(__file__).parents[2] / "docs"
contract = jsonschema.Draft202012Validator(strict(json.loads((docs / "json.schema.json").read_text())))


@contextlib.contextmanager
def stopped_name_server():
    """The lab's name server answers nothing meanwhile. Yields what lets it go on, and counts the bytes of the questions."""
    server = int(run("pgrep", "-x", "dnsmasq")[1])

    def questions():
        sockets = run("ip", "netns", "exec", "server", "ss", "-Hlun", "src", "198.51.100.1:53")[1]
        return int(sockets.split()[1])

    os.kill(server, signal.SIGSTOP)
    try:
        yield lambda: os.kill(server, signal.SIGCONT), questions
    finally:
        os.kill(server, signal.SIGCONT)
        wait_until(lambda: questions() == 0)


def wait_until(condition):
    end = time.monotonic() + 60
    while not condition():
        assert time.monotonic() < end, "it did not happen in a minute"
        time.sleep(0.01)


def each_address(rows):
    return [row["address"] for row in rows]


class Kvtip(unittest.TestCase):
    maxDiff = None
    have_result = set()  # the subcommands of which a result was seen

    def output(self, *arguments):
        status, out, err = run(*kvtip, *arguments)
        self.assertEqual((status, err), (0, ""), arguments)
        return out

    def reports(self, *arguments, statuses=(0,)):
        """The JSON objects that a subcommand prints, each alone on a line if there are several."""
        status, out, err = run(*kvtip, *arguments, "--json")
        self.assertIn(status, statuses, arguments)
        self.assertEqual(err, "")
        self.assertNotRegex(out, r"[^\n -~]")
        found = [json.loads(out)] if out.startswith("{\n") else [json.loads(line) for line in out.splitlines()]
        for each in found:
            contract.validate(each)
            self.assertEqual(each["command"], arguments[0])
        self.assertTrue(all("row" in each for each in found[:-1]))
        self.assertEqual("error" in found[-1], status != 0)
        if "result" in found[-1]:
            self.have_result.add(arguments[0])
        return found

    def found(self, *arguments):
        return self.reports(*arguments)[-1]["result"]

    def assert_fails(self, code, *arguments):
        status, out, err = run(*kvtip, *arguments)
        self.assertRegex(f"{status} {out}{err}", rf"^1 kvtip: {arguments[0]}: {code}: .*\S\n({doctor_helps})?$")
        error = self.reports(*arguments, statuses=[1])[-1]["error"]
        self.assertTrue(err.startswith(f"kvtip: {arguments[0]}: {error['code']}: {error['message']}\n"))
        self.assertEqual(err.endswith(doctor_helps), error["code"] in (120, 126, 127))
        self.assertTrue(error["name"])

    def doctor_beside(self, planted):
        """What doctor shows when another library of that name lies beside the program."""
        with copies(("kvtip.exe", "kvtip.exe"), ("kvtIP.dll", "kvtIP.dll"), ("kvtIP.dll", f"{planted}.dll")) as folder:
            status, out, err = run(*kvtip[:-1], os.path.join(folder, "kvtip.exe"), "doctor", cwd=folder,
                                   env=with_overrides(f"{planted}=n,b"))
        self.assertEqual((status, err), (0, ""))
        return out

    def test_bad_usage(self):
        for arguments, reason in bad_usage:
            with self.subTest(arguments):
                status, out, err = run(*kvtip, *arguments)
                self.assertEqual((status, out), (2, ""))
                self.assertRegex(err, rf"^kvtip: .*{re.escape(reason)}.*\n"
                                 rf"try '{' '.join(['kvtip', *arguments[:1]]).removesuffix(' nonsense')} --help'\n$")
                if arguments and arguments != ["nonsense"]:
                    error = self.reports(*arguments, statuses=[2])[-1]["error"]
                    self.assertEqual((error["code"], error["name"]), (87, "ERROR_INVALID_PARAMETER"))
                    self.assertIn(error["message"].split("\x01")[0], err)

    @unittest.skipUnless(sys.platform == "linux" and os.geteuid() == 0, "needs a host that can be renamed")
    def test_name_from_outside_does_not_control_the_terminal(self):
        rename = r'''printf 'a\033[2J\235]0;b"\\' >/proc/sys/kernel/hostname && exec "$@"'''
        for options in ([], ["--json"]):
            status, out, err = run("unshare", "--uts", "sh", "-c", rename, "sh", *kvtip, "hostname", *options)
            self.assertEqual((status, err), (0, ""))
            self.assertRegex(out, r"\\u001[Bb]\[2J\\u009D\]0;b")
            self.assertNotRegex(out, r"[^\n -~]")
        self.assertEqual(json.loads(out)["result"]["name"], 'a\x1b[2J\x9d]0;b"\\')

    def subcommands(self):
        return re.findall(r"(?m)^  ([a-z]+) ", self.output("--help").split("Subcommands:")[1].split("Examples:")[0])

    def examples(self, subcommand):
        """The arguments of the examples in its help; the adapter there is one of the lab."""
        shown = self.output("help", subcommand).replace("Ethernet", "lab0")
        return [line.split() for line in re.findall(r"(?m)^  kvtip (.*)$", shown)]

    def test_help_and_version(self):
        self.assertEqual(self.output("--version"), "kvtip 0.1.0\n")
        for arguments in ([], ["connections"]):
            shown = {self.output(*arguments, option) for option in ("--help", "-h", "/?")}
            self.assertEqual(shown, {self.output("help", *arguments)})
        for name in self.subcommands():
            self.assertRegex(self.output("help", name), rf"(?s)^\S.*\nExamples:\n(  kvtip {name}\b.*\n){{2}}"
                             r"\nExit codes:\n  0  .*\n  1  .*\n  2  .*\n$")

    def test_every_subcommand_reports_errors_as_json(self):
        for name in self.subcommands():
            self.reports(name, "--nonsense", statuses=[2])

    def test_json_on_the_page_is_as_in_the_contract(self):
        blocks = re.findall(r"(?s)```json\n(.*?)```", (docs / "json.md").read_text())
        shown = {}
        for each in (json.loads(text) for block in blocks for text in re.split(r"\n(?=\{)", block)):
            contract.validate(each)
            shown.setdefault(each["command"], set()).update(each)
        complete = {name for name, parts in shown.items() if "result" in parts}
        self.assertEqual(set(self.subcommands()) - complete, {"mac"})  # for which Wine lacks the call

    @unittest.skipUnless(sys.platform == "linux", "needs a host that can be asked")
    def test_adapters_and_hostname_are_the_hosts(self):
        host = dict(host_adapters())
        self.assertLessEqual(set(required), set(host))
        self.assertEqual(host, {adapter["name"]: {
            "index": adapter["index"],
            "loopback": adapter["type"] == 24,
            "up": adapter["status"] == 1,
            "mac": adapter.get("mac"),
            "addresses": addresses_of(adapter, address),
            "gateways": [gateway for gateway in each_address(adapter["gateways"]) if ":" not in gateway],
            "name servers": [address(server) for server in each_address(adapter["dns_servers"])],
        } for adapter in self.found("adapters")})
        self.assertEqual(self.output("hostname"), socket.gethostname() + "\n")

    def test_text_shows_what_json_has(self):
        adapters = self.found("adapters")
        for block, adapter in zip(self.output("adapters").split("\n\n"), adapters, strict=True):
            shown = [adapter.get(key) for key in ("name", "guid", "mac", "dns_suffix")]
            shown += each_address(adapter["gateways"] + adapter["dns_servers"]) + addresses_of(adapter)
            for value in filter(None, shown):
                self.assertIn(value, block)
        for options, listed in (("--all", adapters), ("", [each for each in adapters if each["status"] == 1])):
            every = sorted([row["address"], str(row["prefix_length"]), adapter["name"]]
                           for adapter in listed for row in adapter["addresses"])
            for family in "46":
                shown = self.output("addresses", "--family", family, *options.split()).splitlines()[1:]
                self.assertEqual(sorted([line.split()[at] for at in (0, 1, 3)] for line in shown),
                                 [row for row in every if (":" in row[0]) == (family == "6")])

    def test_names_and_addresses_are_the_hosts(self):
        found = self.found("resolve", "localhost", "--family", "4")
        self.assertEqual([(row["host"], row["address"]) for row in found], [("localhost", "127.0.0.1")])
        self.assertEqual(self.output("resolve", "localhost", "--family", "4", "--timeout", "60"), "127.0.0.1\n")
        self.assertRegex(self.output("resolve", "localhost", "127.0.0.2", "--family", "4"),
                         r"^HOST +ADDRESS +TIME\nlocalhost +127\.0\.0\.1 +(<1|\d+) ms\n127\.0\.0\.2 +127\.0\.0\.2 +(<1|\d+) ms\n$")
        self.assertEqual(self.output("name", "127.0.0.1"), socket.getnameinfo(("127.0.0.1", 0), 0)[0] + "\n")

    def test_unknown_names_are_a_failure(self):
        for name in ("a" * 300, "grüße €😀"):  # which no name server is asked for
            self.assert_fails(11001, "resolve", name)
        self.assert_fails(11001, "connect", "a" * 64, "9")
        self.assert_fails(r"\d+", "lookup", "a..b")
        self.assert_fails(r"\d+", "reverse", "0.0.0.0")
        self.assert_fails(r"\d+", "mac", "0.0.0.0")

    def attempts(self, *arguments, status=0):
        """The addresses that a connect tries, each with the code of its error."""
        last = self.reports("connect", *arguments, statuses=[status])[-1]
        self.assertEqual(last.get("error"), last["result"].get("last_error"))
        return [(each["remote"]["address"], each.get("error", {}).get("code", 0)) for each in last["result"]["attempts"]]

    def test_connection_is_as_the_listener_sees_it(self):
        for host in {"127.0.0.1", "::1"}.intersection(each_address(self.found("addresses"))):
            family, form = (socket.AF_INET6, "[{}]:{}") if ":" in host else (socket.AF_INET, "{}:{}")
            with socket.create_server((host, 0), family=family) as server:
                port = server.getsockname()[1]
                shown = self.output("connect", host, str(port), "--timeout", "59.5")
                with server.accept()[0] as caller:
                    local, remote = (re.escape(form.format(*end[:2])) for end in (caller.getpeername(), (host, port)))
                self.assertRegex(shown, rf"^ADDRESS .*\n{remote} .* ms  connected\n  local +{local}\n  remote +{remote}\n"
                                 r"  lookup +.* ms\n  connect +.* ms\n$")
            status, out, err = run(*kvtip, "connect", host, str(port))
            self.assertRegex(f"{status} {out}{err}", rf"^1 ADDRESS .*\n{remote} .* ms  (10061: .*)\n(  .* ms\n)+"
                             r"kvtip: connect: \1\n$")
            self.assertEqual(self.attempts(host, str(port), status=1), [(host, 10061)])

    def test_ping_shows_each_answer_and_sums_up(self):
        self.assertRegex(self.output("ping", "127.0.0.1", "--count", "2", "--ttl", "1", "--size", "65500"),
                         r"^pinging 127\.0\.0\.1 with 65500 bytes\n(reply from 127\.0\.0\.1: <?\d+ ms, "
                         r"ttl \d+\n){2}2 sent, 2 answered, 0% lost\n.+\n$")

    def test_ping_shows_an_answer_before_it_sends_the_next_echo(self):
        with subprocess.Popen([*kvtip, "ping", "127.0.0.1", "--count", "60"], stdout=subprocess.PIPE) as ping:
            self.assertIn(b"pinging", ping.stdout.readline())
            self.assertIn(b"reply", ping.stdout.readline())
            ping.send_signal(signal.SIGINT)  # as Ctrl-C, long before its end
            self.assertRegex(ping.stdout.read(), rb"(?m)^\d+ sent, \d+ answered, 0% lost$")

    def test_ping_without_an_answer_is_a_failure(self):
        status, out, err = run(*kvtip, "ping", "255.255.255.255", "--count", "1")  # where no echo may go
        self.assertRegex(f"{status} {out}{err}", r"^1 pinging .*\nno answer: \d+: .*\S\n"
                         r"1 sent, 0 answered, 100% lost\nkvtip: ping: \d+: .*\S\n$")

    def client_end(self, rows, program):
        """The client's end of the connection that a program has with itself. Wine 8 knows the process of no other."""
        listening = [row["local"]["port"] for row in rows if row.get("state_name") == "listen"]
        return next(row for row in rows if row.get("process_name") == program and "remote" in row
                    and row["local"]["port"] not in listening)

    @unittest.skipUnless(os.path.exists(built("echo.exe")), "needs the example")
    def test_connections_are_those_of_a_program(self):
        name, shown = "echo\u202e\u009b.exe", r"echo\\u202E\\u009B\.exe"
        with copies(("echo.exe", name), ("kvtIP.dll", "kvtIP.dll")) as folder, subprocess.Popen(
            [*kvtip[:-1], os.path.join(folder, name), "wait"], stdin=subprocess.PIPE, stdout=subprocess.PIPE
        ) as echo:
            echo.stdout.readline()  # it has connected and sent
            end = self.client_end(self.found("connections"), name)
            port, other = end["local"]["port"], end["remote"]["port"]
            every = ["established", "established", "listen"]
            for options, expected in (("--family 4 --resolve", every), ("--udp", []),
                                      ("--state Established", every[:2]), ("--listening", every[2:]),
                                      (f"--port {port}", every[:1]), (f"--remote-port {port}", every[:1]),
                                      ("--process 4294967295", []), ("--process nobody", [])):
                found = [row.get("state_name") for row in self.found("connections", *options.split())
                         if row["protocol_name"] == "TCP" and row["local"]["port"] in (port, other)]
                self.assertEqual(sorted(found), expected, options)
            for process in (str(end["process"]), name[:-4].upper()):
                rows = self.found("connections", "--process", process)
                self.assertIn(end, rows)
                self.assertEqual({row["process"] for row in rows}, {end["process"]})
            self.assertRegex(self.output("connections"), rf"(?m)^TCP +127\.0\.0\.1:{port} +127\.0\.0\.1:{other} "
                             rf"+established .* {shown}$")
            ends = f"127.0.0.1:{port}", f"127.0.0.1:{other}"
            self.assertRegex(self.output("owner", *ends), rf"process +{shown}\n")
            self.assertEqual(self.found("owner", *ends), {key: end[key] for key in (
                "local", "remote", "process", "process_name")})
            echo.communicate(b"\n", timeout=60)
        self.assert_fails(1168, "owner", "203.0.113.77", "127.0.0.1")

    @unittest.skipUnless(os.path.exists(built("echo.exe")), "needs the example")
    def test_ports_are_those_of_two_programs(self):
        names = ["one.exe", "two.exe"]
        with copies(*(("echo.exe", name) for name in names), ("kvtIP.dll", "kvtIP.dll")) as folder, \
                contextlib.ExitStack() as programs:
            for name in names:
                programs.enter_context(subprocess.Popen([*kvtip[:-1], os.path.join(folder, name), "wait"],
                                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)).stdout.readline()
            rows = self.found("connections", "--sort", "port")
            self.assertEqual(rows, sorted(rows, key=lambda row: row["local"]["port"]))
            for name in names:
                end = self.client_end(rows, name)
                local, port = end["local"], str(end["local"]["port"])
                path = "Z:" + os.path.join(folder, name).replace("/", "\\") if "wine" in kvtip[0] else None
                use = next(row for row in self.found("port", port, "--tcp") if row["connections"])
                self.assertEqual(use, {
                    "protocol": 6, "protocol_name": "TCP", "local": local, "listening": False, "connections": 1,
                    "process": end["process"], "process_name": name, "process_path": path or use["process_path"]})
                self.assertRegex(self.output("port", port), rf"(?m)^TCP +127\.0\.0\.1:{port} +1 connection +"
                                 rf"{end['process']} +{name} +\S.*\\{name}$")
                self.assert_fails(1168, "port", port, "--udp")
            self.assertRegex(self.output("connections", "--process", "one"), r"(?s)^PROTOCOL.* one\.exe\n.*\d connections?\n$")

    @unittest.skipUnless("lab0" in required, "needs the lab")
    def test_examples_of_the_help_work(self):
        names = self.subcommands()
        answered = [["connect", "www.lab.test", "7"], ["reverse", "2001:db8:1::10"]]
        for arguments in [each for name in names for each in self.examples(name)] + answered:
            with self.subTest(arguments):
                self.assertIn(run(*kvtip, *arguments)[0], (0, 1))
                self.reports(*arguments, statuses=(0, 1))
        self.assertGreaterEqual(self.have_result, set(names) - {"mac", "owner", "port"})

    @unittest.skipUnless("lab0" in required, "needs the lab")
    def test_lab_is_as_it_was_made(self):
        for arguments, expected in (
                ("v6.lab.test aaaa", "AAAA 2001:db8:1::12"), ("198.51.100.10", "PTR www.lab.test"),
                ("lab.test", 'MX 10 www.lab.test NS www.lab.test TXT "v=spf1 -all" "second"'),
                ("lab.test Soa", "SOA www.lab.test admin.lab.test 2026 3600 600 86400"),
                ("_sip._tcp.lab.test srv", "SRV 1 2 5060 www.lab.test"), ("chain.lab.test cname", "CNAME alias.lab.test")):
            with self.subTest(arguments):
                words = self.output("lookup", *arguments.split()).split()
                self.assertEqual(" ".join(each for each in words if each != "60"), "TYPE SECONDS DATA " + expected)
                self.reports("lookup", *arguments.split())
        self.assert_fails(9003, "lookup", "nobody.lab.test")
        self.assertEqual(self.output("reverse", "2001:db8:1::10"), "www.lab.test\n")

        for options, far in (([], r"far\.lab\.test \(203\.0\.113\.2\)"), (["--numeric"], r"203\.0\.113\.2")):
            self.assertRegex(self.output("trace", "far.lab.test", *options),
                             rf"\n  1  198\.51\.100\.1(  <?\d+ ms){{3}}\n  2  {far}(  <?\d+ ms){{3}}\n203\.0\.113\.2 reached\n$")
        self.assertRegex(self.output("neighbours", "--family", "4"),
                         r"\n198\.51\.100\.50 +02-00-5E-10-00-50 ")
        for host, way in (("203.0.113.2", {"network": "0.0.0.0/0", "next_hop": "198.51.100.1", "on_link": False}),
                          ("198.51.100.10", {"network": "198.51.100.0/24", "on_link": True})):
            self.assertEqual(self.found("route", host), {
                "destination": host, "interface_index": socket.if_nametoindex("lab0"), "adapter": "lab0",
                "source": "198.51.100.2", "metric": 0, **way})
        table = self.found("routes", "--interface", "LAB0", "--family", "4")
        link = {"interface_index": socket.if_nametoindex("lab0"), "adapter": "lab0"}
        for each in ({"network": "0.0.0.0/0", "next_hop": "198.51.100.1", "on_link": False, **link},
                     {"network": "198.51.100.0/24", "on_link": True, **link}):
            self.assertIn(each, [{key: row[key] for key in row if key in {*each, "next_hop"}} for row in table])
        self.assertRegex(self.output("routes"), r"(?m)^0\.0\.0\.0/0 +198\.51\.100\.1 +lab0 +\d+ ")
        for arguments in ([], ["203.0.113.2"]):
            me = self.found("me", *arguments)
            self.assertEqual([me[key] for key in ("adapter", "address", "prefix_length", "next_hop", "dial_up")],
                             ["lab0", "198.51.100.2", 24, "198.51.100.1", False])
        self.assertEqual([row["name"] for row in self.found("adapters") if row["primary"]], ["lab0"])
        self.assertEqual({row["address"].partition("%")[2] for row in self.found("addresses")
                          if row["range"] == "link-local" and row["adapter"] == "lab0"},
                         {str(socket.if_nametoindex("lab0"))})
        self.assertEqual(each_address(self.found("dns")), ["198.51.100.1", "2001:db8:1::1"])

    @unittest.skipUnless("lab0" in required, "needs the lab")
    def test_connect_does_not_wait_for_a_dead_path(self):
        dead, live = ("2001:db8:1::66", 995), ("198.51.100.10", 0)
        self.assertEqual(self.attempts("dead6.lab.test", "7"), [dead, live])
        self.assertEqual(self.attempts("dead6.lab.test", "7", "--family", "4"), [live])
        self.assertRegex(self.output("connect", "dead6.lab.test", "7"), r" given up\n198\.51\.100\.10:7 .* connected\n")
        self.assertEqual(self.attempts("198.51.100.1", "81", "--timeout", "0.3", status=1), [("198.51.100.1", 10060)])

    @unittest.skipUnless("lab0" in required, "needs the lab")
    def test_connect_shows_its_attempts_on_ctrl_c(self):
        with subprocess.Popen([*kvtip, "connect", "198.51.100.66", "7", "--json"], stdout=subprocess.PIPE) as connect:
            while not run("ss", "-Htn", "state", "syn-sent", "dst", "198.51.100.66")[1]:
                self.assertIsNone(connect.poll())
            connect.send_signal(signal.SIGINT)
            last = json.load(connect.stdout)
        contract.validate(last)
        self.assertEqual((connect.returncode, last["error"]["code"]), (1, 995))
        self.assertEqual([each["error"]["code"] for each in last["result"]["attempts"]], [995])

    @unittest.skipUnless("lab0" in required, "needs the lab")
    def test_hosts_are_resolved_in_time(self):
        with stopped_name_server() as (_, questions):
            self.assert_fails(10060, "resolve", "www.lab.test", "--timeout", "1")
            size = questions() // 2  # of those for one host, in a run with text and one with JSON
        with stopped_name_server() as (_, questions):
            rows = self.reports("resolve", "www.lab.test", "localhost", "--timeout", "1", statuses=[1])[-1]["result"]
            self.assertEqual([(row["host"], row.get("address", row.get("error", {}).get("code"))) for row in rows],
                             [("www.lab.test", 10060), ("localhost", "::1"), ("localhost", "127.0.0.1")])
        hosts = [f"h{number}.pool.lab.test" for number in range(100)]
        with stopped_name_server() as (go_on, questions), \
                subprocess.Popen([*kvtip, "resolve", *hosts], stdout=subprocess.PIPE, text=True) as resolve:
            wait_until(lambda: questions() == size * len(hosts))  # before any is answered
            go_on()
            rows = [line.split()[:2] for line in resolve.communicate()[0].splitlines()]
        self.assertEqual((resolve.returncode, rows), (0, [["HOST", "ADDRESS"], *([host, "198.51.100.10"] for host in hosts)]))

    @unittest.skipUnless("lab0" in required, "needs the lab")
    def test_interrupted_lookup_shows_what_is_known(self):
        with stopped_name_server() as (_, questions), \
                subprocess.Popen([*kvtip, "resolve", "127.0.0.1", "www.lab.test"], stdout=subprocess.PIPE,
                                 stderr=subprocess.PIPE, text=True) as resolve:
            wait_until(questions)
            resolve.send_signal(signal.SIGINT)
            out, err = resolve.communicate()
        self.assertRegex(out, r"\n127\.0\.0\.1 +127\.0\.0\.1 .*\nwww\.lab\.test +- .* 995: ")
        self.assertRegex(f"{resolve.returncode} {err}", r"^1 kvtip: resolve: 995: .*\S\s*$")

    @unittest.skipUnless("lab0" in required, "needs the lab")
    def test_sweep_shows_the_hosts_that_answer(self):
        *rows, end = self.reports("ping", "198.18.0.0/24", "--timeout", "2000")
        self.assertEqual([each["row"]["address"] for each in rows], [f"198.18.0.{host}" for host in range(1, 255)])
        self.assertEqual((end["result"]["sent"], end["result"]["loss"]), (254, 0))
        self.assertRegex(self.output("ping", "198.51.100.0/24", "--timeout", "300"),
                         r"^pinging the 254 hosts of 198\.51\.100\.0/24\n" + "".join(
                             rf"198\.51\.100\.{host}  <?\d+ ms\n" for host in (1, 2, 3, 10, 11))
                         + r"254 hosts pinged, 5 answered\n$")
        silent = self.reports("ping", "198.18.9.0/30", "--timeout", "100", statuses=[1])[-1]
        self.assertEqual((silent["result"]["sent"], silent["error"]["code"]), (2, 11010))

    def interrupted(self, lines, *arguments):
        """Presses Ctrl-C after so many lines, and returns the exit status and all lines."""
        with subprocess.Popen([*kvtip, *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT) as going:
            shown = [going.stdout.readline() for _ in range(lines)]
            going.send_signal(signal.SIGINT)  # which Wine passes on as Ctrl-C
            shown += going.stdout.readlines()
        return going.returncode, [each.decode().strip() for each in shown]

    @unittest.skipUnless("lab0" in required, "needs the lab")
    def test_ctrl_c_shows_what_is_known(self):
        for lines, arguments, status, expected in (
                (3, "ping 198.51.100.10 --count 0 --interval 0.05", 0, {"lost": 0}),
                (255, "ping 198.18.0.0/16 --timeout 500", 0, {"answered": 255}),
                (1, "trace 203.0.113.77 --timeout 500 --numeric", 1, {"reached": False})):
            with self.subTest(arguments):
                code, shown = self.interrupted(lines, *arguments.split(), "--json")
                *rows, end = map(json.loads, shown)
                for each in (*rows, end):
                    contract.validate(each)
                self.assertEqual((code, end.get("error", {}).get("code")), (status, 995 if status else None))
                self.assertGreaterEqual(len(rows), lines)
                self.assertEqual({**end["result"], **expected}, end["result"])
                self.assertIn(len(rows), (end["result"].get("hops"), end["result"].get("answered")))
        code, shown = self.interrupted(1, "ping", "198.51.100.66", "--count", "0", "--timeout", "60000")
        self.assertEqual((code, shown[1:]), (1, ["0 sent, 0 answered, 0% lost",
                                                 "kvtip: ping: 995: The operation was cancelled."]))
        for name in ("ping", "trace"):
            with stopped_name_server() as (_, questions), \
                    subprocess.Popen([*kvtip, name, "www.lab.test"], stderr=subprocess.PIPE, text=True) as lookup:
                wait_until(questions)
                lookup.send_signal(signal.SIGINT)
                self.assertIn(f"kvtip: {name}: 995: ", lookup.communicate()[1])

    @unittest.skipUnless("lab0" in required, "needs the lab")
    def test_traffic_grows_while_data_flows(self):
        def received():
            [adapter] = self.found("adapters", "LAB0", "--counters")
            return adapter["counters"]["received"]["bytes"]

        before = received()
        with subprocess.Popen([*kvtip, "traffic", "lab0", "--interval", "0.2", "--json"],
                              stdout=subprocess.PIPE) as traffic:
            traffic.stdout.readline()
            with socket.create_connection(("198.51.100.10", 7)) as echo:
                rate, sent = 0, b"x" * 100_000
                while rate == 0:
                    echo.sendall(sent)
                    self.assertTrue(echo.recv(len(sent), socket.MSG_WAITALL))
                    row = json.loads(traffic.stdout.readline())["row"]
                    rate = row["adapters"][0]["received"]["bits_per_second"]
            traffic.send_signal(signal.SIGINT)  # as Ctrl-C
            last = traffic.stdout.read().splitlines()[-1]
        self.assertEqual(traffic.returncode, 0)
        self.assertGreater(json.loads(last)["result"]["samples"], 1)
        self.assertGreaterEqual(received(), before + len(sent))
        self.assert_fails(1168, "traffic", "labdown")

    @unittest.skipUnless("lab0" in required, "needs the lab")
    def test_watch_shows_an_address_that_comes_and_goes_until_ctrl_c(self):
        ended = threading.Event()

        def change():  # also before the first look at the network
            for what in itertools.cycle(("add", "del")):
                run("ip", "addr", what, "198.51.100.77/25", "dev", "lab0")
                if ended.wait(0.5) and what == "del":
                    return

        changer = threading.Thread(target=change)
        with subprocess.Popen([*kvtip, "watch", "--only", "addresses", "--interval", "0.1", "--json"],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT) as watch:
            changer.start()
            lines = [watch.stdout.readline(), watch.stdout.readline()]
            ended.set()
            changer.join()
            watch.send_signal(signal.SIGINT)  # which Wine passes on as Ctrl-C
            lines += watch.stdout.readlines()
        self.assertNotIn(b"", lines, f"ended early with {watch.returncode}")
        *rows, end = map(json.loads, lines)
        for each in (*rows, end):
            contract.validate(each)
        self.assertEqual((watch.returncode, end["result"]), (0, {"changes": len(rows)}))
        found = {(*map(each["row"].get, ("kind_name", "adapter", "address", "prefix_length")),) for each in rows}
        self.assertEqual(found, {(f"address {what}", "lab0", "198.51.100.77", 25) for what in ("added", "removed")})
        status, _, err = run(*kvtip, "watch")  # Wine signals no changes
        self.assertRegex(f"{status} {err}", rf"^1 kvtip: watch: 120: .* --interval 1\.\n{doctor_helps}$")

    @unittest.skipUnless(os.path.exists("/dev/full"), "needs a device that is always full")
    def test_output_that_cannot_be_written_is_a_failure(self):
        with open("/dev/full", "wb") as full:
            status, _, err = run(*kvtip, "addresses", stdout=full)
        self.assertRegex(f"{status} {err}", r"^1 kvtip: addresses: 112: .*\S\n$")

    def test_reader_that_has_seen_enough_ends_the_output_quietly(self):
        reader, writer = os.pipe()
        os.close(reader)
        with open(writer, "wb") as pipe:
            self.assertEqual(run(*kvtip, "adapters", stdout=pipe)[2], "")

    @unittest.skipUnless("wine" in kvtip[0], "Wine alone can be told to leave a library out")
    def test_missing_socket_library_is_a_failure(self):
        without = {"env": with_overrides("ws2_32=")}
        status, out, err = run(*kvtip, "adapters", **without)
        if status == 53:
            self.skipTest("this Wine's IP Helper library does not load without the socket library")
        self.assertRegex(f"{status} {out}{err}", rf"^1 kvtip: adapters: 126: .*\S\n{doctor_helps}$")
        status, out, err = run(*kvtip, "doctor", **without)
        self.assertRegex(out, r"Ws2_32.dll +missing: The library does not start\.\n")
        self.assertEqual((status, err), (1, f"kvtip: doctor: 126: A library of the system is missing.\n{doctor_helps}"))
        self.assertRegex(self.doctor_beside("ws2_32"), r"Ws2_32.dll +(\d+) of \1 entries\n")

    @unittest.skipUnless("wine" in kvtip[0], "Wine alone can be told to prefer a planted library")
    def test_libraries_beside_the_program_are_not_loaded(self):
        self.assertRegex(self.doctor_beside("rasapi32"), r"rasapi32.dll +2 of 2 entries\n")

    def test_doctor_finds_the_entries_of_the_system(self):
        self.assertRegex(self.output("doctor"), r"\n +kvtIP +starts\n +Ws2_32.dll +(\d+) of \1 entries\n")

    def test_report_holds_what_the_subcommands_show(self):
        page = self.output("report")
        for part in ("hostname", "doctor", "me"):
            for line in self.output(part).splitlines():
                self.assertIn(line.strip(), page)


unittest.main(argv=sys.argv[:1])
