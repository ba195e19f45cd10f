"""The pages of the documentation site: texts of the repository, with links to what the site has of it."""

import posixpath
import re

import docs_links
import docs_reference

FOLDER = "build/site-pages/pages"
FRONT = {"README.md": "index.md"}  # on the site, the front page is there in place of the README

# Code blocks, headings and comments, in which names do not become links.
KEPT = re.compile(r"(^ *```.*?^ *```$|^#[^\n]*|<!--.*?-->)", re.MULTILINE | re.DOTALL)
LINK = re.compile(r"\[(?:[^\[\]]|\[[^\]]*\]\([^)]*\))*\]\((?P<target>[^)\s]+)\)|`(?P<code>[^`\n]+)`")


class Fault(Exception):
    pass


def relative(target, page):
    """The address of a page, or of a file, in a link on another page."""
    return posixpath.relpath(target, posixpath.dirname(page) or ".")


class Pages:
    """The pages, by the headers that the reference describes."""

    def __init__(self, root, headers):
        self.root = root
        self.headers = headers
        self.symbols = {face: docs_reference.symbols({path: items for path, items in headers.items()
                                                      if path.startswith(face.folder)})
                        for face in docs_reference.FACES}
        self.sources = set()  # the files that pages lead to

    def page_of(self, path):
        """The page, or the image, that shows this file of the repository."""
        if path in FRONT:
            return FRONT[path]
        if path in self.headers:
            return f"reference/{path}.md"
        if path.endswith((".md", ".svg", ".png")):
            return path
        self.sources.add(path)
        return f"sources/{path}.md"

    def address(self, target, page, path):
        """The address on `page` of what `path` leads to by `target`."""
        file, hash_sign, anchor = target.partition("#")
        if not file or docs_links.is_external(file):
            return target
        file_path = posixpath.normpath(posixpath.join(posixpath.dirname(path), file))
        # A folder of headers is shown by the page of the first, beside which the navigation has the others.
        file_path = next((header for header in self.headers if header.startswith(f"{file_path}/")), file_path)
        if not (self.root / file_path).is_file():
            raise Fault(f"{path}: links to {file}, which is no file")
        return relative(self.page_of(file_path), page) + hash_sign + anchor

    def code(self, text, page):
        """A code span, with a link when the reference describes what it names, if possible for the page's language."""
        name = re.sub(r"^(?:sqm::)?(?:platform::|delivery::|testing::)?|\(\)$", "", text)
        name = re.sub(r"^[-+]\[(\w+) ([\w:]+)\]$", r"\1::\2", name)  # a method of Objective-C
        for face in sorted(self.symbols, key=lambda face: not face.has(page)):
            if name in self.symbols[face]:
                header, anchor = self.symbols[face][name]
                return f"[`{text}`]({relative(self.page_of(header), page)}{'#' * bool(anchor)}{anchor})"
        return f"`{text}`"

    def with_links(self, text, page, path):
        """The text of `path` as `page` has it."""
        def replaced(match):
            if match["code"]:
                return self.code(match["code"], page)
            target = match["target"]
            return match[0].removesuffix(f"({target})") + f"({self.address(target, page, path)})"

        parts = KEPT.split(text)
        parts[::2] = (LINK.sub(replaced, part) for part in parts[::2])
        return "".join(parts)

    def write(self, page, text, path):
        file = self.root / FOLDER / page
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(self.with_links(text, page, path), encoding="utf-8")
