"""The documentation site: the check of its links, and the pages of the reference, on given input."""

import contextlib
import io
import pathlib
import sys
import tempfile
import unittest
import xml.etree.ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools/dev"))
import docs_cpp
import docs_items
import docs_links
import docs_pages
import docs_plain
import docs_reference

CPP = """\
class Host : public Base {
 public:
  explicit Host(int size) : size_(size) {}

  /// Reads
  /// a name.
  bool read(const std::string& name,
            int limit = 3) const;
  bool readAll() const { return true; }

  // Limits.

  std::optional<int> limit{1};  ///< of bytes
  void (*send)(int number);
};
""".splitlines()

PLAIN = """\
/* A header. docs/c.md describes `a_b`. */
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Reads a
 * name.
 *
 * Threads: any. */
SQM_API int sqm_read(const char* name,
                     int limit);
SQM_API int sqm_read_all(void (*visit)(void* context));

/* --- Values ------- */

/* Two. */
enum { SQM_ONE = 1, SQM_TWO = 2 /* the second */ };
typedef struct sqm_pair {
  int first; /* of both */
  /* The other. */
  void (*second)(int number);
} sqm_pair;

/* A host. */
@interface SQMHost : SQMBase <NSCopying> {
 @private
  int _size;
}
@property(nonatomic, retain) NSString *name; /* of the host */

/* Reads. */
- (BOOL)readName:(NSString *)name limit:(int)limit;
- (id)init;
@end

#define SQM_NAME "name" /* its name */
"""


POLICY = """<meta http-equiv="Content-Security-Policy" content="default-src 'self' data:">"""


