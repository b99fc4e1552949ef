#!/usr/bin/env python3
"""Checks that the work grows in proportion to the size of the document: growth.py BIN_DIRECTORY

The documents hold N entries in every map and array of the schema, or N numbers, names or objects below an unknown key;
others fill one index of a service. For a document that is four times as large, a program may run five times as many
instructions, not sixteen. Needs root; works in its own mount namespace.
"""
import json
import os
import subprocess
import sys

if "--inside" not in sys.argv:
    os.execvp("unshare", ["unshare", "-m", sys.executable, *sys.argv, "--inside"])

BIN = os.path.abspath(sys.argv[1])
CONFIG = "/etc/config/config.json"
SMALL, FACTOR, MOST = 150, 4, 5


def value(schema, count, depth=0):
    """A value with `count` children in each outer map and array, and one child in each inner one."""
    inner = 1 if depth else count
    if schema.get("type") == "array":
        return [value(schema["items"], count, depth + 1) for _ in range(inner)]
    if "properties" in schema:
        return {key: value(below, count, depth) for key, below in schema["properties"].items()}
    if "propertyNames" in schema:
        return {f"n{number}": value(schema["additionalProperties"], count, depth + 1) for number in range(inner)}
    return {"object": {}, "boolean": True, "integer": 1, "number": 1}.get(schema.get("type"), "")


def fnv_1a(text):
    """A well-known hash function, for which anybody can make strings with equal hashes."""
    number = 2166136261
    for byte in text.encode():
        number = (number ^ byte) * 16777619 & 0xFFFFFFFF
    return number ^ number >> 15


def leases(count):
    """Static leases with addresses that have the same place in a table with this hash."""
    found, number = [], 0
    while len(found) < count:
        if fnv_1a(f"a{number}") % 1024 == 0:
            found.append(f"a{number}")
        number += 1
    server = {"enable": True, "lease_start": "10", "lease_end": "20",
              "advanced": {"static_lease": [{"type": "mac", "mac": "00:11:22:33:44:55", "ip": ip} for ip in found]}}
    return {"network": {"device": {"e": {"type": "ethernet"}}, "interface": {"lan": {
        "type": "ethernet", "enable": True, "device": "/network/device/e",
        "ipv4": {"enable": True, "type": "static", "address": "10.0.0.1/24", "dhcp_server": server}}}}}


def tunnels(count):
    """`count` tunnels on the last of `count` default routes, and `count` networks of NHRP on other tunnels."""
    routes = {f"network.route.default.metric.ipv4.{10000 + number}": "other" for number in range(count)}
    facts = {**routes, "network.route.default.metric.ipv4.90000": "network.interface.wan",
             "network.interface.wan.ipv4.ready": "1", "network.interface.wan.ipv4.address": "10.0.0.1"}
    subprocess.run([f"{BIN}/runt", "load", "/dev/stdin"], check=True, text=True, input=json.dumps(facts))
    tunnel = {"enable": True, "local": {"type": "defaultroute"}, "auth": {"type": "secret", "secret": "s"},
              "remote": {"ip_version": "ipv4", "peers": [{"hostname": "a.example"}]}}
    networks = [{"ipsec": f"x{number}"} for number in range(count)]
    return {"network": {"route": {"service": {"nhrp": {"network": networks}}}},
            "vpn": {"ipsec": {"tunnel": {f"n{number}": tunnel for number in range(count)}}}}


def nhrp(count):
    """`count` networks of NHRP, and `count` tunnels that none of them names."""
    return {"network": {"route": {"service": {"nhrp": {"network": [{"ipsec": f"x{number}"} for number in range(count)]}}}},
            "vpn": {"ipsec": {"tunnel": {f"n{number}": {} for number in range(count)}}}}


def instructions(command, document):
    """The number of instructions that a program runs for the document."""
    os.makedirs(os.path.dirname(CONFIG), exist_ok=True)
    with open(CONFIG, "w", encoding="utf-8") as file:
        json.dump(document, file, separators=(",", ":"))
    counted = subprocess.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", f"{BIN}/{command[0]}",
                              *command[1:]], check=False, capture_output=True, text=True)
    if counted.returncode not in (0, 1):
        sys.exit(counted.stderr)
    return int(counted.stderr.rsplit("Collected : ", 1)[1].split()[0])


def main():
    schema = json.loads(subprocess.run([f"{BIN}/tessera-config", "schema"], check=True, capture_output=True).stdout)
    del schema["title"]
    for path in ("/etc", "/run"):
        subprocess.run(["mount", "-t", "tmpfs", "tmpfs", path], check=True)
    wrong = 0
    check = ("tessera-config", "check", CONFIG)
    for what, command, make in (
        ("maps and arrays", check, lambda count: value(schema, count)),
        ("numbers", check, lambda count: {"zz": [1] * (20 * count)}),
        ("names", check, lambda count: {"zz": {f"n{number}": {} for number in range(10 * count)}}),
        ("leases", ("tessera", "dnsmasq"), leases),
        ("tunnels", ("tessera", "ipsec"), tunnels),
        ("networks of NHRP", check, lambda count: nhrp(10 * count)),
    ):
        small, large = (instructions(command, make(count)) for count in (SMALL, SMALL * FACTOR))
        print(f"{what}: {small} instructions, {large} for a document {FACTOR} times as large")
        wrong += large > MOST * small
    sys.exit(wrong)


main()
