#!/usr/bin/python3
"""Compares the JSON Schema with the loader, using an independent validator.

    schema.py BIN_DIRECTORY EXAMPLES_DIRECTORY
"""
import json
import pathlib
import subprocess
import sys

from jsonschema import Draft202012Validator

# What the loader does with a document: it accepts it, ignores a part of it, or refuses it. The lax schema has to refuse
# what the loader refuses; the strict schema has to refuse also IGNORED and SILENT_BUT_ODD.
GOOD, SILENT_BUT_ODD, IGNORED, REFUSED = "good", "silent but odd", "ignored", "refused"
DOCUMENTS = [
    (GOOD, {}),
    (GOOD, {"auth": {"user": {"first-user": {}}, "method": ["tacacs+", ""], "idle_timeout": "12h"}}),
    (GOOD, {"network": {"wlan": {"w": {}}, "radio": {"r_0": {}}, "macsec": {"m": {"local": ""}}}}),
    (GOOD, {"vpn": {"ipsec": {"advanced": {"connection_retry_timeout": {"base": 2, "limit": -5}}}}}),
    (GOOD, {"vpn": {"openvpn": {"client": {"c": {"config_file": "dev tun\r\n\tnobind\n", "username": "é"}}}}}),
    (GOOD, {"vpn": {"ipsec": {"tunnel": {"t": {"ike": {"version": "ikev3"}, "auth": {"type": ""}}}}}}),
    (SILENT_BUT_ODD, {"auth": {"method": ["local", "kerberos"]}}),
    (SILENT_BUT_ODD, {"network": {"bond": {"b": {"mode": "802.3ad"}}}}),
    (IGNORED, {"systen": {"name": [{"deep": 1}]}}),
    (IGNORED, {"network": {"radio": {"r": {"channel": 6}}}}),
    (IGNORED, {"network": {"vlan": {"v": {"device": "eth0"}}}}),
    (IGNORED, {"network": {"device": {"eth0": {"type": "ethernte"}}}}),
    (IGNORED, {"vpn": {"openvpn": {"server": {"s": {"username": "of clients only"}}}}}),
    (REFUSED, {"unknown": {"deep": [None]}}),
    (REFUSED, {"network": {"interface": {"lan-1": {}}}}),
    (REFUSED, {"network": {"interface": {"": {}}}}),
    (REFUSED, {"auth": {"user": {"a.b": {}}}}),
    (REFUSED, {"network": {"vrrp": {"x" * 64: {}}}}),
    (REFUSED, {"auth": {"idle_timeout": "12 h"}}),
    (REFUSED, {"auth": {"idle_timeout": "-1s"}}),
    (REFUSED, []),
]
# The rules of the findings for a refused document, and for an ignored part.
REFUSING = {"syntax", "wrong-type", "number-range", "duration", "characters", "entry-name"}
IGNORING = {"unknown-key", "dangling-reference", "unknown-word"}
# Each of these values is tried at every key.
VALUES = [None, True, 7, 1.5, 1 << 31, -(1 << 31) - 1, "x", "90s", "two\nlines", "\x7f", [], {}]


def members(schema):
    """Names and schemas of the members of a value of that schema; "k" means any name of the user, 0 any index."""
    found = list(schema.get("properties", {}).items())
    if "items" in schema:
        found.append((0, schema["items"]))
    elif "propertyNames" in schema:
        found.append(("k", schema["additionalProperties"]))
    return found


def fill(schema, depth, value):
    """A document with every key down to `depth`, and the value there; `nothing` when no key is so deep."""
    if depth == 0:
        return value
    inside = {name: fill(child, depth - 1, value) for name, child in members(schema)}
    inside = {name: child for name, child in inside.items() if child is not nothing}
    if not inside:
        return nothing
    return [inside[0]] if 0 in inside else inside


nothing = object()
failures = 0


def expect(what, got, expected):
    global failures
    if got != expected:
        failures += 1
        print(f"{what}: got {got}, expected {expected}")


def main(programs, examples):
    def run(*arguments, document=None):
        return subprocess.run([f"{programs}/tessera-config", *arguments], input=document, text=True,
                              stdout=subprocess.PIPE, check=False).stdout

    schemas = [json.loads(run("schema")), json.loads(run("schema", "--strict"))]
    for schema in schemas:
        Draft202012Validator.check_schema(schema)
    lax, strict = map(Draft202012Validator, schemas)

    def findings(document, rules):
        """The paths of the loader's findings of these rules."""
        lines = run("check", "/dev/stdin", document=json.dumps(document)).splitlines()
        return {line.split("]: ")[1].split(": ")[0] for line in lines if line.split("[")[1].split("]")[0] in rules}

    for verdict, document in DOCUMENTS:
        refused = bool(findings(document, REFUSING))
        got = (refused, bool(findings(document, IGNORING)) and not refused,
               not lax.is_valid(document), not strict.is_valid(document))
        expected = (verdict == REFUSED, verdict == IGNORED, verdict == REFUSED, verdict != GOOD)
        expect(json.dumps(document), got, expected)
    for path in sorted(pathlib.Path(examples).glob("*/config.json")):
        document = json.loads(path.read_text(encoding="utf-8"))
        expect(path, (findings(document, REFUSING), list(strict.iter_errors(document))), (set(), []))
    for value in VALUES:
        depth = 1
        while (document := fill(schemas[1], depth, value)) is not nothing:
            refused = {".".join(map(str, error.absolute_path)) for error in lax.iter_errors(document)}
            expect(f"{value!r} at depth {depth}", findings(document, REFUSING) ^ refused, set())
            depth += 1
        expect("depth of the schema", depth > 9, True)

    mistakes = sorted(str(path) for path in pathlib.Path(__file__).parent.glob("*s.json"))
    sarif = json.loads((pathlib.Path(__file__).parent / "sarif.schema.json").read_text(encoding="utf-8"))
    log = json.loads(run("check", "--format=sarif", *mistakes, "no such file"))
    expect("the SARIF log", [error.message for error in Draft202012Validator(sarif).iter_errors(log)], [])
    rules = [rule["id"] for rule in log["runs"][0]["tool"]["driver"]["rules"]]
    wrong = [result for result in log["runs"][0]["results"] if rules[result["ruleIndex"]] != result["ruleId"]]
    expect("results of another rule than they name", wrong, [])
    missing = [name for schema in schemas for name, child in every_key(schema) if not child.get("description")]
    expect("keys without a description", missing, [])


def every_key(schema):
    for name, child in members(schema):
        if name not in (0, "k"):
            yield name, child
        yield from every_key(child)


main(*sys.argv[1:])
sys.exit(failures > 0)
