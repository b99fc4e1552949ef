#!/usr/bin/env python3
"""Compares the answers of tessera-explain with runs for changed documents.

brute_force.py BIN_DIRECTORY EXAMPLE_DIRECTORY... [--files PATTERN]

The script changes every setting of the example alone, in several ways, and runs all services. A setting that
tessera-explain names for a line must change that line in one of these runs. When a line shows the value of a setting that
changes it, tessera-explain has to name such a setting first, for nearly all of these lines. Prints the counts.
"""
import collections
import concurrent.futures
import fnmatch
import json
import os
import subprocess
import sys
import tempfile

SERVICES = "pam,dnsmasq,ipsec,network"
LEAST_FIRST = 0.98


def leaves(node, path=()):
    children = node.items() if isinstance(node, dict) else enumerate(node) if isinstance(node, list) else None
    if children is None:
        yield path, node
        return
    for name, child in children:
        yield from leaves(child, path + (name,))


def entries(node, path=()):
    """Paths of all objects: removing an object shows which lines its name changes."""
    if isinstance(node, dict):
        for name, child in node.items():
            if isinstance(child, dict):
                yield path + (name,)
            yield from entries(child, path + (name,))


def changed(document, path, value=None, remove=False):
    copy = json.loads(json.dumps(document))
    node = copy
    for name in path[:-1]:
        node = node[name]
    if remove:
        del node[path[-1]]
    else:
        node[path[-1]] = value
    return copy


def bumped(text):
    """The string with its last digit, or else its last letter, replaced."""
    for characters in ("0123456789", "abcdefABCDEF", "ghijklmnopqrstuvwxyzGHIJKLMNOPQRSTUVWXYZ"):
        for place in reversed(range(len(text))):
            if text[place] in characters:
                at = characters.index(text[place])
                return text[:place] + characters[at - 1 if at else 1] + text[place + 1:]
    return text + "x"


def targets(document, reference):
    """References to all entries of the same map."""
    node = document
    for name in reference.split("/")[1:-1]:
        node = node.get(name, {}) if isinstance(node, dict) else {}
    return [reference.rpartition("/")[0] + "/" + name for name in node]


def others(value, words):
    if isinstance(value, bool):
        return [not value]
    if isinstance(value, (int, float)):
        return [value + 1, value - 1, 0]
    lines = value.split("\n")
    middle = len(lines) // 2
    lines[middle] = bumped(lines[middle])
    return ["\n".join(lines), "", *words]


def words_at(schema, path):
    node = schema
    for name in path:
        if "properties" in node and str(name) in node["properties"]:
            node = node["properties"][str(name)]
        elif isinstance(node.get("additionalProperties"), dict):
            node = node["additionalProperties"]
        elif "items" in node:
            node = node["items"]
        else:
            return []
    found = node.get("enum") or next((a["enum"] for a in node.get("anyOf", []) if "enum" in a), [])
    return [word for word in found if word][:8]


class Router:
    def __init__(self, programs, example):
        self.programs = programs
        self.document = json.load(open(os.path.join(example, "config.json"), encoding="utf-8"))
        self.arguments = []
        for option, name in (("-r", "runtime.json"), ("-f", "rootfs")):
            path = os.path.join(example, name)
            if os.path.exists(path):
                self.arguments += [option, path]
        facts = os.path.join(example, "runtime.json")
        self.facts = json.load(open(facts, encoding="utf-8")) if os.path.exists(facts) else {}

    def files(self, document, facts=None):
        """The files of a run by path, as lists of lines; None when the document is refused."""
        with tempfile.TemporaryDirectory() as directory:
            config = os.path.join(directory, "config.json")
            with open(config, "w", encoding="utf-8") as file:
                json.dump(document, file)
            arguments = list(self.arguments)
            if facts is not None:
                path = os.path.join(directory, "facts.json")
                with open(path, "w", encoding="utf-8") as file:
                    json.dump(facts, file)
                if "-r" in arguments:
                    arguments[arguments.index("-r") + 1] = path
                else:
                    arguments += ["-r", path]
            out = os.path.join(directory, "out")
            run = subprocess.run([os.path.join(self.programs, "tessera-preview"), "-c", config, *arguments, "-o", out,
                                  SERVICES], capture_output=True, text=True, errors="replace", check=False)
            assert run.returncode in (0, 1), run.stderr
            found = {}
            for folder, _, names in os.walk(os.path.join(out, "var")):
                for name in names:
                    path = os.path.join(folder, name)
                    if not os.path.islink(path):
                        with open(path, encoding="utf-8", errors="surrogateescape") as file:
                            found["/" + os.path.relpath(path, out)] = file.read().split("\n")
            return found or None


