#!/usr/bin/env python3
"""Whole runs of `tessera network`: values read back, addresses of the kernel, faults, and growth of the cost."""
import glob
import json
import os
import subprocess
import sys
import tempfile
import unittest

import uci_reader

PROGRAMS, SOURCE = sys.argv.pop(1), sys.argv.pop(1)
INSTALLED = "var/run/uci/network"


def preview(config, runtime=None, files=None, tessera=None, arguments=("network",), within=()):
    """Runs tessera; gives its status and what it wrote, by path. `files` are on the router before."""
    with tempfile.TemporaryDirectory() as scratch:
        command = [*within, f"{PROGRAMS}/tessera-preview", "-c", f"{scratch}/config.json", "-o", f"{scratch}/out"]
        with open(f"{scratch}/config.json", "w", encoding="utf-8") as out:
            json.dump(config, out)
        if runtime:
            with open(f"{scratch}/runtime.json", "w", encoding="utf-8") as out:
                json.dump(runtime, out)
            command += ["-r", f"{scratch}/runtime.json"]
        for path, text in (files or {}).items():
            os.makedirs(os.path.dirname(f"{scratch}/files/{path}"), exist_ok=True)
            with open(f"{scratch}/files/{path}", "w", encoding="utf-8") as out:
                out.write(text)
            command[-2:-2] = ["-f", f"{scratch}/files"] if "-f" not in command else []
        if tessera:
            with open(f"{scratch}/tessera", "w", encoding="utf-8") as out:
                out.write(f"#!/bin/sh\n{tessera}\n")
            os.chmod(f"{scratch}/tessera", 0o755)
            command += ["--tessera", f"{scratch}/tessera"]
        status = subprocess.run([*command, *arguments], check=False, stderr=subprocess.DEVNULL).returncode
        written = {}
        for path in glob.glob(f"{scratch}/out/**/*", recursive=True):
            if os.path.isfile(path):
                with open(path, encoding="utf-8", newline="") as file:
                    written[os.path.relpath(path, f"{scratch}/out")] = file.read()
        return status, written


def sections(written):
    return {name or options.get("name"): options for _, name, options in uci_reader.read(written[INSTALLED])}


class ReadBack(unittest.TestCase):
    """What an ordinary reader gets is what was configured."""

    NASTY = ["plain", 'a"b', "back\\slash", "end\\", '\\"', "it's", "# no comment", "$(x) `y` %s%n%%", "  blanks  ",
             "größe", "\\n"]

    def test_values(self):
        for text in [*self.NASTY, "two\nlines\n", "carriage\r\n\treturn"]:
            one_line = text.split("\n")[0].rstrip("\r")
            pppoe = {"username": one_line, "password": one_line, "debug": True,
                     "custom": {"enable": True, "override": True, "config_file": text}}
            config = {"network": {
                "advanced": {"ula_prefix": one_line},
                "device": {"lan": {"type": "ethernet", "name": one_line}},
                "bridge": {"br": {"enable": True, "device": ["/network/device/lan"]}},
                "route": {"static": [{"enable": True, "dst": "198.51.100.0/24", "gateway": one_line, "metric": -1}]},
                "interface": {
                    "s": {"type": "ethernet", "enable": True, "device": "/network/device/lan",
                          "ipv4": {"enable": True, "type": "static", "address": "192.0.2.1/24", "gateway": one_line,
                                   "dns": [one_line, "9.9.9.9"], "mac": one_line, "mtu": 1400}},
                    "p": {"type": "pppoe", "enable": True, "pppoe": pppoe},
                    "t": {"type": "passthrough", "enable": True, "ipv4": {"enable": True}, "passthrough": {
                        "src": ["s"], "type": one_line, "pppoe_server": pppoe,
                        "ancillary": {"enable": True, "address": f"{one_line}/32", "gw": one_line}}}}}}
            facts = {"network.interface.s.ipv4.up": "1", "network.interface.s.ipv4.address": one_line,
                     "network.interface.s.ipv4.dns.0": one_line}
            status, written = preview(config, facts)
            self.assertEqual(status, 0)
            # By design: a line feed arrives as a backslash and an n.
            read, file = sections(written), text.replace("\n", "\\n")
            expected = {
                "globals": {"ula_prefix": one_line},
                "link_eth_lan": {"ifname": one_line},
                "br": {"ifname": one_line, "stp": "0", "bridge_empty": "1"},
                "ipv4_interface_s": {"gateway": one_line, "dns": f"{one_line} 9.9.9.9", "macaddr": one_line,
                                     "mtu": "1400", "passthrough": "t", "netmask": "24", "force_link": "0"},
                "interface_p": {"username": one_line, "password": one_line, "debug": "1", "custom_config_file": file},
                "ipv4_interface_t": {"type": one_line, "custom_config_file": file, "passthrough_src": "interface_s",
                                     "ipaddr": one_line, "dns_server": one_line, "ancillary_ipaddr": one_line,
                                     "ancillary_netmask": "32", "ancillary_gateway": one_line},
                "passthrough_ancillary_ipv4_interface_t": {"ipaddr": one_line, "ifname": "lo"},
                None: {"target": "198.51.100.0", "netmask": "24", "gateway": one_line, "metric": "-1"},
            }
            for name, options in expected.items():
                for option, value in options.items():
                    self.assertEqual(read[name].get(option), value, f"{name}.{option} of {text!r}")

    def test_static_ipv6_address_is_not_escaped(self):
        for text, expected in [("2001:db8::1/64", ["2001:db8::1/64"]), ("back\\slash", ["backslash"]), ('a"b', None)]:
            _, written = preview({"network": {"interface": {"i": {
                "type": "ethernet", "enable": True,
                "ipv6": {"enable": True, "type": "prefix_delegation", "static": {"enable": True, "address": text}}}}}})
            if expected:
                self.assertEqual(sections(written)["ipv6_interface_i"]["ip6addr"], expected)
            else:
                self.assertRaises(uci_reader.Malformed, sections, written)

    def test_every_recorded_file_is_well_formed(self):
        files = [path for path in glob.glob(f"{SOURCE}/tests/golden/**/network", recursive=True)
                 if path.endswith(INSTALLED)]
        self.assertTrue(files)
        for path in files:
            with self.subTest(path), open(path, encoding="utf-8", newline="") as file:
                self.assertTrue(uci_reader.read(file.read()))


