"""A strict reader of UCI files: anything that a lenient reader would guess at is an error."""
import re

TOKEN = re.compile(r'''[ \t]*(?:
    "((?:[^"\\\n]|\\[^\n])*)"   # double quotes: a backslash takes the next character as it is
  | '([^'\n]*)'                 # single quotes: no escapes
  | ([^\s"'\\#]+)               # bare word
  )(?=[ \t]|$)''', re.VERBOSE)
IDENTIFIER = re.compile(r"[A-Za-z0-9_]+")


class Malformed(Exception):
    pass


def tokens(line):
    position = 0
    while not re.compile(r"[ \t]*(#.*)?$").match(line, position):
        match = TOKEN.match(line, position)
        if not match:
            raise Malformed(f"column {position + 1}: {line!r}")
        position = match.end()
        quoted, single, bare = match.groups()
        yield re.sub(r"\\(.)", r"\1", quoted) if quoted is not None else single if single is not None else bare


def read(text):
    """The sections in order: (type, name or None, {option: value or list of values})."""
    sections = []
    if text and not text.endswith("\n"):
        raise Malformed("the last line is cut")
    for number, line in enumerate(text.split("\n"), 1):
        words = list(tokens(line))
        if not words:
            continue
        keyword, arguments = words[0], words[1:]
        names = arguments if keyword == "config" else arguments[:1]
        if not all(IDENTIFIER.fullmatch(name) for name in names):
            raise Malformed(f"line {number}: identifier in {line!r}")
        if keyword == "config" and len(arguments) in (1, 2):
            sections.append((arguments[0], arguments[1] if len(arguments) == 2 else None, {}))
        elif keyword in ("option", "list") and len(arguments) == 2 and sections:
            options = sections[-1][2]
            if keyword == "list":
                options.setdefault(arguments[0], []).append(arguments[1])
            else:
                options[arguments[0]] = arguments[1]  # the last one counts
        else:
            raise Malformed(f"line {number}: {line!r}")
    return sections
