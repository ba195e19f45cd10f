#!/usr/bin/env python3
"""Runs clang-tidy on every source that the named build folders compile, on all cores.

A source that is clean is recorded in build/tidy, and checked again only when the source, a header of the project that it
includes, its flags or the configuration changed.
"""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
CACHE = ROOT / "build" / "tidy"

# The flags are GCC's: clang does not know all of its warnings, and has a lower limit on compile-time evaluation.
CLANG_FLAGS = ["-Wno-unknown-warning-option", "-fconstexpr-steps=16777216"]


def compilations(folders):
    """Source -> the flags of its first compilation, for the project's own sources."""
    found = {}
    for folder in folders:
        for entry in json.loads((ROOT / folder / "compile_commands.json").read_text(encoding="utf-8")):
            source = pathlib.Path(entry["file"])
            if not source.is_relative_to(ROOT) or source.is_relative_to(ROOT / "build"):
                continue
            if source.suffix in (".m", ".mm"):  # for GCC's run time of Objective-C, whose headers clang does not find
                continue
            words = shlex.split(entry["command"])
            flags = words[next(i for i, word in enumerate(words) if word.startswith("-")) : words.index("-o")]
            if "-include" in flags:  # GCC's precompiled header, which clang cannot read; the sources include what they use
                del flags[flags.index("-include") : flags.index("-include") + 2]
            found.setdefault(source, flags)
    return found


def digest(common, flags, files):
    whole = hashlib.sha256(common)
    whole.update("\0".join(flags).encode())
    for file in files:
        whole.update(b"\0" + file.encode() + b"\0")
        try:
            whole.update(pathlib.Path(file).read_bytes())
        except OSError:
            whole.update(b"\0gone\0")
    return whole.hexdigest()


def findings(source, flags, common):
    """The output of clang-tidy for `source`; empty when it is clean, or is recorded as clean."""
    cache = CACHE / (str(source.relative_to(ROOT)).replace("/", "+") + ".json")
    try:
        known = json.loads(cache.read_text(encoding="utf-8"))
        if known["digest"] == digest(common, flags, known["files"]):
            return ""
    except (OSError, ValueError):
        pass
    command = ["clang-tidy", "--quiet", str(source), "--", *flags, *CLANG_FLAGS]
    run = subprocess.run(command, cwd=ROOT, capture_output=True, text=True)
    if run.returncode != 0:
        return run.stdout + run.stderr
    rule = subprocess.run(["g++", *flags, "-MM", str(source)], cwd=ROOT, capture_output=True, text=True, check=True)
    files = shlex.split(rule.stdout.replace("\\\n", " ").split(":", 1)[1])
    cache.write_text(json.dumps({"digest": digest(common, flags, files), "files": files}), encoding="utf-8")
    return ""


def main():
    CACHE.mkdir(parents=True, exist_ok=True)
    version = subprocess.run(["clang-tidy", "--version"], capture_output=True, check=True).stdout
    settings = [path.read_bytes() for path in (ROOT / ".clang-tidy", *sorted(ROOT.glob("*/.clang-tidy")))]
    common = b"\0".join([version, *settings])
    found = compilations(sys.argv[1:])
    dirty = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for output in pool.map(lambda item: findings(*item, common), found.items()):
            if output:
                dirty += 1
                print(output, flush=True)
    print(f"{len(found)} sources, {dirty} with findings")
    return 1 if dirty or not found else 0


if __name__ == "__main__":
    sys.exit(main())