class KernelAddresses(unittest.TestCase):
    """A bridge takes the address that the kernel gives the member configured first."""

    def test_bridge_address(self):
        tessera = "mount -t sysfs none /sys"
        for name, address in [("m1", "02:00:00:00:00:11"), ("m2", "02:00:00:00:00:22"), ("x.3", "02:00:00:00:00:33")]:
            tessera += f" && ip link add {name} address {address} type bridge"
        tessera = f'{tessera} && exec {PROGRAMS}/tessera "$@"'
        within = ["unshare", *(["-r"] if os.geteuid() else []), "-n"]
        for members, expected in [(["m2", "m1"], "22"), (["gone", "m1", "m2", "m1"], "11"), (["x", "m1"], "33"),
                                  (["gone"], None), ([], None)]:
            config = {"network": {
                "device": {key: {"type": "ethernet", "name": name}
                           for key, name in [("m1", "m1"), ("m2", "m2"), ("x", "x.3"), ("gone", "gone")]},
                "bridge": {"b": {"enable": True, "auto_mac_assignment": True,
                                 "device": [f"/network/device/{key}" for key in members]}}}}
            status, written = preview(config, tessera=tessera, within=within)
            self.assertEqual(status, 0)
            self.assertEqual(sections(written)["b"].get("macaddr"), expected and f"02:00:00:00:00:{expected}")


class Faults(unittest.TestCase):
    """The installed file is the old one or the whole new one."""

    CONFIG = {"network": {"device": {f"e{i}": {"type": "ethernet", "name": f"eth{i}"} for i in range(100)}}}

    def run_tessera(self, command):
        return preview(self.CONFIG, files={INSTALLED: "old\n", f"{INSTALLED}.new": "unfinished"}, tessera=command)

    def test_unusable_directory(self):
        directory, tessera = "/var/run/uci", f'exec {PROGRAMS}/tessera "$@"'
        for obstacle in [f"rm -r {directory}", f"rm -r {directory}; touch {directory}",
                         f"mount --bind {directory} {directory} && mount -o remount,ro,bind {directory}"]:
            status, written = self.run_tessera(f"{obstacle} || exit 99; {tessera}")
            self.assertEqual(status, 1, obstacle)
            self.assertNotIn(INSTALLED, written)
            self.assertIn("network.device_map.99.path", written["runtime.json"], "the device map is missing")

    def test_killed_at_any_point(self):
        _, complete = self.run_tessera(f'exec {PROGRAMS}/tessera "$@"')
        self.assertEqual(len(uci_reader.read(complete[INSTALLED])), 101)
        outcomes = set()
        for call in ["openat", "read", "newfstatat", "mkdir", "fchmod", "write", "fcntl", "pwrite64", "close", "rename",
                     "exit_group"]:
            step, status = 0, 137
            while status == 137:
                step += 1
                status, written = self.run_tessera(f'exec strace -o /dev/null -E ASAN_OPTIONS=detect_leaks=0 '
                                                   f'-e inject={call}:signal=KILL:when={step} '
                                                   f'{PROGRAMS}/tessera "$@"')
                outcomes.add((status, written.get(INSTALLED)))
        whole = complete[INSTALLED]
        self.assertTrue(outcomes == {(137, None), (137, whole), (0, whole)}, [(s, len(t or "")) for s, t in outcomes])


class Growth(unittest.TestCase):
    """Ten times the interfaces and devices cost about ten times the instructions."""

    @staticmethod
    def instructions(count):
        network = {"device": {}, "interface": {}, "bridge": {"b": {"enable": True, "auto_mac_assignment": True,
                                                                   "device": []}}}
        for i in range(count):
            network["device"][f"e{i}"] = {"type": "ethernet", "name": f"e{i}"}
            network["bridge"]["b"]["device"].append(f"/network/device/e{i}")
            network["interface"][f"i{i}"] = {"type": "ethernet", "enable": True, "device": f"/network/device/e{i}",
                                             "ipv4": {"enable": True, "type": "static", "address": "192.0.2.1/24"}}
            network["interface"][f"p{i}"] = {"type": "passthrough", "enable": True, "ipv4": {"enable": True},
                                             "passthrough": {"src": [f"i{i}"]}}
        status, written = preview({"network": network}, tessera=(
            f'valgrind -q --tool=callgrind --callgrind-out-file=/var/run/profile {PROGRAMS}/tessera "$@"'))
        assert status == 0 and len(sections(written)) == 2 * count + 3
        return next(int(line.split()[1]) for line in written["var/run/profile"].split("\n") if line[:8] == "summary:")

    def test_cost_is_linear(self):
        small, large = (self.instructions(count) for count in SIZES)
        print(f"instructions: {small} for {SIZES[0]}, {large} for {SIZES[1]}", file=sys.stderr)
        self.assertLess(large / small, 1.2 * SIZES[1] / SIZES[0])


SIZES = [int(size) for size in os.environ.get("SIZES", "300 3000").split()]

if __name__ == "__main__":
    unittest.main()
