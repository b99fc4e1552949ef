#!/usr/bin/env python3
"""Whole runs of `tessera network`: numbers of slices, digests, children that fail, and growth of the cost."""
import glob
import hashlib
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest

PROGRAMS = sys.argv.pop(1)
INSTALLED = "var/run/uci/network"
TESSERA = f"/.host{PROGRAMS}/tessera"  # where a preview reaches the machine's files
RUN = f'exec {TESSERA} "$@"'
LINE = re.compile(r'config ([a-z]+)(?: ([A-Za-z0-9_]+))?|'
                  r'\t(option|list) ([a-z0-9_]+) (?:"((?:[^"\\]|\\.)*)"|(-?[0-9]+))')


def read(text):
    """The sections of a UCI file in order, strictly: (name or None, {option: value or list of values})."""
    assert text.endswith("\n"), "the last line is cut"
    sections = []
    for line in filter(None, text.split("\n")):
        match = LINE.fullmatch(line)
        assert match, f"malformed: {line!r}"
        section, name, keyword, option, quoted, number = match.groups()
        value = number if quoted is None else re.sub(r"\\(.)", r"\1", quoted)
        if section:
            sections.append((name, {}))
        elif keyword == "list":
            sections[-1][1].setdefault(option, []).append(value)
        else:
            sections[-1][1][option] = value
    return sections


def sections(config, runtime=None, tessera=RUN):
    """Runs the shell script `tessera` on a router; gives the sections by name, and all that it wrote by path."""
    with tempfile.TemporaryDirectory() as scratch:
        for path, text in {"config.json": json.dumps(config), "runtime.json": json.dumps(runtime or {}),
                           "tessera": f"#!/bin/sh\n{tessera}\n"}.items():
            with open(f"{scratch}/{path}", "w", encoding="utf-8") as out:
                out.write(text)
        os.chmod(f"{scratch}/tessera", 0o755)
        subprocess.run([f"{PROGRAMS}/tessera-preview", "-c", f"{scratch}/config.json", "-r", f"{scratch}/runtime.json",
                        "--tessera", f"{scratch}/tessera", "-o", f"{scratch}/out", "network"],
                       check=True, stderr=subprocess.DEVNULL)
        written = {}
        for path in filter(os.path.isfile, glob.glob(f"{scratch}/out/**/*", recursive=True)):
            with open(path, encoding="utf-8", newline="") as file:
                written[os.path.relpath(path, f"{scratch}/out")] = file.read()
        return dict(read(written[INSTALLED])), written


def modem(**settings):
    return {"type": "modem", "enable": True, "modem": {"device": "m", **settings}}


