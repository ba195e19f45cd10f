"""Checks a static site: every link leads to a file and an anchor that exist, and nothing is loaded from other hosts.

What a script would load cannot be seen here: each page has a policy with which the browser refuses it.
"""

import html.parser
import re
import urllib.parse


POLICY = r"default-src 'self'(?: file:| data:| blob:| 'unsafe-inline')*"


class Page(html.parser.HTMLParser):
    """The anchors of a page, where it leads to and what it loads."""

    def __init__(self, text):
        super().__init__()
        self.anchors, self.links, self.loaded, self.has_policy = {"", "top"}, [], [], False
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        if values.get("id"):
            self.anchors.add(values["id"])
        if tag == "a" and values.get("href"):
            self.links.append(values["href"])
        elif values.get("http-equiv") == "Content-Security-Policy":
            self.has_policy = bool(re.fullmatch(POLICY, values.get("content", "")))
        elif values.get("href") or values.get("src"):
            self.loaded.append(values.get("href") or values["src"])


def is_external(address):
    return bool(urllib.parse.urlsplit(address).scheme or address.startswith("//"))


def check(site):
    """Prints the faults, and the addresses outside, which are not fetched. Returns an exit status."""
    files = {file for file in site.rglob("*") if file.is_file()}
    pages = {file: Page(file.read_text(encoding="utf-8")) for file in sorted(files) if file.suffix == ".html"}
    faults, outside, count = [], set(), 0
    for file, page in pages.items():
        name = file.relative_to(site)
        if not page.has_policy:
            faults.append(f"{name}: has no policy against loading from other hosts")
        for address in page.links + page.loaded:
            count += 1
            path, _, anchor = address.partition("#")
            target = (file.parent / urllib.parse.unquote(path)).resolve() if path else file
            if is_external(address):
                outside.add(address)
                if address in page.loaded and not address.startswith("data:"):
                    faults.append(f"{name}: loads {address} from another host")
            elif target not in files:
                faults.append(f"{name}: leads to {address}, which is no file")
            elif target in pages and urllib.parse.unquote(anchor) not in pages[target].anchors:
                faults.append(f"{name}: leads to {address}, which is no anchor")
    for file in sorted(site.rglob("*.css")):
        for address in re.findall(r"url\(\s*['\"]?([^'\")]+)", file.read_text(encoding="utf-8")):
            if is_external(address) and not address.startswith("data:"):
                faults.append(f"{file.relative_to(site)}: loads {address} from another host")
    print("\n".join(["Addresses outside, which are not fetched:", *(f"  {address}" for address in sorted(outside))]))
    print("\n".join([*faults, f"{len(pages)} pages, {count} links, {len(faults)} faults"]))
    return 1 if faults or not count else 0
