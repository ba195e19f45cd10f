"""tools/dev/arrows.py on small trees: each rule finds what it forbids, and nothing else."""

import contextlib
import io
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools/dev"))
import arrows


class Tree(unittest.TestCase):
    def check(self, sources, listed=None):
        """The exit status and the lines that are printed for a tree with these sources, {path: text}. By default every public
        header is listed."""
        if listed is None:
            listed = [path for path in sources if path.startswith("sqm/") and path.endswith(".h") and "/internal/" not in path]
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            page = "# Public headers\n\n" + "".join(f"- `{path}`: a class\n" for path in listed)
            for path, text in {**sources, "docs/headers.md": page}.items():
                (root / path).parent.mkdir(parents=True, exist_ok=True)
                (root / path).write_text(text, encoding="utf-8")
            printed = io.StringIO()
            with contextlib.redirect_stdout(printed):
                status = arrows.main(root)
        return status, printed.getvalue().splitlines()

    def assert_refused(self, path, text, *reasons):
        status, lines = self.check({path: text})
        self.assertEqual(status, 1)
        self.assertEqual(lines[-1], f"1 files, {len(reasons)} faults")
        self.assertEqual(len(lines), len(reasons) + 1, lines)
        for line, reason in zip(lines, reasons):
            self.assertTrue(line.startswith(path), line)
            self.assertIn(reason, line)

    def assert_allowed(self, path, text):
        self.assertEqual(self.check({path: text}), (0, ["1 files, 0 faults"]))


class Dependencies(Tree):
    def test_an_include_against_the_dependencies_is_refused_with_its_line(self):
        self.assert_refused("sqm/store/A.cpp", '#include <map>\n\n#include "sqm/manager/SQMManager.h"\n',
                            ':3: #include "sqm/manager/SQMManager.h": no arrow runs from store to manager')
        self.assert_refused("sqm/common/A.cpp", '#include "sqm/store/A.h"\n', "no arrow runs from common to store")
        self.assert_allowed("sqm/manager/A.cpp", '#include "sqm/store/A.h"\n#include "sqm/manager/B.h"\n')

    def test_the_standard_host_alone_of_the_platform_includes_the_policies(self):
        self.assert_allowed("sqm/platform/StandardHost.cpp", '#include "sqm/delivery/Limits.h"\n')
        self.assert_refused("sqm/platform/OneHost.cpp", '#include "sqm/delivery/Limits.h"\n',
                            "no arrow runs from platform to delivery")

    def test_a_folder_that_the_table_does_not_have_is_refused(self):
        self.assert_refused("sqm/extra/A.cpp", "", "the folder is not in the table")
        self.assert_refused("sqm/A.cpp", "", "the folder is not in the table")

    def test_what_is_on_top_includes_every_folder(self):
        for top in ("faces/c", "tools/sqmctl", "examples", "bench", "tests/store"):
            self.assert_allowed(f"{top}/A.cpp", '#include "sqm/manager/A.h"\n#include <curl/curl.h>\n#include "Near.h"\n')

    def test_a_header_of_the_project_is_included_by_its_whole_path(self):
        for include in ('"Near.h"', '"../common/Host.h"', "HEADER"):
            self.assert_refused("sqm/store/A.cpp", f"#include {include}\n", 'is included as "sqm/...\"')

    def test_every_form_of_an_include_is_read(self):
        self.assert_refused("sqm/store/A.cpp", '  #  include "sqm/manager/A.h"\n', "no arrow runs")
        for suffix in (".m", ".mm"):
            self.assert_refused(f"faces/objc/A{suffix}", '#import "sqm/common/internal/A.h"\n', "internal to sqm/common")

    def test_a_tree_without_sources_is_refused(self):
        self.assertEqual(self.check({}), (1, ["0 files, 0 faults"]))


class Libraries(Tree):
    def test_the_core_includes_the_standard_library_alone(self):
        for include in ("<curl/curl.h>", "<unistd.h>", "<sys/stat.h>", "<string.h>"):
            for path in ("sqm/delivery/A.cpp", "sqm/store/internal/A.h", "sqm/testing/A.h"):
                self.assert_refused(path, f"#include {include}\n", "include the standard library")
        self.assert_allowed("sqm/delivery/A.cpp", "#include <cstring>\n#include <string>\n")

    def test_a_public_header_of_the_platform_includes_no_library(self):
        for include in ("<curl/curl.h>", "<unistd.h>", "<sys/eventfd.h>"):
            self.assert_refused("sqm/platform/http/A.h", f"#include {include}\n", "include the standard library")
        self.assert_allowed("sqm/platform/files/A.h", "#include <sys/stat.h>\n#include <fcntl.h>\n")

    def test_other_sources_of_the_platform_include_libraries(self):
        for path in ("sqm/platform/http/A.cpp", "sqm/platform/http/internal/A.h"):
            self.assert_allowed(path, "#include <curl/curl.h>\n#include <pugixml.hpp>\n#include <unistd.h>\n")


