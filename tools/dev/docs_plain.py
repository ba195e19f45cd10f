"""The declarations of a header of C or Objective-C, which has plain comments.

A comment describes the declarations below it, up to an empty line or the next comment; one behind a declaration, on the
same line, describes that one. An empty line below a comment means nothing. What the public headers of this project do
not have is not understood.
"""

import re

from docs_items import Item, escaped, set_anchors, with_labels

HEAD = re.compile(r"/\*.*?\*/", re.DOTALL)
LEFT_OUT = re.compile(r"^#ifdef __cplusplus$.*?^#endif$|^#(?!define \w+ \")[^\n]*|^@(?:optional|required)$"
                      r"|^@(?:class|protocol) \w+;$|^/\* ---.*?\*/", re.DOTALL | re.MULTILINE)
CLASS = re.compile(r"^@(interface|protocol) ([^;{\n]+?)(?: \{.*?^\})?\n(.*?)^@end$", re.DOTALL | re.MULTILINE)
BLOCK = re.compile(r"(?:typedef )?(enum|struct) ?(\w*) ?\{(.*)\}", re.DOTALL)
TOKEN = re.compile(r"/\*.*?\*/|\n(?:[ \t]*\n)*|.", re.DOTALL)


def comment_of(comment):
    """The text of a comment, as Markdown."""
    text = re.sub(r"^ *\* ?", "", comment.removeprefix("/*").removesuffix("*/"), flags=re.MULTILINE)
    return with_labels("\n\n".join(escaped(paragraph) for paragraph in re.split(r"\n\n+", text.strip())))


def summary_of(text):
    """The comment at the head of a header, which describes it."""
    return comment_of(HEAD.match(text)[0])


def declarations(text, end):
    """The declarations, each closed by `end`: (text, comment, whether the comment before describes it, too)."""
    found = []
    current, comments = "", []
    depth, is_continued, is_behind = 0, False, False
    for token in [*TOKEN.findall(text), end]:
        depth += (token in "({") - (token in ")}")
        if token.startswith("/*") and depth == 0:
            if is_behind and not current:
                found[-1][1:] = [*found[-1][1], token], False
            else:
                comments, is_continued = [*comments, token], False
        elif token == end and depth == 0:
            if current:
                found.append([current.rstrip(), comments, is_continued])
                current, comments, is_continued, is_behind = "", [], True, True
        elif current or not token.isspace():
            current += token
        elif "\n" in token:
            is_behind, is_continued = False, is_continued and token == "\n"
    return [(each, "\n\n".join(map(comment_of, comments)), is_continued) for each, comments, is_continued in found]


def name_of(text):
    """The name that a declaration adds, and whether it is that of a function."""
    if text[0] in "+-":
        plain = re.sub(r"\([^()]*\)", "", text)
        return "".join(re.findall(r"\w+:", plain)) or re.findall(r"\w+", plain)[0], True
    if match := re.match(r"#define (\w+)|[^(]*\(\*(\w+)\)", text):
        return match[1] or match[2], False
    match = re.match(r"[^@(]*?(\w+)\(", text)
    return (match[1], True) if match else (re.findall(r"\w+", text)[-1], False)


def item_of(text, comment, is_continued, scope):
    if block := BLOCK.match(text):
        kind, name, body = block.groups()
        item = Item(kind, name, scope, f"{kind} {name}" if name else "", comment, is_continued)
        item.members = values(body) if kind == "enum" else items(body, f"{name}::")
        return item
    text = re.sub(r"\n {8}", "\n", text.removeprefix("SQM_API ")) if text.startswith("SQM_API ") else text
    name, is_function = name_of(text)
    kind = "function" if is_function else "variable"
    return Item(kind, name, scope, text + ";" * (not text.startswith("#")), comment, is_continued)


def values(text):
    """The values of an enumeration."""
    return [Item("value", each.split()[0], "", each, *rest) for each, *rest in declarations(text, ",")]


def items(text, scope=""):
    classes = []

    def placeholder(match):
        classes.append(match)
        return f"@{len(classes) - 1};"

    found = []
    for each, comment, is_continued in declarations(CLASS.sub(placeholder, text), ";"):
        if re.fullmatch(r"@\d+", each):
            kind, head, body = classes[int(each[1:])].groups()
            name, *bases = re.findall(r"\w+(?: \(\w+\))?", head)
            found.append(Item("class" if kind == "interface" else kind, name, scope, f"@{kind} {head}", comment,
                              members=items(body, f"{name.split()[0]}::"),  # also those of a category
                              bases=[base for base in bases if not base.startswith("NS")]))
        else:
            found.append(item_of(each, comment, is_continued, scope))
    return found


def read(text):
    """The items of a header, in their order."""
    text = re.sub(r"^(#define \w+ \"[^\"]*\")", r"\1;", HEAD.sub("", text, count=1), flags=re.MULTILINE)
    return set_anchors(items(LEFT_OUT.sub("", text)))
