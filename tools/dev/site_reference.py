"""The pages of the reference: Markdown, of the public headers as Doxygen's XML describes them.

Doxygen finds the classes, their members and comments; the declarations are shown as the header has them. In the headers
a comment describes all declarations that follow it up to an empty line, so these make one entry of a page.
"""

import collections
import dataclasses
import os
import pathlib
import re
import xml.etree.ElementTree

FACES = {"sqm/": "cpp", "faces/c/": "c"}  # the folders of public headers, and the language of their code
CLASSES = ("class", "struct")
NAMESPACES = r"^sqm::(?:(?:platform|delivery|testing)::)?"
LABELS = ("Ownership", "Threading", "Failure", "Handles", "Threads", "Texts", "Callbacks")


@dataclasses.dataclass
class Item:
    """A declaration, or a class with its members."""
    kind: str
    name: str
    scope: str  # the classes around it, "StandardHost::Options::"
    line: int
    text: str  # the declaration, without bodies
    comment: str
    members: list = dataclasses.field(default_factory=list)  # of a class, and the values of an enumeration
    anchor: str = ""  # on its page

    @property
    def path(self):
        return self.scope + (self.name or self.members[0].name)


# --- Comments ---------------------------------------------------------------------------------------------------------

SYMBOLS = {"mdash": "---", "ndash": "--", "linebreak": "\n", "sp": " "}


def escaped(text):
    return re.sub(r"([\\`*_\[\]<])", r"\\\1", text or "").replace("\n", " ")


def inline(element):
    """The Markdown of an element's text."""
    parts = [escaped(element.text)]
    for child in element:
        if child.tag == "computeroutput":
            parts.append(f"`{''.join(child.itertext())}`")
        elif child.tag in ("itemizedlist", "orderedlist"):
            items = (" ".join(inline(para).strip() for para in item) for item in child)
            parts.append("\n\n" + "".join(f"- {item}\n" for item in items) + "\n")
        elif child.tag in ("verbatim", "preformatted"):
            parts.append("\n\n```text\n" + "".join(child.itertext()).strip("\n") + "\n```\n\n")
        else:
            parts.append(SYMBOLS.get(child.tag) or inline(child))
        parts.append(escaped(child.tail))
    return "".join(parts)


def comment_of(element):
    paragraphs = [inline(para).strip() for tag in ("briefdescription", "detaileddescription")
                  for para in element.find(tag)]
    return with_labels("\n\n".join(filter(None, paragraphs)))


def with_labels(text):
    """Each labelled sentence as a paragraph of its own."""
    return re.sub(rf"\s*\b({'|'.join(LABELS)}): ", r"\n\n**\1:** ", text).strip()


def summary_of_c_header(file):
    """The comment at the head of a C header, which describes it."""
    text = re.match(r"/\*(.*?)\*/", file.read_text(encoding="utf-8"), re.DOTALL)[1]
    return with_labels(re.sub(r"^ \* ?", "", text, flags=re.MULTILINE))


def plain_comment(lines, line):
    """The `//` comment above a declaration, which Doxygen leaves out, or above its `///` comment."""
    found = []
    for above in reversed(lines[: line - 1]):
        text = above.strip()
        if text.startswith("// ") and not re.match(r"// (?:NOLINT|---)", text):
            found.insert(0, text[3:])
        elif found or (text and not text.startswith("///")):
            break
    return escaped(" ".join(found))


# --- Declarations -----------------------------------------------------------------------------------------------------


IS_APART = re.compile(r"^\s*$|[;{}:]$|^\s*(?://|#|/?\*)|\*/$|[;,] *///<")  # a line that no declaration continues


def declaration(lines, line, kind):
    """The declaration that has this line, as it is written, without its body, its comments and SQM_API."""
    if kind == "define":
        return re.sub(r"\s*/\*.*", "", lines[line - 1])
    start = line - 1
    while start and not IS_APART.search(lines[start - 1]):
        start -= 1
    text = "\n".join(re.sub(r"\s*(//.*|/\*.*\*/)$", "", each) for each in lines[start:])
    depth = 0
    for at, character in enumerate(text):
        depth += (character == "(") - (character == ")")
        if depth == 0 and (character == ";" or (character == "{" and kind != "variable")):
            break
    text = text[:at].rstrip()
    if kind == "function":
        text = re.sub(r"\)( noexcept)?\s*:\s.*", r")\1", text, flags=re.DOTALL)  # the initialisers of a constructor
    if kind == "struct":
        text = text.removeprefix("typedef ")
    if kind not in (*CLASSES, "enum"):
        text += ";"
    first, _, others = text.partition("\n")
    margin = len(first) - len(first.lstrip()) + (len("SQM_API ") if first.startswith("SQM_API ") else 0)
    text = first[margin:] + "".join(f"\n{each[margin:]}" for each in others.splitlines())
    return "" if text == "enum" else text.removesuffix(" final")


def is_shown(member):
    if member.get("prot") not in ("public", "protected") or member.get("kind") == "friend":
        return False
    name, arguments = member.findtext("name"), member.findtext("argsstring") or ""
    if member.get("kind") == "define":
        return (member.findtext("initializer") or "").startswith('"')  # no guards
    if member.get("kind") == "typedef" and member.findtext("type/ref[@kindref='compound']") == name:
        return False  # the name of a structure of C, which is shown itself
    return not name.startswith("~") and not re.search(r"=\s*(?:delete|default)$", arguments)


