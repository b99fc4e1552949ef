#!/usr/bin/env python3
"""Hostile texts in every text member of the configuration, through every service.

    hostile_test.py BIN_DIRECTORY SOURCE_DIRECTORY

A run with harmless texts is what the others are measured by. Each is a preview, which shows every file that a run makes
anywhere: no hostile text adds a file, a line or an option, none is executed, the UCI file gives back each exactly, and
no secret is told.
"""
import importlib
import json
import os
import re
import subprocess
import sys
import tempfile

import router

TOUCH = "touch /executed"
HARMLESS = "@"
# "@" stands for the text that tells the member. Those of several lines go where several lines may stand.
HOSTILE = [f"$({TOUCH})@`{TOUCH}`", f"@;{TOUCH};|{TOUCH}&{TOUCH}&&", f"'; {TOUCH}; '\"; {TOUCH}; \"@", "\\n@\\",
           "--@", "%s%n%d%99999s@%", "/../../../../executed/@", "@ # ] } > ) , : = !", "größe € 😀 @", "  @  ",
           "@" + "A" * 65536, f"@\n$({TOUCH})\n\tup /bin/sh\r\n`{TOUCH}`\n\n\nconfig interface x\n", "\n\n@\n"]
SECRET = "GEHEIM"

HOSTILE_FACTS = ["network.interface.v0.ipv4.address", "network.interface.v0.ipv4.netmask", "system.mac",
                 "system.serial", "seriald.v0.device", "remote_builtin.speedtest.interface"]
DOCUMENTED = re.compile(
    r"runtime\.json|var/run/(uci/network|openvpn/router-v\d\.ovpn|config_file_(server_)?v\d|userpass_v\d\.cfg|"
    r"serviceproviders-v\d\.txt|dnsmasq\.conf|hostnamesniffer\.cfg|(pam|radius|ldap)\.conf|ipsec\.(conf|secrets)|"
    r"ipsec\.d/(a?acerts|ocspcerts|(conf|private|certs|cacerts|crls|secrets)"
    r"(/v\d\d*(\.\d+)?\.(conf|secret|rsa|pub|peerpub|cert|peercert|cacert|crl))?))")
# Texts whose line is cut in two when they are as long as the longest hostile one, by the entry that the note is about.
CUT_IN_TWO = """auth.ldap auth.radius auth.radius.server auth.tacacs+ network.interface.ipv4.dhcp_server
network.interface.ipv4.dhcp_server.advanced.custom_option network.interface.ipv4.dhcp_server.advanced.static_lease
network.route.policy service.dns.allowlist service.dns.host service.dns.server vpn.openvpn.client""".split()

PROGRAMS, SOURCE = (os.path.abspath(argument) for argument in sys.argv[1:])
sys.path.insert(0, f"{SOURCE}/tests/network")
NETWORK_FILE = importlib.import_module("network_file_test")
SCHEMA = json.loads(subprocess.run([f"{PROGRAMS}/tessera-config", "schema"], check=True, stdout=subprocess.PIPE).stdout)


class Document:
    """A configuration with the pattern in every text that no entry fixes; `texts` are these, by what tells them."""

    def __init__(self, pattern):
        self.pattern, self.texts, self.places = pattern, {}, {}
        self.root = router.document(SCHEMA, self.text)

    def text(self, schema, place, name):
        told = f"b{len(self.texts):04}" + (SECRET if router.is_secret(name) else "")
        self.places[told[:5]] = place
        many_lines = "x0B" in schema["not"]["pattern"]
        self.texts[told] = self.pattern.replace("@", told) if many_lines or "\n" not in self.pattern else told
        return self.texts[told]

    def facts(self):
        hostile = self.pattern.replace("@", "fact") if "\n" not in self.pattern else "fact"
        return {**router.FACTS, **{key: hostile for key in HOSTILE_FACTS}}


