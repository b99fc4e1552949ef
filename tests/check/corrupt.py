#!/usr/bin/python3
"""Changes one value of an example at a time, and compares the checker's errors with what happens.

  corrupt.py PROGRAMS EXAMPLES GOLDEN PART

When a daemon's checker refuses a file, tessera-config check has to find an error. When it finds an error, the program
has to refuse the document, or a daemon's checker a file, or the run has to leave something out: it logs that, or lines
are missing. Only every PARTth document is tried.
"""
import collections
import concurrent.futures
import copy
import glob
import json
import os
import subprocess
import sys
import tempfile

ABSENT = object()


def spoilt(value):
    """Wrong values that a typing mistake may put in place of a value."""
    yield ABSENT
    if isinstance(value, bool):
        yield not value
    elif isinstance(value, int):
        yield from (0, -1, 70000)
    elif isinstance(value, str):
        yield from ('', value[:-1], value + 'x', value + ' y', value + '"', value.upper(), '300.1.2.3')
    elif isinstance(value, list):
        yield []
    elif isinstance(value, dict):
        yield {}


def places(value, path=()):
    """The path of every value below the root, with the value."""
    if path:
        yield path, value
    pairs = value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else ()
    for key, child in pairs:
        yield from places(child, path + (key,))


def replaced(document, path, value):
    """A copy of the document with that value at the path."""
    changed = copy.deepcopy(document)
    holder = changed
    for step in path[:-1]:
        holder = holder[step]
    if value is ABSENT:
        del holder[path[-1]]
    else:
        holder[path[-1]] = value
    return changed


def corruptions(document):
    """All pairs of a description and a document with one other value."""
    seen = set()
    for path, value in places(document):
        for other in spoilt(value):
            if other is not ABSENT and other == value and type(other) is type(value):
                continue
            shown = 'absent' if other is ABSENT else json.dumps(other)
            text = json.dumps(replaced(document, path, other))
            if text not in seen:
                seen.add(text)
                yield '.'.join(map(str, path)) + ' ' + (shown if len(shown) < 60 else shown[-60:]), text


# Keys that the checker does not check, and why. A file that is refused because of these is counted, and needs no error.
UNREAD = {
    "advanced_options.extra": "options for OpenVPN, which only OpenVPN can check",
    "config_file": "a whole file for OpenVPN, which the user uploaded",
}


def is_address(text):
    parts = text.split(".")
    return len(parts) == 4 and all(part.isdigit() and int(part) < 256 for part in parts)


def is_mask(text):
    return is_address(text) or (text.isdigit() and int(text) <= 32)


def interface_manager(content):
    """What the interface manager cannot set up: wrong addresses in static sections, VLANs without an ID. It ignores empty
    options."""
    found = []
    for section in content.split("\nconfig ")[1:]:
        options = {}
        for line in section.split("\n")[1:]:
            words = line.split(None, 2)
            if len(words) == 3:
                options[words[1]] = words[2].strip('"')
        if options.get("proto") == "static":
            tests = {"ipaddr": is_address, "netmask": is_mask, "gateway": is_address}
            found += [f"{name} {options[name]}" for name, test in tests.items()
                      if options.get(name) and not test(options[name])]
        if options.get("proto") == "vlan" and not (options["vid"].isdigit() and 0 < int(options["vid"]) < 4095):
            found.append(f"vid {options['vid']}")
    return [f"interface manager: {problem}" for problem in found]


