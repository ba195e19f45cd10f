#!/usr/bin/env python3
"""Compares the public operations of the library with its faces for C and Objective-C.

C, by the tables of docs/c.md: every public member of the classes of a public header, and every function outside a class,
has a row there, with the C calls, options or structures that reach it, or with the reason why C does not need it. A
header without rows is in NOT_IN_C, with the reason. Every C call has a place in a row, too.

Objective-C: a member is reached by a selector of the class of the same name whose first label is the member; by a
number or a structure of C that C reaches it by; or by a selector that the table of docs/objc.md names for it. What C
does not need of a class that Objective-C does not have, either, it does not need for the same reason. Every selector has a member of that name or a row. The
tests have called it, as the file says that they wrote: tests/faces/objc/SentMessages.m. No exception of C++ leaves a
method: see faces_guards.py.
"""

import pathlib
import re
import sys

import faces_guards

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGE = "docs/c.md"
OBJC_PAGE = "docs/objc.md"

# Public headers, or folders of them, whose classes C does not reach, and why.
NOT_IN_C = {
    "sqm/common/": "services, which C replaces by tables of callbacks, and values in their interfaces",
    "sqm/delivery/Journal.h": "a part of the standard host",
    "sqm/delivery/StoredTimes.h": "a part of the standard host",
    "sqm/platform/files/": "services of the standard host",
    "sqm/platform/http/HttpClient.h": "a service of the standard host",
    "sqm/platform/system/": "services of the standard host",
    "sqm/platform/text/": "services of the standard host",
    "sqm/testing/": "for tests in C++",
}

# Headers in those folders that C reaches all the same.
IN_C = {
    "sqm/common/Host.h",
    "sqm/common/NotificationCenter.h",
    "sqm/common/UploadRequest.h",
    "sqm/common/UploadTarget.h",
    "sqm/platform/files/FileProblems.h",
    "sqm/platform/files/PreferencesFile.h",
    "sqm/platform/system/RunLoop.h",
}

# Classes of the headers that C reaches, which are not for a client to use.
NOT_FOR_CLIENTS = {
    "FileProblems",  # made by the standard host
    "InFlight", "UploadStep",  # the rules of an upload
    "KeptStatistics", "RecordLedger", "RecordLedger::Options",  # made by the standard host
    "OutcomeRules", "OutcomeTransactions", "Answer",
    "RefusedBodies", "RefusedBody",
    "Deadline", "ScheduleDecision", "ScheduleEvent", "ScheduleState",  # the rules of a schedule
    "SqmPositionName",
    "UserConsent::Options",
}

DEFINITION = re.compile(r"^(?:class|struct)\s+(\w+)(?:\s+final)?(?:\s*:[^{]*)?$", re.DOTALL)
CALL = re.compile(r"\bSQM_API\b[^;]*?\b(sqm_\w+)\s*\(")
NAME = re.compile(r"\b(?:sqm|SQM)_\w+")


def without_comments(text):
    text = re.sub(r"//[^\n]*|/\*.*?\*/", " ", text, flags=re.DOTALL)
    return re.sub(r'^[ \t]*#[^\n]*|"(?:\\.|[^"\\\n])*"', " ", text, flags=re.MULTILINE)


def statements(text):
    """The statements of a block, each with the content of its braces or None."""
    start = at = depth = 0
    opened = None
    while at < len(text):
        character = text[at]
        if character in "{(":
            if character == "{" and depth == 0:
                opened = at
            depth += 1
        elif character in "})":
            depth -= 1
        ends_block = character == "}" and depth == 0 and not re.match(r"\s*[;,{)=*]", text[at + 1:])
        if depth == 0 and (character == ";" or ends_block):
            head = text[start:opened if opened is not None else at].strip()
            body = text[opened + 1:text.rindex("}", opened, at + 1)] if opened is not None else None
            yield head, body
            start, opened = at + 1, None
        at += 1


def without_templates(head):
    """A declaration without what templates are made with."""
    while (plain := re.sub(r"<[^<>]*>", "", head)) != head:
        head = plain
    return head


