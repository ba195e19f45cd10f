#!/usr/bin/env python3
"""Compares the binary interface of the C face with its description in faces/c/abi.

abi.py LIBRARY          fails when the interface is not the described one, and says whether a program that was linked with
                        the described one still works
abi.py LIBRARY --renew  writes the description, unless such a program no longer works: then the number in the SONAME of
                        the library must be raised first

LIBRARY is libsqm.so with debug information for the types of its interface (-g). The description has three files:
libsqm.so.N.abi, which abidw of libabigail writes; libsqm.so.N.constants, since no function has a type that names them;
and the symbols of the Debian package, with the version that brought each. Constants are enumerators and macros.
"""

import argparse
import pathlib
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree

# Structures that may have further members at their end: those that begin with their size, and those that the library
# makes for a callback.
GROWING = {
    "sqm_clock_service", "sqm_filter_service", "sqm_http_response", "sqm_http_service", "sqm_log_service",
    "sqm_target_table",
    "sqm_delivery", "sqm_drop", "sqm_file_problem", "sqm_http_exchange", "sqm_refused_drop",
}


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def soname(library):
    return re.search(r"\(SONAME\).*\[(.+)\]", output("readelf", "--dynamic", library))[1]


def described(library, face):
    """The interface as abidw describes it, without the types and the folders of the sources."""
    text = output("abidw", "--exported-interfaces-only", "--headers-dir", face / "sqm-c", "--drop-private-types",
                  "--no-show-locs", "--no-corpus-path", "--no-comp-dir-path", "--no-elf-needed",
                  "--no-parameter-names", library)
    return re.sub(r" path='[^']*/", " path='", text)


def constants(face):
    """The value of each enumerator, and of each macro that has one, as the compiler knows it: {name: value}."""
    headers = "".join(header.read_text() for header in sorted(face.glob("sqm-c/*.h")))
    headers = re.sub(r"/\*.*?\*/", "", headers, flags=re.DOTALL)
    lists = re.findall(r"\benum\b[^{;]*\{(.*?)\}", headers, re.DOTALL)
    names = [name for text in lists for name in re.findall(r"\bSQM_\w+(?=\s*(?:[,=]|$))", text)]
    names += re.findall(r'^#define (SQM_\w+) +["\d(-]', headers, re.MULTILINE)
    printing = "".join(f'  printf(_Generic({name}, char*: "{name} %s\\n", default: "{name} %d\\n"), {name});\n'
                       for name in names)
    with tempfile.TemporaryDirectory() as folder:
        source, program = pathlib.Path(folder, "constants.c"), pathlib.Path(folder, "constants")
        source.write_text(f"#include <sqm.h>\n#include <stdio.h>\nint main(void) {{\n{printing}  return 0;\n}}\n")
        output("cc", "-I", face, source, "-o", program)
        return dict(line.split(maxsplit=1) for line in output(program).splitlines())


class Description:
    """One description, parsed."""

    def __init__(self, text):
        self.root = xml.etree.ElementTree.fromstring(text)
        self.types = {element.get("id"): element for element in self.root.iter() if element.get("id")}

    def symbols(self):
        return {f"{symbol.get('name')}@{symbol.get('version')}" for symbol in self.root.iter("elf-symbol")}

    def type_name(self, key):
        """A type down to the first names: the numbers of types differ between two descriptions."""
        element = self.types[key]
        if element.get("name"):
            return element.get("name")
        inner = [self.type_name(part.get("type-id")) for part in [element, *element] if part.get("type-id")]
        return f"{element.tag} {element.get('const', '')} ({', '.join(inner)})"

    def members(self, name):
        for structure in self.root.iter("class-decl"):
            if structure.get("name") == name and structure.get("is-declaration-only") is None:
                return [(member.get("layout-offset-in-bits"), member[0].get("name"),
                         self.type_name(member[0].get("type-id"))) for member in structure.iter("data-member")]
        return []