class Outcome:
    """The result of a preview of all services."""

    def __init__(self, programs, example, config):
        command = [f"{programs}/tessera-preview", "-c", config, "--json", "--verify", "--show-secrets"]
        if os.path.exists(f"{example}/runtime.json"):
            command += ["-r", f"{example}/runtime.json"]
        if os.path.isdir(f"{example}/rootfs"):
            command += ["-f", f"{example}/rootfs"]
        run = subprocess.run(command + ["all"], capture_output=True, text=True, check=False, errors="replace")
        try:
            shown = json.loads(run.stdout)
        except ValueError:
            sys.exit(f"{' '.join(command)}: {run.stdout[-300:]}{run.stderr}")
        self.failed = {service["name"] for service in shown["services"] if service["status"] != 0}
        self.messages = {line for service in shown["services"] for line in service["messages"]}
        self.lines = {file["path"]: (file.get("content") or "").count("\n") + 1 for file in shown["files"]}
        self.refused = [f"{verdict['checker']}: {finding['message']}" for verdict in shown.get("verification", ())
                        if verdict["result"] == "refused" for finding in verdict["findings"]]
        for file in shown["files"]:
            if file["path"].endswith("/uci/network"):
                self.refused += interface_manager(file.get("content") or "")

    def leaves_out(self, whole):
        """Whether lines are missing that the outcome `whole` of the unchanged document has, or the run reports something."""
        return bool(self.failed - whole.failed or self.messages - whole.messages) or any(
            self.lines.get(name, 0) < count for name, count in whole.lines.items())


def check_all(programs, files):
    """The errors of the checker, by file."""
    run = subprocess.run([f"{programs}/tessera-config", "check", "--format=json", *files], capture_output=True,
                         text=True, check=False)
    errors = collections.defaultdict(list)
    for finding in json.loads(run.stdout)["findings"]:
        if finding["severity"] == "error":
            errors[finding["file"]].append(f"[{finding['rule']}] {finding['path']}: {finding['wrong']}")
    return errors


def compare(programs, example, part, work):
    """Prints where the checker's errors do not agree with the outcome. Returns how many documents were tried, refused by a
    daemon, found with errors, and wrong."""
    with open(f"{example}/config.json", encoding="utf-8") as file:
        document = json.load(file)
    chosen = list(corruptions(document))[part // 2::part]
    files = [f"{work}/{number}.json" for number in range(len(chosen))]
    for path, (_, text) in zip(files, chosen):
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
    whole = Outcome(programs, example, f"{example}/config.json")
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        outcomes = list(pool.map(lambda path: Outcome(programs, example, path), files))
    errors = check_all(programs, files)
    counts = collections.Counter(tried=len(chosen))
    for path, (what, _), outcome in zip(files, chosen, outcomes):
        counts["refused"] += bool(outcome.refused)
        counts["errors"] += bool(errors[path])
        unread = any(name in what for name in UNREAD)
        if outcome.refused and not errors[path] and unread:
            counts["refused in free strings"] += 1
        elif outcome.refused and not errors[path]:
            counts["wrong"] += 1
            print(f"{example}: {what}: no error, but {outcome.refused[0]}")
        if errors[path] and not outcome.refused and not outcome.leaves_out(whole):
            counts["wrong"] += 1
            print(f"{example}: {what}: no consequence of {errors[path][0]}")
    print(f"{example}: " + ", ".join(f"{name} {count}" for name, count in counts.items()))
    return counts


# What runs leave out without a message: bonds whose first member is missing or whose mode is not known.
LEFT_OUT = ("[bond-left-out]",)


def no_false_alarm(programs, documents):
    """Counts documents with an error although every daemon accepts the files and the run reports nothing."""
    wrong = 0
    for document in documents:
        path = f"{document}/config.json"
        errors = [error for error in check_all(programs, [path])[path] if not error.startswith(LEFT_OUT)]
        if not errors:
            continue
        outcome = Outcome(programs, document, path)
        if not outcome.refused and not outcome.messages:
            wrong += 1
            print(f"{document}: no consequence of {errors[0]}")
    return wrong


def main(programs, examples, golden, part):
    wrong = no_false_alarm(programs, sorted(os.path.dirname(path) for folder in (examples, golden)
                                            for path in glob.glob(f"{folder}/*/config.json")))
    total = collections.Counter()
    for example in sorted(os.path.dirname(path) for path in glob.glob(f"{examples}/*/config.json")):
        with tempfile.TemporaryDirectory() as work:
            total += compare(programs, example, int(part), work)
    print("all: " + ", ".join(f"{name} {count}" for name, count in total.items()))
    sys.exit(1 if wrong + total["wrong"] else 0)


if __name__ == "__main__":
    main(*sys.argv[1:])
