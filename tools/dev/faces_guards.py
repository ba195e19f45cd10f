"""That no exception of C++ leaves a method of Objective-C: what a method in faces/objc calls of C++ is inside `guarded`
or `initialized`. Outside, it sends messages, and calls C, BRIDGE, and functions of its file of which the same holds.
"""

import re

# Functions that let no exception of C++ out.
BRIDGE = {"millisecondsOf", "raise", "stringOf", "succeeded", "tableText", "takenString", "useDelegate"}

HANDLER = re.compile(r"\b(?:guarded|initialized)\s*\(")
KEYWORDS = {"if", "for", "while", "switch", "selector", "va_start", "va_end"}
METHOD = re.compile(r"^[ \t]*([-+] ?\([^{;]*)(?=\{)", re.MULTILINE)
FUNCTION = re.compile(r"^(?!struct|class|namespace|@|[-+ ])[^\n{};#]*?\b(\w+)\([^{};]*?\)(?: const)?(?= \{)", re.MULTILINE)
CALL = re.compile(r"\b(\w+)\s*\(")
OTHER = re.compile(r"\b(?:new|throw)\b|\bstd::\w+")


def end_of(text, start):
    """After the bracket that closes the one at `start`."""
    depth = 0
    for at in range(start, len(text)):
        depth += (text[at] in "({[") - (text[at] in ")}]")
        if depth == 0:
            return at + 1
    raise ValueError("a bracket is not closed: " + text[start:start + 60])


def unguarded(body):
    """A body without what is inside a handler."""
    while handler := HANDLER.search(body):
        body = body[:handler.start()] + body[end_of(body, handler.end() - 1):]
    return body


def body_at(text, start):
    opening = text.index("{", start)
    return unguarded(text[opening:end_of(text, opening)])


def faults(text):
    """What the methods of a source, without its comments, call of C++ outside a handler, and how many they are."""
    functions = {match[1]: body_at(text, match.end()) for match in FUNCTION.finditer(text)}
    found, count = [], 0

    def examine(method, body, seen):
        found.extend(f"{method}: {other} outside `guarded`" for other in OTHER.findall(body))
        for name in CALL.findall(body):
            if name in functions and name not in seen:
                examine(method, functions[name], seen | {name})
            elif name not in functions and name not in BRIDGE | KEYWORDS and not name.startswith("sqm_"):
                found.append(f"{method}: {name} outside `guarded`")

    for match in METHOD.finditer(text):
        count += 1
        examine(" ".join(match[1].split()), body_at(text, match.end()), set())
    return found, count
