#!/usr/bin/env python3
"""Checks the dependencies between the folders, and the list of public headers.

Dependencies between the folders run one way (MAY_INCLUDE). The core and all public headers include the standard library
alone, so that a host needs no third-party header. Headers in a folder called `internal` are not installed. Within sqm/
only their own folder may include them, but those of `common` and `upload` serve every folder that may include these.
The tools, benchmarks and tests of this repository may include internal headers; the faces and the examples, which do
what a host does, may not. All other headers of sqm/ are public and have a line in docs/headers.md.

What only Linux has is used in sqm/platform/system alone, the list of what another system must supply.
"""

import pathlib
import re
import sys

CORE = {"common", "records", "store", "upload", "sessionfiles", "queue", "manager", "diagnostics", "delivery", "testing"}

# Folder of sqm/ -> the other folders of sqm/ that it may include.
MAY_INCLUDE = {
    "common": set(),
    "records": {"common"},
    "store": {"common"},
    "diagnostics": {"common"},
    "delivery": {"common"},
    "upload": {"common"},
    "sessionfiles": {"common", "upload"},
    "queue": {"common", "upload"},
    "manager": {"common", "records", "store", "upload"},
    "testing": {"common"},
    "platform": {"common"},
}

# Files that may include more folders: the standard host puts the delivery policies together, and knows the files that a
# user's consent is about.
ALSO_INCLUDES = {
    "sqm/platform/StandardHost.h": {"delivery"},
    "sqm/platform/StandardHost.cpp": {"delivery", "queue", "sessionfiles", "store"},
}

# Folders whose internal headers serve every folder that may include them.
SHARED_INTERNALS = {"common", "upload"}

# The folders that use the library. Those in HOSTS do so as a host does, by the public headers.
ON_TOP = ("faces", "tools", "examples", "bench", "tests")
HOSTS = ("faces", "examples")

STANDARD = set(
    """
    algorithm any array atomic barrier bit bitset charconv chrono codecvt compare complex concepts condition_variable
    coroutine deque exception execution filesystem format forward_list fstream functional future initializer_list
    iomanip ios iosfwd iostream istream iterator latch limits list locale map memory memory_resource mutex new numbers
    numeric optional ostream queue random ranges ratio regex scoped_allocator semaphore set shared_mutex
    source_location span sstream stack stdexcept stop_token streambuf string string_view syncstream system_error thread
    tuple type_traits typeindex typeinfo unordered_map unordered_set utility valarray variant vector version
    cassert cctype cerrno cfenv cfloat cinttypes climits clocale cmath csetjmp csignal cstdarg cstddef cstdint cstdio
    cstdlib cstring ctime cuchar cwchar cwctype
    """.split()
)

# The POSIX headers that the platform's public headers may include: they belong to the system, not to a library.
PUBLIC_POSIX = {"fcntl.h", "sys/stat.h", "sys/types.h"}

# The POSIX headers and the libraries that the platform's sources may include outside sqm/platform/system.
POSIX = PUBLIC_POSIX | {"dirent.h", "signal.h", "strings.h", "sys/socket.h", "unistd.h"}
LIBRARIES = ("curl/", "unicode/", "libdeflate.h", "nlohmann/", "pugixml.hpp")

# Calls, flags and paths of Linux that headers of POSIX or no header declares.
LINUX = re.compile(
    r"""\b(accept4|copy_file_range|dirent64|dup3|fallocate|getdents64|getrandom|gettid|memfd_create|pipe2|prctl|
    renameat2|statx|sync_file_range|syscall|F_OFD_\w+|O_PATH|O_TMPFILE)\b|/proc/|/etc/os-release""",
    re.VERBOSE,
)

INCLUDE = re.compile(r'^[ \t]*#[ \t]*(?:include|import)[ \t]*(<[^>\n]*>|"[^"\n]*"|\w+)', re.MULTILINE)


def is_of_system(path):
    """True for the files that may use what only Linux has."""
    return path.parts[:3] == ("sqm", "platform", "system")


def fault_of(path, include):
    """The fault when `path` includes `include`, both relative to the root of the repository; None when it may."""
    in_library = path.parts[0] == "sqm"
    folder = path.parts[1] if in_library else None
    internal = "internal" in path.parts
    name = include.strip('<>"')

    if not include.startswith('"sqm/'):
        if not in_library:
            return None
        if not include.startswith("<"):
            return "a header of the project is included as \"sqm/...\""
        public = path.suffix == ".h" and not internal
        allowed = STANDARD if folder in CORE else STANDARD | PUBLIC_POSIX
        if (folder in CORE or public) and name not in allowed:
            return "the core and all public headers include the standard library and \"sqm/...\" alone"
        if not is_of_system(path) and name not in STANDARD | POSIX and not name.startswith(LIBRARIES):
            return "a header that is not of POSIX is included in sqm/platform/system alone"
        return None

    target = pathlib.PurePosixPath(name)
    if "internal" in target.parts and (in_library or path.parts[0] in HOSTS):
        if not in_library or target.parts[1] not in {folder, *SHARED_INTERNALS}:
            return f"this header is internal to sqm/{target.parts[1]}"
        if path.suffix == ".h" and not internal:
            return "a public header includes no internal one"
    allowed = {folder} | MAY_INCLUDE.get(folder, set()) | ALSO_INCLUDES.get(str(path), set())
    if in_library and target.parts[1] not in allowed:
        return f"no arrow runs from {folder} to {target.parts[1]}"
    return None


def header_list_faults(root):
    """The differences between docs/headers.md and the public headers of the tree."""
    listed = re.findall(r"^- `(sqm/[^`]+\.h)`: ", (root / "docs/headers.md").read_text(encoding="utf-8"), re.MULTILINE)
    headers = (file.relative_to(root).as_posix() for file in (root / "sqm").rglob("*.h"))
    public = {header for header in headers if "/internal/" not in header}
    faults = [f"{header}: has no line in docs/headers.md" for header in sorted(public - set(listed))]
    faults += [f"docs/headers.md: there is no public header {header}" for header in listed if header not in public]
    return faults + [f"docs/headers.md: lists {header} twice" for header in public if listed.count(header) > 1]


def source_faults(path, text):
    """The faults of one source, each with its line."""
    in_library = path.parts[0] == "sqm"
    if in_library and path.parts[1] not in MAY_INCLUDE:
        return [f"{path}: the folder is not in the table of arrows, tools/dev/arrows.py"]
    found = [(match, fault_of(path, match[1])) for match in INCLUDE.finditer(text)]
    if in_library and not is_of_system(path):
        found += [(match, "only sqm/platform/system uses what Linux alone has") for match in LINUX.finditer(text)]
    lines = ((text.count("\n", 0, match.start()) + 1, match[0].strip(), wrong) for match, wrong in found if wrong)
    return [f"{path}:{line}: {what}: {wrong}" for line, what, wrong in lines]


def main(root):
    faults = header_list_faults(root)
    files = 0
    for top in ("sqm", *ON_TOP):
        for file in sorted((root / top).rglob("*")):
            if file.suffix in (".h", ".cpp", ".m", ".mm"):
                files += 1
                faults += source_faults(file.relative_to(root), file.read_text(encoding="utf-8"))
    for fault in faults:
        print(fault)
    print(f"{files} files, {len(faults)} faults")
    return 1 if faults or not files else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(__file__).resolve().parents[2]))