def run(pattern):
    """What all services make of the document: files by path, and all that was said, the checker's lines alone too."""
    document = Document(pattern)
    with tempfile.TemporaryDirectory() as scratch:
        os.makedirs(f"{scratch}/rootfs/etc")
        for path, text in (("config.json", json.dumps(document.root)), ("facts.json", json.dumps(document.facts())),
                           ("rootfs/etc/hostname", "router\n")):
            with open(f"{scratch}/{path}", "w", encoding="utf-8") as file:
                file.write(text)
        said = []
        for command in ("tessera-config check config.json",
                        "tessera-preview -c config.json -r facts.json -f rootfs --show-secrets -o out all"):
            done = subprocess.run(f"{PROGRAMS}/{command}".split(), cwd=scratch, check=False, text=True, timeout=300,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            expect(done.returncode == 0, f"{command} ended with {done.returncode}: {done.stdout[-500:]}")
            said.append(done.stdout)
        written = {}
        for directory, names, files in os.walk(f"{scratch}/out"):
            for path in (os.path.join(directory, name) for name in [*names, *files]):
                if not os.path.isdir(path) or not os.listdir(path):
                    is_file = os.path.isfile(path) and not os.path.islink(path)
                    with open(path if is_file else os.devnull, "rb") as file:
                        written[os.path.relpath(path, f"{scratch}/out")] = file.read()
    return document, written, "".join(said), said[0].splitlines()


def expect(truth, message):
    if not truth:
        FAILURES.append(message)


def compare_network(pattern, texts, harmless, hostile):
    """Every value of the harmless file has become the hostile text of the same member."""
    plain, changed = (NETWORK_FILE.read(text.decode()) for text in (harmless, hostile))
    expect([name for name, _ in plain] == [name for name, _ in changed], f"{pattern!r}: other sections")
    for (name, options), (_, got) in zip(plain, changed):
        pieces = set(got) - set(options)
        expect(all("netmask" in option and "/" in pattern for option in pieces), f"{pattern!r}: {name} has {pieces}")
        for option, value in options.items():
            if option.endswith(("md5sum", "netmask")) or isinstance(value, list):
                continue
            wanted = re.sub(rf"b\d{{4}}({SECRET})?", lambda match: texts[match[0]].replace("\n", "\\n"), value)
            wanted = wanted.replace("fact", pattern.replace("@", "fact") if "\n" not in pattern else "fact")
            expect(got.get(option) in (wanted, wanted.split("/")[0]),
                   f"{pattern!r}: {name}.{option} is {str(got.get(option))[:99]!r}")


FAILURES = []
BASE, HARMLESS_FILES, _, _ = run(HARMLESS)
SURPRISES = sorted(path for path in HARMLESS_FILES if not DOCUMENTED.fullmatch(path))
expect(not SURPRISES, f"not documented: {SURPRISES}")
for wanted_path in ("pam.conf", "radius.conf", "ldap.conf", "dnsmasq.conf", "uci/network", "serviceproviders-v3.txt",
                    "config_file_v0", "openvpn/router-v0.ovpn",
                    *(f"ipsec.d/conf/v{i}.conf" for i in (0, 1, 2, 4, 5, 7, 8))):
    expect(f"var/run/{wanted_path}" in HARMLESS_FILES, f"{wanted_path} is missing, texts in it are not tested")
ALL_WRITTEN = b"".join(HARMLESS_FILES.values())
# The rest are words that choose, secrets in base64, references, and members of the other family or kind.
UNREACHED = set(BASE.places.values()) - {place for told, place in BASE.places.items() if told.encode() in ALL_WRITTEN}
expect(len(UNREACHED) <= 100, f"too many texts are not seen in a file: {sorted(UNREACHED)}")
for hostile_pattern in HOSTILE:
    tried, files, told, notes = run(hostile_pattern)
    shown = repr(hostile_pattern[:40])
    expect(set(files) == set(HARMLESS_FILES), f"{shown}: other files: {sorted(set(files) ^ set(HARMLESS_FILES))}")
    expect(SECRET not in told, f"{shown}: a secret was told: {told[max(0, told.find(SECRET) - 200):][:300]!r}")
    for file_path in sorted(set(files) & set(HARMLESS_FILES)):
        several = re.search(r"ipsec\.d/(private|certs|crls|cacerts)", file_path) or (
            "config_file" in file_path or "openvpn" in file_path) and re.search("\n|--", hostile_pattern)
        # A list of peers has no way to write a ";": each piece is a peer then, and has a line.
        several = several or "uci/" in file_path or "secrets/" in file_path and ";" in hostile_pattern
        expect(several or files[file_path].count(b"\n") == HARMLESS_FILES[file_path].count(b"\n"),
               f"{shown}: other lines in {file_path}")
    if "var/run/uci/network" in files:
        compare_network(hostile_pattern, tried.texts, *(of["var/run/uci/network"] for of in (HARMLESS_FILES, files)))
    if len(hostile_pattern) > 65536:
        places = {re.sub(r"\.(v?\d+)\b", "", line.split(": ")[2]) for line in notes if "its reader takes" in line}
        missing = [place for place in CUT_IN_TWO if place not in places]
        expect(not missing, f"the checker says nothing of the length of {missing}, only of {sorted(places)}")
print(f"{len(HOSTILE)} hostile texts in {len(set(BASE.places.values()))} members")
sys.exit("\n".join(FAILURES[:40]) if FAILURES else 0)