def in_sections(lines):
    """Each line with its section, and how often it is in that section, because equal lines cannot be told apart."""
    section, keys = "", []
    for line in lines:
        is_indented = line[:1] in ("\t", " ")
        keys.append(section + "\n" + line if is_indented else line)
        section = section if is_indented else line
    counts = collections.Counter(keys)
    return [(key, counts[key]) for key in keys]


def counterfactuals(router, schema):
    """For each file and line index, the paths of the settings that alone change or remove the line."""
    base = router.files(router.document)
    trials = []
    for path, value in leaves(router.document):
        trials += [(path, changed(router.document, path, other), None) for other in others(value, words_at(schema, path))]
        if isinstance(value, str) and value.startswith("/"):
            trials += [(path, changed(router.document, path, other), None) for other in targets(router.document, value)]
        trials.append((path, changed(router.document, path, remove=True), None))
    trials += [(path, changed(router.document, path, remove=True), None) for path in entries(router.document)]
    for key, value in router.facts.items():
        rest = {name: text for name, text in router.facts.items() if name != key}
        trials += [((key,), router.document, facts) for facts in ({**router.facts, key: bumped(value)}, rest,
                                                                   {**router.facts, key: "0"},
                                                                   {**router.facts, key: "n"})]
    influence = {}
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for (path, _, _), files in zip(trials, pool.map(lambda trial: router.files(trial[1], trial[2]), trials)):
            for name, lines in base.items():
                if files is None or files.get(name) == lines:
                    continue
                left = set(in_sections(files.get(name, [])))
                for index, line in enumerate(in_sections(lines)):
                    if line not in left:
                        influence.setdefault((name, index), set()).add(".".join(map(str, path)))
    return base, influence


def answers(programs, router, example, name):
    run = subprocess.run([os.path.join(programs, "tessera-explain"), "-c", os.path.join(example, "config.json"),
                          *router.arguments, "--json", "--show-secrets", name],
                         capture_output=True, text=True, check=False)
    assert run.returncode == 0, run.stderr
    return json.loads(run.stdout)["lines"]


def value_of(router, path):
    node = router.document
    if path in router.facts:
        return router.facts[path]
    for name in path.split("."):
        node = node[int(name) if isinstance(node, list) else name]
    return "" if isinstance(node, (dict, list)) else str(node)


def judge(programs, example, schema, pattern):
    router = Router(programs, example)
    base, influence = counterfactuals(router, schema)
    wrong, explained, shown, first = [], 0, 0, 0
    for name in sorted(base):
        if not fnmatch.fnmatch(name, pattern) or base[name] == [""]:
            continue
        for line in answers(programs, router, example, name):
            if not line["text"].strip():
                continue
            place = (name, line["line"] - 1)
            assert line["text"] == base[name][place[1]], f"{name}:{line['line']}: {line['text']}"
            proved = influence.get(place, set())
            named = [row.get("path") or row.get("fact") for row in line["from"] + line["while"]]
            explained += 1
            wrong += [(place, setting) for setting in named
                      if setting not in proved and not any(other.startswith(setting + ".") for other in proved)]
            keys = {path for path in proved if len(value_of(router, path)) > 2 and value_of(router, path) in line["text"]
                    and value_of(router, path) not in ("true", "false")}
            if keys:
                shown += 1
                origin = [row.get("path") or row.get("fact") for row in line["from"][:1]]
                first += bool(keys & set(origin))
                if not keys & set(origin):
                    print(f"  {place[0]}:{place[1] + 1}: {origin} is named first, not one of {sorted(keys)}")
    for place, setting in wrong:
        print(f"  {place[0]}:{place[1] + 1}: {setting} is named and changes nothing")
    print(f"{example}: {explained} lines, {len(wrong)} wrong names, {first} of {shown} with their value's key first")
    return not wrong and first >= LEAST_FIRST * shown


def main():
    arguments = sys.argv[1:]
    pattern = "*"
    if "--files" in arguments:
        at = arguments.index("--files")
        pattern = arguments[at + 1]
        del arguments[at:at + 2]
    programs = arguments[0]
    schema = json.loads(subprocess.run([os.path.join(programs, "tessera-config"), "schema"], check=True,
                                       capture_output=True, text=True).stdout)
    results = [judge(programs, example, schema, pattern) for example in arguments[1:]]
    sys.exit(0 if all(results) else 1)


main()
