"""The declarations of the C++ headers.

Doxygen finds the classes, their members and comments; the declarations are shown as the header has them. A comment
describes the declarations below it, up to an empty line or the next comment.
"""

import collections
import re
import xml.etree.ElementTree

from docs_items import CLASSES, Item, escaped, set_anchors, with_labels

NAMESPACES = r"^sqm::(?:(?:platform|delivery|testing)::)?"
SYMBOLS = {"mdash": "---", "ndash": "--", "linebreak": "\n", "sp": " "}
IS_APART = re.compile(r"^\s*$|[;{}:]$|^\s*(?://|#)|[;,] *///<")  # a line that no declaration continues


def inline(element):
    """The Markdown of an element's text."""
    parts = [escaped(element.text or "")]
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
        parts.append(escaped(child.tail or ""))
    return "".join(parts)


def comment_of(element):
    paragraphs = [inline(para).strip() for tag in ("briefdescription", "detaileddescription")
                  for para in element.find(tag)]
    return with_labels("\n\n".join(filter(None, paragraphs)))


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


def declaration(lines, line, kind):
    """The declaration that has this line, as it is written, without its body and its comments."""
    start = line - 1
    while start and not IS_APART.search(lines[start - 1]):
        start -= 1
    text = "\n".join(re.sub(r"\s*//.*", "", each) for each in lines[start:])
    opening, closing = ("({", ")}") if kind == "variable" else ("(", ")")
    depth = 0
    for at, character in enumerate(text):
        depth += (character in opening) - (character in closing)
        if depth == 0 and character in ";{":
            break
    text = text[:at].rstrip()
    if kind == "function":
        text = re.sub(r"\)( noexcept)?\s*:\s.*", r")\1", text, flags=re.DOTALL)  # the initialisers of a constructor
    if kind not in (*CLASSES, "enum"):
        text += ";"
    margin = len(text) - len(text.lstrip())
    return re.sub(rf"^ {{{margin}}}", "", text, flags=re.MULTILINE).removesuffix(" final")


def is_shown(member):
    arguments = member.findtext("argsstring") or ""
    return (member.get("prot") == "public" and member.get("kind") not in ("friend", "define")
            and not member.findtext("name").startswith("~") and not re.search(r"=\s*(?:delete|default)$", arguments))


def is_continuation(comment, before, line, lines):
    """Whether the comment of a declaration describes the one at `line`, too: nothing but code is between them."""
    between = [each.strip() for each in lines[before : line - 1]]
    return not comment and bool(before) and all(each and not each.startswith(("//", "}")) for each in between)


def items_of(members, scope, lines):
    """The items of a class, or of what no class has, in the order of the header, with their lines."""
    def line_of(member):
        return int(member.find("location").get("line"))

    found, before = [], 0
    for member in sorted(members, key=line_of):
        line = line_of(member)
        kind, name = member.get("kind"), member.findtext("name")
        comment = "\n\n".join(filter(None, (plain_comment(lines, line), comment_of(member))))
        item = Item(kind, name, scope, declaration(lines, line, kind), comment,
                    is_continuation(comment, before, line, lines))
        for value in member.findall("enumvalue"):
            text = f"{value.findtext('name')} {value.findtext('initializer') or ''}".strip()
            item.members.append(Item("value", value.findtext("name"), f"{scope}{name}::", text, comment_of(value)))
        found.append((line, item))
        before = line
    return found


def class_of(compound, lines):
    """The line of a class, and its item."""
    scope, _, name = re.sub(NAMESPACES, "", compound.findtext("compoundname")).rpartition("::")
    scope += "::" * bool(scope)
    line, kind = int(compound.find("location").get("line")), compound.get("kind")
    members = filter(is_shown, compound.iter("memberdef"))
    return line, Item(kind, name, scope, declaration(lines, line, kind), comment_of(compound),
                      members=[item for _, item in items_of(members, f"{scope}{name}::", lines)],
                      bases=[re.sub(f"{NAMESPACES}|<.*", "", base.text)
                             for base in compound.findall("basecompoundref[@refid]")])


def read(root, xml_folder):
    """The items of each header, by its path, in their order: {"sqm/manager/SQMManager.h": [Item, ...]}."""
    classes, others = collections.defaultdict(list), collections.defaultdict(list)
    for file in xml_folder.glob("*.xml"):
        for compound in xml.etree.ElementTree.parse(file).iterfind("compounddef"):
            if compound.get("kind") in CLASSES and compound.get("prot") == "public":
                classes[compound.find("location").get("file")].append(compound)
            elif compound.get("kind") == "namespace":
                for member in filter(is_shown, compound.iter("memberdef")):
                    others[member.find("location").get("file")].append(member)
    found = {}
    for path in classes | others:
        lines = (root / path).read_text(encoding="utf-8").splitlines()
        items = [class_of(compound, lines) for compound in classes[path]] + items_of(others[path], "", lines)
        found[path] = set_anchors([item for _, item in sorted(items, key=lambda each: each[0])])
    return found
