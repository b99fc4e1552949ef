#!/usr/bin/python3
"""Runs every command in README.md, the pages of doc and the examples, and compares its output with the page.

    documents.py SOURCE_DIRECTORY BUILD_DIRECTORY

A command is a line after "$ " in a block of kind "console"; after a backslash it continues in the next line. The lines
after it are its output, in which "..." means any lines. Every command has to end with status 0. Other blocks:
- "json" after a paragraph with "as `FILE`" is written to FILE;
- "yaml" is a pipeline, whose commands of tessera are run;
- "text" is a drawing.
In a table with the heading "Line", everything that the first column quotes has to be in some output of the page; "..."
means anything. In a manual page the commands are the displays of EXAMPLES, without outputs; a JSON document is checked.

Each page runs in its own shell, in a copy of the source tree whose build/release is BUILD_DIRECTORY, on the router of
doc/first-router.md. Commands that install packages or build are replaced: see `replacements`.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

# The start of a command -> the command that is run in its place.
replacements = {
    "make ": "make -n {} >/dev/null",  # only tests that the target exists
    "cmake -B build/device": ":",  # tests/device runs these
    "cmake --build build/device": ":",
    "cmake -B build/platform": ":",
    "cmake --build build/platform": ":",
    "cmake --install build/platform": ":",
    "LD_LIBRARY_PATH=": ":",
}

# Files that pages use without showing them, and where they come from.
given = {
    "doc/sdk.md": {"/etc/config/config.json": "tools/conformance/config.json"},
    "doc/tessera-apply.8": {"new.json": "office.json"},
    "doc/runt.8": {"config.json": "office.json"},
    "doc/tessera-config.8": {"rootfs/etc/config/config.json": "office.json"},
    "doc/tessera-preview.8": {"old.json": "office.json", "new.json": "office.json"},
}


class Page:
    """The steps of a page, ("file", name, content) or ("command", command, output), and the lines that it explains."""

    def __init__(self, text, is_manual):
        self.steps, self.explained = [], []
        (self.read_manual if is_manual else self.read_markdown)(text)

    def read_markdown(self, text):
        block = r"^```(\w*)\n(.*?)^```$"
        for before, kind, content in re.findall(r"((?:[^\n]+\n)*)\n*" + block, text, re.M | re.S):
            if kind == "json":
                self.steps.append(("file", re.search(r"as\s`([\w.]+)`", before).group(1), content))
            elif kind == "console":
                for command, output in re.findall(r"^\$ ((?:.*\\\n)*.*)\n((?:(?!\$ ).*\n)*)", content, re.M):
                    self.steps.append(("command", command, output))
            elif kind == "yaml":
                self.steps += [("command", command, "...\n") for command in re.findall(r"\btessera-.*", content)]
            elif kind != "text":
                raise SystemExit(f"documents: a block of unknown kind '{kind}' after: {before}")
        rest = re.sub(block, "", text, flags=re.M | re.S)
        for indented in re.findall(r"^(?: {4}|\t).*", rest, re.M):
            raise SystemExit(f"documents: in no block that says what it is: {indented}")
        for joined in re.findall(r"^.*\S +#{2,3}(?: .*|$)", rest, re.M):
            raise SystemExit(f"documents: a heading within a line: {joined}")
        for table in re.findall(r"^\| Line \|.*\n(?:\|.*\n)*", rest, re.M):
            for row in table.splitlines()[2:]:
                self.explained += re.findall(r"`([^`]+)`", row.split(" | ")[0])

    def read_manual(self, text):
        examples = text.partition("\n.Sh EXAMPLES\n")[2].partition("\n.Sh ")[0]
        checker, said = ("tessera-config check", "") if "\n.Dt TESSERA.JSON 5\n" in text else ("jq .", "...\n")
        for display in re.findall(r"^\.Bd -literal.*?\n(.*?)^\.Ed$|^\.Dl (.*)$", examples, re.M | re.S):
            command = "".join(display)
            if command.startswith("{"):
                self.steps.append(("file", "example.json", command))
                self.steps.append(("command", f"{checker} example.json", said))
            else:
                self.steps.append(("command", f"(set -e; {command.rstrip()})", "...\n"))


def is_shown(shown, printed):
    """Whether `printed` is the shown output, in which a line "..." means any lines."""
    lines = [r"(?:.*\n)*?" if line == "...\n" else re.escape(line) for line in shown.splitlines(keepends=True)]
    return re.fullmatch("".join(lines), printed) is not None


def run_page(name, page, scratch):
    """Runs the page in the directory `scratch`. Returns a list of messages about what went wrong, and all outputs."""
    results = scratch / "build/results"
    results.mkdir()
    script, commands = [], []
    for kind, what, detail in page.steps:
        if kind == "file":
            (results / what).write_text(detail)
            script.append(f"cp {results}/{what} {what}")
            continue
        start = next((start for start in replacements if what.startswith(start)), None)
        run = what if start is None else replacements[start].format(what.partition(" ")[2])
        base = results / str(len(commands))
        script.append(f"{{ {run}\n}} >{base} 2>&1 </dev/null; echo $? >{base}.status")
        commands.append((what, detail if start is None else "...\n", base))
    subprocess.run(["sh", "-c", "\n".join(script)], cwd=scratch, close_fds=False, check=False)
    wrong, everything = [], ""
    for command, shown, base in commands:
        printed = base.read_text() if base.exists() else ""
        status = base.with_suffix(".status").read_text() if base.exists() else "none\n"
        everything += printed
        if status != "0\n" or not is_shown(shown, printed):
            wrong.append(f"{name}: $ {command}\n{printed}{name}: that ended with status {status}")
    return wrong, everything


def main():
    source, build = (Path(path).resolve() for path in sys.argv[1:])
    if os.environ.get("TESSERA_OWN_MOUNTS") != "yes":
        os.environ["TESSERA_OWN_MOUNTS"] = "yes"
        os.execvp("unshare", ["unshare", "-m", "-n", "-u", "--", __file__, source, build])
    first = ["README.md", "doc/first-router.md"]
    kinds = ["doc/**/*.md", "examples/*/README.md", "doc/*.8", "doc/*.5.in"]
    rest = [page for kind in kinds for page in source.glob(kind)]
    names = first + sorted({str(page.relative_to(source)) for page in rest} - set(first))
    for place in ("/var/run", "/etc/config"):
        os.makedirs(place, exist_ok=True)
        subprocess.run(["mount", "-t", "tmpfs", "none", place], check=True)
    os.mkdir("/var/run/uci")
    wrong, count, printed = [], 0, ""
    with tempfile.TemporaryDirectory() as work:
        programs, office = Path(work, "programs"), Path(work, "office")
        programs.mkdir()
        (programs / "ssh").write_text('#!/bin/sh\nshift\nexec "$@"\n')  # the other router is this one
        (programs / "ssh").chmod(0o755)
        os.environ["PATH"] = f"{build}/bin:{programs}:{os.environ['PATH']}"
        unneeded = shutil.ignore_patterns("build", ".git", "src", "reference", "tests", "bench", "before")
        shutil.copytree(source, office, symlinks=True, ignore=unneeded)
        for number, name in enumerate(names):
            scratch = office if name in first else Path(work, str(number))
            if scratch != office:
                printed = ""
                shutil.copytree(office, scratch, symlinks=True, ignore=unneeded)
                shutil.copy(office / "office.json", "/etc/config/config.json")
                subprocess.run(["runt", "load", office / "facts.json"], check=True)
            shutil.rmtree(scratch / "build", ignore_errors=True)
            (scratch / "build").mkdir()
            (scratch / "build/release").symlink_to(build)
            for target, origin in given.get(name, {}).items():
                (scratch / target).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(office / origin, scratch / target)
            page = Page((source / name).read_text(), not name.endswith(".md"))
            failures, output = run_page(name, page, scratch)
            printed += output
            for line in page.explained:
                if not re.search(re.escape(line).replace(r"\.\.\.", ".*"), printed):
                    failures.append(f"{name}: nothing printed holds: {line}")
            count += len(page.steps) + len(page.explained)
            wrong += failures
    print("\n".join(wrong + [f"{count} steps and lines, {len(wrong)} not as shown"]))
    sys.exit(1 if wrong or count == 0 else 0)


main()