class Values(unittest.TestCase):
    """What is calculated, and what fails and is left out."""

    def test_slices(self):
        cases = [("EMBB", 9, 0, "01", ""), ("URLLC", 9, -1, "02", ""), ("MIOT", 9, 1, "03", "000001"),
                 ("custom", 1, 255, "01", "0000ff"), ("custom", 255, 0xffffff, "ff", "ffffff"), ("embb", 9, 0, "", "")]
        read_back, _ = sections(
            {"network": {"modem": {"m": {}}, "interface": {
                f"s{i}": modem(sst=sst, custom_sst=custom, sd=sd) for i, (sst, custom, sd, *_) in enumerate(cases)}}},
            {f"mm.map.interface_idx.s{i}": "0" for i in range(len(cases))})
        self.assertEqual([(*case[:3], read_back[f"interface_s{i}"]["sst"], read_back[f"interface_s{i}"]["sd"])
                          for i, case in enumerate(cases)], cases)

    def test_digests(self):
        """The digest is the MD5 of the settings as sorted compact JSON and a line end."""
        for text in ["", "-n", "größe \"\\ ' %s $(x)", "-----BEGIN\nKEY\n", "secret'" * 30000]:
            entry = {"username": "u", "password": text.replace("\n", ""), "port": 1194, "enable": True,
                     "config_file": text}
            read_back, _ = sections({"vpn": {"openvpn": {"client": {"c": entry}}}})
            dump = json.dumps(entry, sort_keys=True, separators=(",", ":"), ensure_ascii=False) + "\n"
            self.assertEqual([options["conf_md5sum"] for options in read_back.values() if "conf_md5sum" in options],
                             [hashlib.md5(dump.encode()).hexdigest()], text[:40])

    def test_what_fails_is_left_out(self):
        no_hostname = ("ipv4_interface_d", {"proto"}, {"hostname", "dhcp_hostname"})
        config = {"network": {"modem": {"m": {}}, "interface": {
            "d": {"type": "ethernet", "enable": True, "ipv4": {"enable": True, "type": "dhcp"}}, "m": modem(),
            "t": {"type": "passthrough", "enable": True, "passthrough": {"src": ["m"]}}}},
            "vpn": {"openvpn": {"server": {"s": {"enable": True}}, "client": {"c": {"enable": True, "username": "u"}}}}}
        providers = {"service_providers", "service_providers_override"}
        no_md5sum = "mount --bind /bin/false $(command -v md5sum)"
        for obstacle, section, present, absent in [
                ("mount --bind /bin/false /bin/hostname", *no_hostname),
                ("mount --bind /bin/true /bin/hostname", *no_hostname),
                (no_md5sum, "interface_m", providers, {"service_providers_md5sum"}),
                (no_md5sum, "openvpn_server_s", {"metric"}, {"conf_md5sum"}),
                ("mkdir /var/run/serviceproviders-m.txt", "interface_m", {"sd", "passthrough"}, providers),
                ("cd /var/run && mkdir config_file_server_s userpass_c.cfg", "openvpn_server_s", {"conf_md5sum"}, set())]:
            read_back, written = sections(config, {"mm.map.interface_idx.m": "0"}, tessera=f"{obstacle} && {RUN}")
            self.assertLessEqual(present, set(read_back[section]), obstacle)
            self.assertFalse(absent & set(read_back[section]), obstacle)
            self.assertIn("var/run/config_file_c", written)
        self.assertFalse([path for path in written if path.endswith(".ovpn")], "a template of a server without a file")


class Growth(unittest.TestCase):
    """Ten times the interfaces and devices cost about ten times the instructions."""

    @staticmethod
    def instructions(count):
        config = {"network": {"device": {}, "interface": {}, "bridge": {
            "b": {"enable": True, "auto_mac_assignment": True, "device": []}}},
            "vpn": {"iptunnel": {}, "l2tp": {"enable": True, "lac": {}}}}
        network, vpn, facts = config["network"], config["vpn"], {}
        for i in range(count):
            network["device"][f"e{i}"] = {"type": "ethernet", "name": f"e{i}"}
            network["bridge"]["b"]["device"].append(f"/network/device/e{i}")
            network["interface"][f"i{i}"] = {"type": "ethernet", "enable": True, "device": f"/network/device/e{i}",
                                             "ipv4": {"enable": True, "type": "static", "address": "192.0.2.1/24"}}
            network["interface"][f"p{i}"] = {"type": "passthrough", "enable": True, "ipv4": {"enable": True},
                                             "passthrough": {"src": [f"i{i}"]}}
            vpn["iptunnel"][f"t{i}"] = {"enable": True, "local": f"/network/interface/i{i}"}
            vpn["l2tp"]["lac"][f"l{i}"] = {"lns": "192.0.2.9"}
            facts[f"network.interface.i{i}.ipv4.address"] = "192.0.2.1"
        read_back, written = sections(config, facts, tessera=(
            f'valgrind -q --tool=callgrind --callgrind-out-file=/var/run/profile {TESSERA} "$@"'))
        assert len(read_back) == 4 * count + 3, len(read_back)
        return next(int(line.split()[1]) for line in written["var/run/profile"].split("\n") if line[:8] == "summary:")

    def test_cost_is_linear(self):
        small, large = (self.instructions(count) for count in SIZES)
        print(f"instructions: {small} for {SIZES[0]}, {large} for {SIZES[1]}", file=sys.stderr)
        self.assertLess(large / small, 1.2 * SIZES[1] / SIZES[0])


SIZES = [int(size) for size in os.environ.get("SIZES", "300 3000").split()]

if __name__ == "__main__":
    unittest.main()