def outcome(files, policy=POLICY):
    """The exit status and the output of the check for a site with these files, whose pages have the policy."""
    with tempfile.TemporaryDirectory() as folder, contextlib.redirect_stdout(io.StringIO()) as output:
        for name, text in files.items():
            path = pathlib.Path(folder, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(policy * name.endswith(".html") + text, encoding="utf-8")
        return docs_links.check(pathlib.Path(folder).resolve()), output.getvalue()


class Links(unittest.TestCase):
    def test_files_and_anchors_that_exist_pass(self):
        status, output = outcome({"index.html": '<a href="docs/a.html#part">a</a> <a href="#here">b</a> <p id="here">',
                                  "docs/a.html": '<h2 id="part">A</h2><a href="../index.html">c</a>'})
        self.assertEqual(status, 0, output)
        self.assertIn("2 pages, 3 links, 0 faults", output)

    def test_a_missing_file_and_a_missing_anchor_fail(self):
        status, output = outcome({"index.html": '<a href="b.html">b</a> <a href="/">d</a> <a href="#there">c</a>'})
        self.assertEqual(status, 1)
        self.assertIn("index.html: leads to b.html, which is no file", output)
        self.assertIn("index.html: leads to /, which is no file", output)
        self.assertIn("index.html: leads to #there, which is no anchor", output)

    def test_an_address_outside_is_listed_and_passes(self):
        status, output = outcome({"index.html": '<a href="https://a.example/">a</a>'})
        self.assertEqual(status, 0, output)
        self.assertIn("  https://a.example/\n", output)

    def test_what_is_loaded_from_another_host_fails(self):
        for text in ('<img src="https://a.example/a.png">', '<script src="//a.example/a.js"></script>',
                     '<link rel="stylesheet" href="https://a.example/a.css">'):
            self.assertIn("from another host", outcome({"index.html": text})[1])
        status, output = outcome({"index.html": '<a href="#">a</a>', "a.css": "i { src: url('https://a.example/f') }"})
        self.assertEqual(status, 1)
        self.assertIn("a.css: loads https://a.example/f from another host", output)

    def test_a_page_without_a_policy_fails(self):
        for policy in ("", POLICY.replace("'self'", "*"), POLICY.replace("data:", "https:")):
            status, output = outcome({"index.html": '<a href="#">a</a>'}, policy)
            self.assertEqual(status, 1)
            self.assertIn("index.html: has no policy against loading from other hosts", output)

    def test_a_site_without_links_fails(self):
        self.assertEqual(outcome({"index.html": "<p>a</p>"})[0], 1)


class CppDeclarations(unittest.TestCase):
    def of(self, text, kind="function"):
        return docs_cpp.declaration(CPP, self.line(text), kind)

    def line(self, text):
        return next(number for number, each in enumerate(CPP, 1) if text in each)

    def test_a_function_has_no_body_and_no_initialisers(self):
        self.assertEqual(self.of("explicit Host"), "explicit Host(int size);")
        self.assertEqual(self.of("readAll"), "bool readAll() const;")

    def test_a_declaration_keeps_its_lines(self):
        self.assertEqual(self.of("bool read("), "bool read(const std::string& name,\n          int limit = 3) const;")

    def test_classes_show_their_bases_and_variables_their_values(self):
        self.assertEqual(self.of("class Host", "class"), "class Host : public Base")
        self.assertEqual(self.of("limit{", "variable"), "std::optional<int> limit{1};")
        self.assertEqual(self.of("send", "variable"), "void (*send)(int number);")

    def test_a_comment_describes_all_declarations_up_to_an_empty_line(self):
        self.assertTrue(docs_cpp.is_continuation("", self.line("bool read("), self.line("readAll"), CPP))
        self.assertFalse(docs_cpp.is_continuation("", self.line("readAll"), self.line("limit{"), CPP))
        self.assertFalse(docs_cpp.is_continuation("Its own.", self.line("bool read("), self.line("readAll"), CPP))

    def test_a_plain_comment_belongs_to_what_follows_it(self):
        self.assertEqual(docs_cpp.plain_comment(CPP, self.line("limit{")), "Limits.")
        self.assertEqual(docs_cpp.plain_comment(CPP, self.line("send")), "")


class PlainDeclarations(unittest.TestCase):
    items = {item.name or item.members[0].name: item for item in docs_plain.read(PLAIN)}

    def test_the_first_comment_is_that_of_the_header(self):
        self.assertEqual(docs_plain.summary_of(PLAIN), "A header. docs/c.md describes `a_b`.")

    def test_every_declaration_is_found_and_nothing_else(self):
        self.assertEqual(list(self.items), ["sqm_read", "sqm_read_all", "SQM_ONE", "sqm_pair", "SQMHost", "SQM_NAME"])

    def test_calls_are_shown_without_the_mark_of_exported_names(self):
        self.assertEqual(self.items["sqm_read"].text, "int sqm_read(const char* name,\n             int limit);")

    def test_a_comment_describes_all_declarations_up_to_an_empty_line(self):
        self.assertEqual(self.items["sqm_read"].comment, "Reads a name.\n\n**Threads:** any.")
        self.assertTrue(self.items["sqm_read_all"].is_continued)
        self.assertFalse(self.items["SQM_ONE"].is_continued)

    def test_a_comment_behind_a_declaration_describes_that_one(self):
        self.assertEqual([(value.text, value.comment) for value in self.items["SQM_ONE"].members],
                         [("SQM_ONE = 1", ""), ("SQM_TWO = 2", "the second")])
        self.assertEqual([(member.text, member.comment) for member in self.items["sqm_pair"].members],
                         [("int first;", "of both"), ("void (*second)(int number);", "The other.")])
        self.assertEqual(self.items["SQM_NAME"].comment, "its name")

    def test_classes_of_objective_c_have_selectors_and_no_variables(self):
        host = self.items["SQMHost"]
        self.assertEqual((host.text, host.comment), ("@interface SQMHost : SQMBase <NSCopying>", "A host."))
        self.assertEqual(host.bases, ["SQMBase"])
        self.assertEqual([member.name for member in host.members], ["name", "readName:limit:", "init"])
        self.assertEqual([member.comment for member in host.members], ["of the host", "Reads.", ""])


class Comments(unittest.TestCase):
    def of(self, text):
        description = f"<m><briefdescription/><detaileddescription>{text}</detaileddescription></m>"
        return docs_cpp.comment_of(xml.etree.ElementTree.fromstring(description))

    def test_labels_begin_paragraphs(self):
        self.assertEqual(self.of("<para>A host. Ownership: none. Threading: any.</para>"),
                         "A host.\n\n**Ownership:** none.\n\n**Threading:** any.")

    def test_code_stays_code_and_text_is_escaped(self):
        self.assertEqual(self.of("<para>Sets <computeroutput>a_b*</computeroutput> to a_b*, &lt;c&gt;.</para>"),
                         r"Sets `a_b*` to a\_b\*, \<c>.")

    def test_lists_stay_lists(self):
        text = "<para>One:<itemizedlist><listitem><para>a</para></listitem></itemizedlist></para>"
        self.assertEqual(self.of(text), "One:\n\n- a")


class Reference(unittest.TestCase):
    def test_items_that_one_comment_describes_are_together(self):
        items = [docs_items.Item("function", "read", "", "", "Reads."),
                 docs_items.Item("function", "readAll", "", "", "", is_continued=True),
                 docs_items.Item("function", "write", "", "", "Writes.")]
        self.assertEqual(list(map(docs_reference.title, docs_reference.groups(items))), ["read, readAll", "write"])

    def test_overloads_have_anchors_of_their_own(self):
        overloads = [docs_items.Item("function", "operator[]", "Texts::", "", "") for _ in range(2)]
        first, second = docs_items.set_anchors(overloads)
        self.assertEqual(first.anchor, "Texts-operator")
        self.assertNotEqual(second.anchor, first.anchor)

    def test_names_in_code_become_links_but_not_in_code_blocks_links_and_headings(self):
        host = docs_items.Item("class", "Host", "", "class Host", "", anchor="Host")
        pages = docs_pages.Pages(ROOT, {"sqm/common/Host.h": [host]})
        text = "# `Host`\n`Host`, `host`, [the `Host`](threading.md)\n```cpp\n`Host`\n```\n"
        self.assertEqual(pages.with_links(text, "docs/hosting.md", "docs/hosting.md"),
                         text.replace("\n`Host`,", "\n[`Host`](../reference/sqm/common/Host.h.md#Host),"))

    def test_links_to_sources_lead_to_their_pages(self):
        pages = docs_pages.Pages(ROOT, {})
        text = "[a](../examples/01_first_record.cpp) [b](../README.md) [c](https://a.example/)"
        self.assertEqual(pages.with_links(text, "docs/hosting.md", "docs/hosting.md"),
                         "[a](../sources/examples/01_first_record.cpp.md) [b](../index.md) [c](https://a.example/)")
        self.assertEqual(pages.sources, {"examples/01_first_record.cpp"})

    def test_a_link_to_a_folder_of_headers_leads_to_its_first(self):
        pages = docs_pages.Pages(ROOT, {"sqm/common/Host.h": [], "sqm/common/Clock.h": []})
        self.assertEqual(pages.with_links("[a](../sqm/common)", "docs/hosting.md", "docs/hosting.md"),
                         "[a](../reference/sqm/common/Host.h.md)")

    def test_a_link_to_no_file_is_a_fault(self):
        with self.assertRaisesRegex(docs_pages.Fault, "docs/hosting.md: links to no.md, which is no file"):
            docs_pages.Pages(ROOT, {}).with_links("[a](no.md)", "docs/hosting.md", "docs/hosting.md")


if __name__ == "__main__":
    unittest.main()
