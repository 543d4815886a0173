#!/usr/bin/env python3
"""Runs kvtip as a user does: kvtip_test.py COMMAND..., where COMMAND runs kvtip."""

import json
import os
import subprocess
import sys
import unittest

kvtip = sys.argv[1:]
os.environ["LC_ALL"] = "C.UTF-8"  # Wine reads arguments in the locale's encoding

# arguments, exit status, standard output, standard error
fixed_answers = [
    (["--version"], 0, "kvtip 0.1.0\n", ""),
    ([], 2, "", "kvtip: A subcommand is required\ntry 'kvtip --help'\n"),
    (["nothing"], 2, "", "kvtip: The following argument was not expected: nothing\ntry 'kvtip --help'\n"),
    (["adapters", "grüße €😀"], 2, "",
     "kvtip: The following argument was not expected: grüße €😀\ntry 'kvtip adapters --help'\n"),
    (["adapters", "*"], 2, "",
     "kvtip: The following argument was not expected: *\ntry 'kvtip adapters --help'\n"),
    (["addresses", "--family", "5"], 2, "",
     "kvtip: --family: 5 not in {4,6}\ntry 'kvtip addresses --help'\n"),
]


def run(*arguments, stdout=subprocess.PIPE, **options):
    done = subprocess.run([*kvtip, *arguments], stdout=stdout, stderr=subprocess.PIPE, timeout=120, check=False,
                          **options)
    return done.returncode, (done.stdout or b"").decode(), done.stderr.decode().replace("\r", "")


class Kvtip(unittest.TestCase):
    def output(self, *arguments):
        status, out, err = run(*arguments)
        self.assertEqual((status, err), (0, ""), arguments)
        return out

    def test_fixed_answers(self):
        for arguments, *answer in fixed_answers:
            with self.subTest(arguments=arguments):
                self.assertEqual(list(run(*arguments)), answer)

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
            shown += adapter["gateways"] + adapter["dns_servers"]
            shown += [f"{a['address']}/{a['prefix_length']}" for a in adapter["addresses"]]
            for value in filter(None, shown):
                self.assertIn(f"{value}", block)

    @unittest.skipUnless(os.path.exists("/dev/full"), "needs a device that is always full")
    def test_output_that_cannot_be_written_is_a_failure(self):
        with open("/dev/full", "wb") as full:
            status, _, err = run("addresses", stdout=full)
        self.assertRegex(f"{status} {err}", r"^1 kvtip: addresses: 112: .*\S\n$")

    @unittest.skipUnless("wine" in kvtip[0], "Wine alone can be told to leave a library out")
    def test_missing_socket_library_is_a_failure(self):
        status, out, err = run("adapters", env={**os.environ, "WINEDLLOVERRIDES": "ws2_32="})
        self.assertRegex(f"{status} {out}{err}", r"^1 kvtip: adapters: 126: .*\S\n$")


unittest.main(argv=sys.argv[:1])
