"""What the reference of the documentation site is made of: the declarations of a header, with their comments."""

import dataclasses
import re

LABELS = ("Ownership", "Threading", "Failure", "Handles", "Hosts", "Threads", "Texts", "Callbacks")
CLASSES = ("class", "struct", "protocol")


@dataclasses.dataclass
class Item:
    """A declaration, or a class with its members."""
    kind: str
    name: str
    scope: str  # the classes around it, "StandardHost::Options::"
    text: str  # the declaration as it is written, without bodies
    comment: str  # Markdown
    is_continued: bool = False  # the comment of the item before it describes it, too
    members: list = dataclasses.field(default_factory=list)  # of a class, and the values of an enumeration
    bases: list = dataclasses.field(default_factory=list)  # of the project
    anchor: str = ""  # on its page

    @property
    def path(self):
        return self.scope + (self.name or self.members[0].name)


def escaped(text):
    """Plain text, in which code is between backticks, as Markdown."""
    text = re.sub(r"(`[^`]*`)|([\\`*_\[\]<])", lambda match: match[1] or f"\\{match[2]}", text)
    return text.replace("\n", " ")


def with_labels(text):
    """Each labelled sentence as a paragraph of its own."""
    return re.sub(rf"\s*\b({'|'.join(LABELS)}): ", r"\n\n**\1:** ", text).strip()


def set_anchors(items, used=None):
    """Gives each item an anchor of its own, also those of the same name. Returns the items."""
    used = set() if used is None else used
    for item in items:
        item.anchor = re.sub(r"\W+", "-", item.path).strip("-")
        while item.anchor in used:
            item.anchor += "-"
        used.add(item.anchor)
        set_anchors(item.members, used)
    return items