def member_of(head):
    """The name that a declaration in a class adds; None for those that C cannot have."""
    head = re.sub(r"^(?:template\s*<[^>]*>\s*)?", "", head)
    if not head or re.match(r"(?:using|friend|enum|static_assert|class|struct)\b", head) or "operator" in head:
        return None
    if re.search(r"=\s*(?:delete|default)$", head) or "~" in head:
        return None
    head = without_templates(head)
    function = re.match(r"[^(=]*?(\w+)\s*\(", head)
    if function:
        return function[1]
    variable = re.match(r"[^=]*?(\w+)\s*(?:=.*)?$", head, re.DOTALL)
    return variable[1] if variable else None


def members_of(block, kind, name, found):
    """Adds the public members of a class, and of the classes in it, to `found`."""
    is_public = kind == "struct"
    own = found.setdefault(name, [])
    for head, body in statements(block):
        for access in re.findall(r"\b(public|protected|private)\s*:(?!:)", head):
            is_public = access == "public"
        head = re.sub(r"\b(?:public|protected|private)\s*:(?!:)\s*", "", head).strip()
        if not is_public:
            continue
        inner = DEFINITION.match(head)
        if inner and body is not None:
            members_of(body, head.split()[0], f"{name}::{inner[1]}", found)
            continue
        member = member_of(head)
        if member and member != name.split("::")[-1] and member not in own:
            own.append(member)


def classes_of(text, found=None):
    """The classes of a header with their public members."""
    found = {} if found is None else found
    for head, body in statements(without_comments(text)):
        if body is None:
            continue
        if head.startswith("namespace"):
            classes_of(body, found)
        elif definition := DEFINITION.match(head):
            members_of(body, head.split()[0], definition[1], found)
    return found


def functions_of(text):
    """The functions of a header outside its classes."""
    for head, body in statements(without_comments(text)):
        if head.startswith("namespace"):
            yield from functions_of(body or "")
        elif function := re.match(r"[^(=]*[\s&*](\w+)\s*\(", without_templates(head)):
            yield function[1]


def is_in_c(header):
    return header in IN_C or not any(header.startswith(path) for path in NOT_IN_C)


def operations(is_wanted=is_in_c):
    """The members of the classes of the headers that are wanted, as "Class::member", and the functions, as "sqm::name"."""
    headers = re.findall(r"^- `(sqm/[^`]+\.h)`: ", (ROOT / "docs/headers.md").read_text(encoding="utf-8"), re.MULTILINE)
    for header in filter(is_wanted, headers):
        text = (ROOT / header).read_text(encoding="utf-8")
        yield from (f"sqm::{name}" for name in functions_of(text))
        for name, members in classes_of(text).items():
            if name not in NOT_FOR_CLIENTS:
                yield from (f"{name}::{member}" for member in members)


def rows():
    """The rows of the page's tables: (operations, C names, remark)."""
    name = None
    for line in (ROOT / PAGE).read_text(encoding="utf-8").splitlines():
        if heading := re.match(r"#+ `([\w:]+)`$", line):
            name = heading[1]
        elif line.startswith("#"):
            name = None
        elif (cells := re.match(r"\| (`.*?`|–) \| (.*) \|$", line)) and name:
            yield [f"{name}::{member}" for member in re.findall(r"`(\w+)`", cells[1])], NAME.findall(cells[2]), cells[2]


def faults_of_c(public):
    """The faults of the C face, and how many calls it has."""
    declared, calls = set(), set()
    for header in sorted((ROOT / "faces/c").glob("**/*.h")):
        if "internal" in header.parts:
            continue
        text = re.sub(r"/\*.*?\*/", " ", header.read_text(encoding="utf-8"), flags=re.DOTALL)
        declared |= set(NAME.findall(text))
        calls |= set(CALL.findall(text))

    faults, reached, used = [], set(), set()
    for members, names, remark in rows():
        reached |= set(members)
        used |= set(names)
        faults += [f"{PAGE}: {name} is not in the headers of C" for name in names if name not in declared]
        if not names and not remark.startswith("not in C: "):
            faults.append(f"{PAGE}: {members[0]}: neither a name of C nor a reason (\"not in C: ...\")")
    faults += [f"{member} has no row in {PAGE}" for member in sorted(public - reached)]
    faults += [f"{PAGE}: there is no public operation {member}" for member in sorted(reached - public)]
    faults += [f"{call} has no row in {PAGE}" for call in sorted(calls - used)]
    return faults, len(calls)