def item_of(member, scope, lines):
    kind, line = member.get("kind"), int(member.find("location").get("line"))
    comment = "\n\n".join(filter(None, (plain_comment(lines, line), comment_of(member))))
    name = re.sub("^@.*", "", member.findtext("name"))  # some enumerations of C have none
    item = Item(kind, name, scope, line, declaration(lines, line, kind), comment)
    for value in member.findall("enumvalue"):
        name, number = value.findtext("name"), value.findtext("initializer") or ""
        inside = f"{scope}{item.name}::" if item.name else ""
        item.members.append(Item("value", name, inside, line, f"{name} {number}".strip(), comment_of(value)))
    return item


def read(root, xml_folder):
    """The items of each public header, by its path, in their order: {"sqm/manager/SQMManager.h": [Item, ...]}."""
    files = sorted(xml_folder.glob("*.xml"))
    compounds = [each for file in files for each in xml.etree.ElementTree.parse(file).iterfind("compounddef")]
    headers = collections.defaultdict(list)
    sources = {}

    def lines_of(path):
        if path not in sources:
            sources[path] = (root / path).read_text(encoding="utf-8").splitlines()
        return sources[path]

    for compound in compounds:
        kind, location = compound.get("kind"), compound.find("location")
        path = location.get("file") if location is not None else ""
        members = [member for member in compound.iter("memberdef") if is_shown(member)]
        if kind in CLASSES and compound.get("prot") == "public":
            scope, _, name = re.sub(NAMESPACES, "", compound.findtext("compoundname")).rpartition("::")
            scope += "::" if scope else ""
            lines, line = lines_of(path), int(location.get("line"))
            item = Item(kind, name, scope, line, declaration(lines, line, kind), comment_of(compound))
            item.members = [item_of(each, f"{scope}{name}::", lines) for each in members]
            item.members.sort(key=lambda each: each.line)
            headers[path].append(item)
        elif kind == "namespace" or path.startswith("faces/c/"):
            for member in members:
                path = member.find("location").get("file")
                headers[path].append(item_of(member, "", lines_of(path)))
    for items in headers.values():
        items.sort(key=lambda each: each.line)
        set_anchors(items, set())
    return headers


def set_anchors(items, used):
    """Gives each item an anchor of its own, also those of the same name."""
    for item in items:
        item.anchor = re.sub(r"\W+", "-", item.path).strip("-")
        while item.anchor in used:
            item.anchor += "-"
        used.add(item.anchor)
        set_anchors(item.members, used)


# --- Pages ------------------------------------------------------------------------------------------------------------


def is_continued(item, after, lines):
    """Whether one comment describes both: nothing but code is between them."""
    between = (line.strip() for line in lines[item.line : after.line - 1])
    return not (after.comment or item.kind in CLASSES or after.kind in CLASSES) and all(
        line and not line.startswith(("//", "/*", "}")) for line in between)


def groups(items, lines):
    """The items, those together that one comment describes."""
    found = []
    for item in items:
        if found and is_continued(found[-1][-1], item, lines):
            found[-1].append(item)
        else:
            found.append([item])
    return found


def title(group):
    names = ["constructor" if item.scope.endswith(f"{item.name}::") else item.name for item in group if item.name]
    prefix = os.path.commonprefix([value.name for value in group[0].members])
    return ", ".join(dict.fromkeys(names)) or f"{prefix[: prefix.rfind('_')]}_..."


def fields(items):
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


def code(language, *lines):
    return [f"```{language}", *lines, "```", ""] if lines else []


def group_lines(group, level, language):
    lines = heading(level, title(group), group) + code(language, *(item.text for item in group if item.text))
    for item in group:
        lines += [item.comment, "", *fields(item.members)]
    return lines


def class_lines(item, source, language):
    lines = [*heading(2, item.scope + item.name, [item]), *code(language, item.text), item.comment, ""]
    for group in groups(item.members, source):
        if all(member.kind == "variable" for member in group):
            lines += fields(group)
        else:
            lines += group_lines(group, 3, language)
    return lines


def page(path, items, summary, source):
    """The page of a header."""
    language = next(language for folder, language in FACES.items() if path.startswith(folder))
    include = f'#include "{path}"' if language == "cpp" else f"#include <{path.removeprefix('faces/c/')}>"
    lines = [f"# {pathlib.PurePath(path).name}", "", summary, "", *code(language, include)]
    for group in groups(items, source):
        if group[0].kind in CLASSES:
            lines += class_lines(group[0], source, language)
        else:
            lines += group_lines(group, 2, language)
    return "\n".join(lines) + "\n"


def symbols(headers):
    """Where a name is described, as (header, anchor): headers, classes, what is in a class, and every name of C.

    What is in a class has the names `Class::name` and, in a nested class, `Nested::name`, unless two have that."""
    found = {}
    for path, items in headers.items():
        found[path] = path, ""
        for item in items:
            if path.startswith("faces/c/") or item.kind in CLASSES:
                found.setdefault(item.path, (path, item.anchor))
            for member in (each for inner in item.members for each in (inner, *inner.members)):
                found.setdefault(member.path, (path, member.anchor))
                shorter = member.path.partition("::")[2]
                if "::" in shorter:
                    found[shorter] = None if shorter in found else (path, member.anchor)
    return {name: place for name, place in found.items() if place}