class Internals(Tree):
    def test_an_internal_header_serves_its_own_folder(self):
        self.assert_allowed("sqm/store/A.cpp", '#include "sqm/store/internal/A.h"\n')
        self.assert_refused("sqm/manager/A.cpp", '#include "sqm/store/internal/A.h"\n', "this header is internal to sqm/store")

    def test_those_of_common_and_upload_serve_whoever_may_include_these(self):
        self.assert_allowed("sqm/manager/A.cpp", '#include "sqm/common/internal/A.h"\n#include "sqm/upload/internal/A.h"\n')
        self.assert_refused("sqm/store/A.cpp", '#include "sqm/upload/internal/A.h"\n', "no arrow runs from store to upload")

    def test_a_public_header_includes_no_internal_one(self):
        self.assert_refused("sqm/store/A.h", '#include "sqm/store/internal/A.h"\n', "a public header includes no internal one")
        self.assert_allowed("sqm/store/internal/B.h", '#include "sqm/store/internal/A.h"\n')

    def test_the_faces_and_the_examples_include_public_headers_alone(self):
        for top in ("faces/c", "examples"):
            self.assert_refused(f"{top}/A.cpp", '#include "sqm/common/internal/A.h"\n', "internal to sqm/common")
        for top in ("tools/sqmctl", "bench", "tests/store"):
            self.assert_allowed(f"{top}/A.cpp", '#include "sqm/common/internal/A.h"\n')


class Linux(Tree):
    REASON = "only sqm/platform/system uses what Linux alone has"

    def test_a_header_that_is_not_of_posix_is_included_in_the_folder_of_the_system_alone(self):
        for include in ("<sys/eventfd.h>", "<sys/timerfd.h>", "<linux/fs.h>", "<boost/any.hpp>"):
            self.assert_refused("sqm/platform/http/A.cpp", f"#include {include}\n", "a header that is not of POSIX")
            self.assert_refused("sqm/platform/http/internal/A.h", f"#include {include}\n", "a header that is not of POSIX")
            self.assert_allowed("sqm/platform/system/A.cpp", f"#include {include}\n")
            self.assert_allowed("sqm/platform/system/internal/A.h", f"#include {include}\n")

    def test_what_linux_alone_has_is_used_in_the_folder_of_the_system_alone(self):
        for use in ("getdents64(folder, room, sizeof room);", "const int flags = O_TMPFILE | O_RDWR;",
                    "fcntl(file, F_OFD_SETLK, &lock);", 'open("/proc/self/exe");', 'read("/etc/os-release");'):
            self.assert_refused("sqm/platform/files/A.cpp", f"\n{use}\n", self.REASON)
            self.assert_refused("sqm/store/A.cpp", f"{use}\n", self.REASON)
            self.assert_allowed("sqm/platform/system/A.cpp", f"{use}\n")
            self.assert_allowed("tools/collector/A.cpp", f"{use}\n")

    def test_every_use_is_reported(self):
        self.assert_refused("sqm/platform/files/A.cpp", "pipe2(ends, 0);\nsyscall(1);\n", f":1: pipe2: {self.REASON}",
                            f":2: syscall: {self.REASON}")

    def test_a_longer_name_is_another(self):
        self.assert_allowed("sqm/platform/files/A.cpp", "my_pipe2(); statxOf(); NO_PATH;\n")


class ListOfHeaders(Tree):
    HEADERS = {"sqm/common/A.h": "", "sqm/common/internal/B.h": ""}

    def test_the_public_headers_are_listed_once(self):
        self.assertEqual(self.check(self.HEADERS, ["sqm/common/A.h"]), (0, ["2 files, 0 faults"]))

    def test_a_header_that_is_missing_in_the_list_is_refused(self):
        self.assertEqual(self.check(self.HEADERS, []),
                         (1, ["sqm/common/A.h: has no line in docs/headers.md", "2 files, 1 faults"]))

    def test_a_line_without_a_public_header_is_refused(self):
        for other in ("sqm/common/C.h", "sqm/common/internal/B.h"):
            self.assertEqual(self.check(self.HEADERS, ["sqm/common/A.h", other]),
                             (1, [f"docs/headers.md: there is no public header {other}", "2 files, 1 faults"]))

    def test_a_header_that_is_listed_twice_is_refused(self):
        self.assertEqual(self.check(self.HEADERS, ["sqm/common/A.h"] * 2),
                         (1, ["docs/headers.md: lists sqm/common/A.h twice", "2 files, 1 faults"]))


if __name__ == "__main__":
    unittest.main()