def grown(old, new):
    """Which structures have further members at their end, and may."""
    old, new = Description(old), Description(new)
    return {name for name in GROWING
            if len(new.members(name)) > len(old.members(name)) > 0
            and new.members(name)[:len(old.members(name))] == old.members(name)}


def difference(old, new, *options, ignored=()):
    """What abidiff says about two descriptions, given as texts, but for structures to ignore; empty when they are equal."""
    with tempfile.TemporaryDirectory() as folder:
        paths = [pathlib.Path(folder, name) for name in ("described", "actual", "suppressions")]
        suppressions = "".join(f"[suppress_type]\n  name = {name}\n" for name in ignored)
        for path, text in zip(paths, (old, new, suppressions)):
            path.write_text(text)
        result = subprocess.run(["abidiff", *options, "--suppressions", paths[2], paths[0], paths[1]],
                                capture_output=True, text=True)
    if result.returncode & 3:  # abidiff itself failed
        sys.exit(f"abi: abidiff: {result.stderr}{result.stdout}")
    return result.stdout if result.returncode else ""


def changed_constants(old, new):
    values = dict(line.split(maxsplit=1) for line in new.splitlines())
    return "".join(f"{name} was {value} and is {values.get(name, 'gone')}\n"
                   for name, value in (line.split(maxsplit=1) for line in old.splitlines()) if values.get(name) != value)


def symbols_text(name, version, present, before):
    """The symbols file of the package, in the format of deb-symbols(5); a symbol keeps the version that brought it."""
    known = dict(re.findall(r"^ (\S+@\S+) (\S+)$", before, re.MULTILINE))
    nodes = {f"{node}@{node}" for _, node in (symbol.split("@") for symbol in present)}
    return f"{name} {package(name)} #MINVER#\n* Build-Depends-Package: libsqm-dev\n" + "".join(
        f" {symbol} {known.get(symbol, version)}\n" for symbol in sorted(present | nodes))


def package(name):
    return "libsqm" + name.rpartition(".")[2]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("library", type=pathlib.Path)
    parser.add_argument("--renew", action="store_true")
    parser.add_argument("--root", type=pathlib.Path, default=pathlib.Path(__file__).resolve().parents[2])
    arguments = parser.parse_args()

    face, name = arguments.root / "faces/c", soname(arguments.library)
    version = re.search(r"^project\(SQM VERSION (\S+)", (arguments.root / "CMakeLists.txt").read_text(), re.MULTILINE)[1]
    paths = {"interface": face / f"abi/{name}.abi", "constants": face / f"abi/{name}.constants",
             "symbols": arguments.root / f"packaging/debian/{package(name)}.symbols"}
    old = {kind: path.read_text() if path.exists() else "" for kind, path in paths.items()}
    new = {"interface": described(arguments.library, face),
           "constants": "".join(f"{key} {value}\n" for key, value in constants(face).items())}
    present = Description(new["interface"]).symbols()
    new["symbols"] = symbols_text(name, version, present, old["symbols"])

    stale = {kind: f"{kind} not as described\n" for kind in new if old[kind] != new[kind]}
    if old["interface"]:
        broken = difference(old["interface"], new["interface"], "--no-added-syms",
                            ignored=grown(old["interface"], new["interface"]))
        broken += changed_constants(old["constants"], new["constants"])
        if broken:
            sys.exit(f"{broken}abi: a program that was linked with {name} may no longer work. Keep the interface, or "
                     "raise the number in its SONAME (CONTRIBUTING.md).")
        # Its text depends on how the functions are distributed over the sources, too.
        stale["interface"] = difference(old["interface"], new["interface"])
    stale = {kind: text for kind, text in stale.items() if text}
    if arguments.renew:
        for kind in stale:
            paths[kind].parent.mkdir(parents=True, exist_ok=True)
            paths[kind].write_text(new[kind])
            print(f"wrote {paths[kind].relative_to(arguments.root)}")
    elif stale:
        sys.exit(f"{''.join(stale.values())}abi: every program that was linked with {name} still works. './run abi' writes "
                 "the description.")
    else:
        print(f"{len(present)} functions and {len(new['constants'].splitlines())} constants are as described")


main()
