#!/usr/bin/env python3
"""Checks that work grows no faster than the document does: growth.py BIN_DIRECTORY

Documents hold N entries in every map and array of the schema, and N numbers, names and objects below an unknown key.
The instructions that tessera-config runs for one four times as large may be five times as many, not sixteen.
"""
import json
import os
import subprocess
import sys
import tempfile

SMALL, FACTOR, MOST = 150, 4, 5


def value(schema, count, depth=0):
    """A value with `count` children in each map and array, but only one in those within them."""
    inner = 1 if depth else count
    if schema.get("type") == "array":
        return [value(schema["items"], count, depth + 1) for _ in range(inner)]
    if "properties" in schema:
        return {key: value(below, count, depth) for key, below in schema["properties"].items()}
    if "propertyNames" in schema:
        return {f"n{number}": value(schema["additionalProperties"], count, depth + 1) for number in range(inner)}
    return {"object": {}, "boolean": True, "integer": 1, "number": 1}.get(schema.get("type"), "")


def instructions(program, document, work):
    """How many instructions a check of the document takes."""
    path = os.path.join(work, "config.json")
    with open(path, "w", encoding="utf-8") as file:
        json.dump(document, file, separators=(",", ":"))
    counted = subprocess.run(
        ["valgrind", "--tool=callgrind", f"--callgrind-out-file={work}/out", program, "check", path],
        check=False, capture_output=True, text=True)
    if counted.returncode not in (0, 1):
        sys.exit(counted.stderr)
    return int(counted.stderr.rsplit("Collected : ", 1)[1].split()[0])


def main():
    program = os.path.join(sys.argv[1], "tessera-config")
    schema = json.loads(subprocess.run([program, "schema"], check=True, capture_output=True).stdout)
    del schema["title"]
    wrong = 0
    with tempfile.TemporaryDirectory() as work:
        for what, make in (
            ("maps and arrays", lambda count: value(schema, count)),
            ("numbers", lambda count: {"zz": [1] * (20 * count)}),
            ("names", lambda count: {"zz": {f"n{number}": {} for number in range(10 * count)}}),
        ):
            small, large = (instructions(program, make(count), work) for count in (SMALL, SMALL * FACTOR))
            print(f"{what}: {small} instructions, {large} for a document {FACTOR} times as large")
            wrong += large > MOST * small
    sys.exit(wrong)


main()