def selectors():
    """The selectors of the headers of Objective-C, as (class, selector), and the text of the headers."""
    found, whole = [], ""
    for header in sorted((ROOT / "faces/objc/sqm-objc").glob("*.h")):
        text = re.sub(r"/\*.*?\*/", " ", header.read_text(encoding="utf-8"), flags=re.DOTALL)
        whole += text
        for name, body in re.findall(r"^@(?:interface|protocol) (\w+)(.*?)^@end", text, re.DOTALL | re.MULTILINE):
            for method in re.findall(r"^[-+] (.*?);", body, re.DOTALL | re.MULTILINE):
                method = re.sub(r"\([^()]*\)", " ", method)  # without types
                labels = re.findall(r"(\w+)\s*:", method)
                found.append((name, "".join(f"{label}:" for label in labels) or method.split()[0]))
            for member in re.findall(r"^@property[^;]*?(\w+);", body, re.MULTILINE):
                found += [(name, member), (name, f"set{member[0].upper()}{member[1:]}:")]
    return found, whole


def faults_of_objc(public, calls):
    """The faults of the face for Objective-C, whose tests have made these calls, and how many selectors it has."""
    declared, headers = selectors()
    called = set(calls) | {("any class", selector) for _, selector in calls}
    declared_names = {f"{name} {selector}" for name, selector in declared}
    same = {f"{name}::{selector.split(':')[0]}" for name, selector in declared}
    shared_with_c = {name for name in NAME.findall(headers) if not name.startswith("sqm_objc")}

    faults, reached, used = [], set(), set()
    classes = {name for name, _ in declared}
    for members, names, _ in rows():
        by_number = any(re.match("SQM_[A-Z]", name) for name in names)
        is_in_neither = not names and members and members[0].split("::")[0] not in classes
        if is_in_neither or by_number or shared_with_c & set(names):
            reached |= set(members)
    page = (ROOT / OBJC_PAGE).read_text(encoding="utf-8")
    for left, right in re.findall(r"^\| ((?:`[\w:]+`(?:, )?)+|–) \| (.*) \|$", page, re.MULTILINE):
        members = set(re.findall(r"`([\w:]+)`", left))
        names = {f"{name} {selector}" for name, selector in re.findall(r"`[-+]\[(\w+) ([\w:]+)\]`", right)}
        reached |= members
        used |= names
        faults += [f"{OBJC_PAGE}: {name} is not in the headers" for name in sorted(names - declared_names)]
        faults += [f"{OBJC_PAGE}: there is no public operation {member}" for member in sorted(members - public)]
        if not names and not right.startswith("not in Objective-C: "):
            faults.append(f"{OBJC_PAGE}: {left}: neither a selector nor a reason (\"not in Objective-C: ...\")")
    faults += [f"{member} is not reached from Objective-C" for member in sorted(public - reached - same)]

    everything = set(operations(lambda header: True))
    for name, selector in declared:
        counterpart = f"{name}::{selector.split(':')[0]}" in everything
        if not counterpart and selector != "init" and f"{name} {selector}" not in used:
            faults.append(f"[{name} {selector}] has no row in {OBJC_PAGE}")
        is_protocol = re.search(rf"^@protocol {name}\b", headers, re.MULTILINE)
        if ("any class" if is_protocol else name, selector) not in called:
            faults.append(f"no test has called [{name} {selector}]")
    return faults, len(declared)


def faults_of_methods():
    """The methods of Objective-C that exceptions of C++ may leave, and how many methods there are."""
    faults, count = [], 0
    for source in sorted((ROOT / "faces/objc").glob("*.mm")):
        found, methods = faces_guards.faults(without_comments(source.read_text(encoding="utf-8")))
        faults += [f"{source.relative_to(ROOT)}: {fault}" for fault in found]
        count += methods
    return faults, count


def main(calls_file):
    public = set(operations())
    calls = [tuple(line.split()) for line in pathlib.Path(calls_file).read_text(encoding="utf-8").splitlines()]
    faults, counts = [], []
    for found, count in faults_of_c(public), faults_of_objc(public, calls), faults_of_methods():
        faults += found
        counts.append(count)
    print(*faults, sep="\n", end="\n" if faults else "")
    print("{} operations, {} calls of C, {} selectors, {} methods, {} faults".format(len(public), *counts, len(faults)))
    return 1 if faults or not public or not all(counts) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]) if len(sys.argv) == 2 else "usage: faces.py FILE, which the tests of Objective-C wrote")
