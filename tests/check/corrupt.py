#!/usr/bin/python3
"""Holds the checker's errors against what happens: one value of an example is spoilt at a time.

  corrupt.py PROGRAMS EXAMPLES PART

What a daemon's checker refuses has to be an error of tessera-config check; and for each document with an error the
program refuses the document, a daemon's checker refuses a file, or the run leaves something out, which it logs or which
shows by lines that are gone. Of all documents every PARTth is tried.
"""
import collections
import concurrent.futures
import copy
import json
import os
import subprocess
import sys
import tempfile

ABSENT = object()


def spoilt(value):
    """What a slip of the hand may leave in the place of a value."""
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


class Outcome:
    """What a preview of all services shows."""

    def __init__(self, programs, example, config):
        command = [f'{programs}/tessera-preview', '-c', config, '-r', f'{example}/runtime.json', '--json', '--verify']
        if os.path.isdir(f'{example}/rootfs'):
            command += ['-f', f'{example}/rootfs']
        run = subprocess.run(command + ['all'], capture_output=True, text=True, check=False, errors='replace')
        try:
            told = json.loads(run.stdout)
        except ValueError:
            sys.exit(f'{" ".join(command)}: {run.stdout[-300:]}{run.stderr}')
        self.failed = {service['name'] for service in told['services'] if service['status'] != 0}
        self.messages = {line for service in told['services'] for line in service['messages']}
        self.lines = collections.Counter()
        for file in told['files']:
            self.lines[os.path.basename(file['path'])] = (file.get('content') or '').count('\n') + 1
        self.refused = [f'{verdict["checker"]}: {finding["message"]}' for verdict in told.get('verification', ())
                        for finding in verdict['findings']]

    def leaves_out(self, whole):
        """What is missing that the outcome of the whole example has; '' when nothing is."""
        if self.failed - whole.failed:
            return 'a service'
        if self.messages - whole.messages:
            return 'as it says'
        return 'lines' if any(self.lines[name] < count for name, count in whole.lines.items()) else ''
