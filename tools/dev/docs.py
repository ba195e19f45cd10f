#!/usr/bin/env python3
"""Makes the documentation site in build/site: the pages of the repository, and a reference of the public headers.

The pages are copied to build/site-pages under their paths in the repository. Their links to headers and other sources
lead to pages that are made of these; names in code that the reference describes become links to it. mkdocs then makes
the site, which is searched without a server, and every link in it is checked.
"""

import json
import pathlib
import re
import shutil
import subprocess
import sys

import docs_cpp
import docs_links
import docs_pages
import docs_plain
import docs_reference

ROOT = pathlib.Path(__file__).resolve().parents[2]
WORK = ROOT / "build/site-pages"
SITE = ROOT / "build/site"
CONFIGURATION = "docs/site/mkdocs.yml"
FRONT_PAGE = "docs/site/index.md"
TOP_PAGES = ("CHANGELOG.md", "CONTRIBUTING.md", "SECURITY.md")
FILES = ("docs/site/site.css", "tools/collector/page/icon.svg")
LANGUAGES = {".c": "c", ".cpp": "cpp", ".jsonl": "json", ".m": "objective-c", ".plist": "xml"}


def text_of(path):
    return (ROOT / path).read_text(encoding="utf-8")


def copy_pages(pages):
    """Copies what the site has as it is. Returns the paths of the pages."""
    paths = [*TOP_PAGES, *(file.relative_to(ROOT).as_posix() for file in sorted((ROOT / "docs").glob("*.md")))]
    for path in paths:
        pages.write(path, text_of(path), path)
    pages.write("index.md", text_of(FRONT_PAGE), FRONT_PAGE)
    for image in (*(ROOT / "docs").rglob("*.svg"), *(ROOT / "docs").rglob("*.png")):
        copy = ROOT / docs_pages.FOLDER / image.relative_to(ROOT)
        copy.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(image, copy)
    for path in FILES:
        shutil.copy(ROOT / path, ROOT / docs_pages.FOLDER)
    return paths


def described_headers():
    """The sections of the reference: {"The client's calls": {path: what it is for}}."""
    sections = {}
    for line in text_of("docs/headers.md").splitlines():
        if line.startswith("## "):
            sections[line[3:]] = section = {}
        elif row := re.match(r"- `(sqm/[^`]+\.h)`: (.)(.*)", line):
            section[row[1]] = f"{row[2].upper()}{row[3]}."
    for face in docs_reference.PLAIN:
        files = [file for file in (ROOT / face.folder).rglob("*.h") if "internal" not in file.parts]
        files.sort(key=lambda file: (len(file.parts), file.name))
        paths = [file.relative_to(ROOT).as_posix() for file in files]
        sections[face.language] = {path: docs_plain.summary_of(text_of(path)) for path in paths}
    return {section: headers for section, headers in sections.items() if headers}


def read_headers(paths):
    """The declarations of each header."""
    subprocess.run(["doxygen", "docs/site/Doxyfile"], cwd=ROOT, check=True)
    items = docs_cpp.read(ROOT, WORK / "xml")
    return {path: items.get(path, []) if path.startswith(docs_reference.CPP.folder) else docs_plain.read(text_of(path))
            for path in paths}


def write_reference(pages, sections):
    """Writes the pages of the headers. Returns their lines of the navigation."""
    navigation = []
    for section, headers in sections.items():
        navigation.append(f"      - {json.dumps(section)}:")
        for path, summary in headers.items():
            page = pages.page_of(path)
            text = docs_reference.page(path, pages.headers[path], summary)
            text = re.sub(r"(?<![\w/`])docs/[\w-]+\.md",
                          lambda name: f"[{name[0]}]({docs_pages.relative(name[0], path)})", text)
            pages.write(page, text, path)
            navigation.append(f"          - {page}")
    return navigation


def write_sources(pages):
    for path in sorted(pages.sources):
        language = LANGUAGES.get(pathlib.PurePath(path).suffix, "text")
        pages.write(pages.page_of(path), f'# {path}\n\n```{language}\n--8<-- "{path}"\n```\n', path)


def write_search():
    """Makes one script of the index and the worker of the search: a page on a disk loads scripts and nothing else."""
    index = (SITE / "search/search_index.json").read_text(encoding="utf-8")
    worker = next(SITE.glob("assets/javascripts/workers/search.*.js")).read_text(encoding="utf-8")
    script = (f"var __search = {{ index: Promise.resolve({index}),\n"
              f"  worker: URL.createObjectURL(new Blob([{json.dumps(worker)}], {{ type: 'text/javascript' }})) }};\n")
    (SITE / "search/search.js").write_text(script, encoding="utf-8")


def make():
    for folder in (WORK, SITE):
        shutil.rmtree(folder, ignore_errors=True)
    WORK.mkdir(parents=True)
    sections = described_headers()
    pages = docs_pages.Pages(ROOT, read_headers([path for headers in sections.values() for path in headers]))
    configuration = text_of(CONFIGURATION)
    for path in copy_pages(pages):
        if not re.search(rf" {re.escape(path)}$", configuration, re.MULTILINE):
            raise docs_pages.Fault(f"{path}: is not in the navigation of {CONFIGURATION}")
    navigation = "\n".join(write_reference(pages, sections))
    write_sources(pages)
    (WORK / "mkdocs.yml").write_text(configuration + navigation + "\n", encoding="utf-8")
    subprocess.run(["mkdocs", "build", "--quiet", "--config-file", WORK / "mkdocs.yml"], cwd=ROOT, check=True)
    write_search()
    shutil.rmtree(SITE / "assets/javascripts/lunr")  # to search pages in other languages than English
    for name in ("404.html", "sitemap.xml", "sitemap.xml.gz", "search/search_index.json"):
        (SITE / name).unlink()  # they serve a server, or are in search.js


def main():
    try:
        make()
    except (docs_pages.Fault, subprocess.CalledProcessError) as fault:
        print(fault)
        return 1
    return docs_links.check(SITE)


if __name__ == "__main__":
    sys.exit(main())
