"""The pages of the reference: Markdown, of the declarations in the public headers."""

import dataclasses
import os
import pathlib

from docs_items import CLASSES


@dataclasses.dataclass(frozen=True)
class Face:
    """The library in one language."""
    language: str
    lexer: str  # of its code
    folder: str  # of its headers
    include: str
    guide: str

    def has(self, page):
        return page == self.guide or page.startswith(f"reference/{self.folder}")


CPP = Face("C++", "cpp", "sqm/", '#include "sqm/{}"', "docs/cpp.md")
PLAIN = (
    Face("C", "c", "faces/c/", "#include <{}>", "docs/c.md"),
    Face("Objective-C", "objective-c", "faces/objc/", "#import <{}>", "docs/objc.md"),
)
FACES = (CPP, *PLAIN)


def groups(items):
    """The items, those together that one comment describes."""
    found = []
    for item in items:
        if found and item.is_continued and item.kind not in CLASSES and found[-1][-1].kind not in CLASSES:
            found[-1].append(item)
        else:
            found.append([item])
    return found


def title_of(item):
    if item.scope.endswith(f"{item.name}::"):
        return "constructor"
    prefix = os.path.commonprefix([value.name for value in item.members])
    return item.name or f"{prefix[: prefix.rfind('_')]}_..."


def title(group):
    return ", ".join(dict.fromkeys(map(title_of, group)))


def field_lines(items):
    """A list of what has a line of its own, with its comment below."""
    lines = []
    for item in items:
        comment = item.comment.replace("\n\n", "\n\n    ")
        lines.append(f"- `{item.text}`{{#{item.anchor}}}" + (f"<br>\n    {comment}" if comment else ""))
    return [*lines, ""]


def heading(level, text, items):
    """A heading with the anchors of all items."""
    first, *others = dict.fromkeys(item.anchor for item in items)
    return [f"{'#' * level} {text} {{#{first}}}", "", *(f'<span id="{anchor}"></span>' for anchor in others), ""]


def code(lexer, *lines):
    return [f"```{lexer}", *lines, "```", ""] if lines else []


def group_lines(group, level, lexer):
    lines = heading(level, title(group), group) + code(lexer, *(item.text for item in group if item.text))
    for item in group:
        lines += [item.comment, "", *field_lines(item.members)]
    return lines


def class_lines(item, lexer):
    lines = [*heading(2, item.scope + item.name, [item]), *code(lexer, item.text), item.comment, ""]
    if item.bases:
        lines += [f"**Base:** {', '.join(f'`{base}`' for base in item.bases)}.", ""]
    for group in groups(item.members):
        if all(member.kind == "variable" for member in group):
            lines += field_lines(group)
        else:
            lines += group_lines(group, 3, lexer)
    return lines


def page(path, items, summary):
    """The page of a header."""
    face = next(face for face in FACES if path.startswith(face.folder))
    include = face.include.format(path.removeprefix(face.folder))
    lines = [f"# {pathlib.PurePath(path).name}", "", summary, "", *code(face.lexer, include)]
    for group in groups(items):
        if group[0].kind in CLASSES:
            lines += class_lines(group[0], face.lexer)
        else:
            lines += group_lines(group, 2, face.lexer)
    return "\n".join(lines) + "\n"


def symbols(headers):
    """Where a name is described, as (header, anchor): that of a header, of what is in it, and of what is in a class.

    What is in a class has the names `Class::name` and, in a nested class, `Nested::name`, unless two have that. Free
    functions of C++ are left out: members have such names, too."""
    found = {}
    for path, items in headers.items():
        found[path] = path, ""
        for item in items:
            if path.startswith("faces/") or item.kind != "function":
                found.setdefault(item.path, (path, item.anchor))
            for member in (each for inner in item.members for each in (inner, *inner.members)):
                found.setdefault(member.path, (path, member.anchor))
                shorter = member.path.partition("::")[2]
                if "::" in shorter:
                    found[shorter] = None if shorter in found else (path, member.anchor)
    return {name: place for name, place in found.items() if place}
