"""tools/dev/faces.py on this project with further operations, and faces_guards.py on given methods."""

import pathlib
import shutil
import sys
import tempfile
import unittest
import unittest.mock

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools/dev"))
import faces
import faces_guards

SOURCE = """
namespace {
Store& storeOf(Body& body) { return body.store; }
bool saved(Body& body) {
  return guarded([&] { return body.store.save(std::string("x")); });
}
int stored(Body& body) { return saved(body) ? storeOf(body).count() : 0; }
}
@implementation Store
- (id)init {
  self = [super init];
  return initialized(self, _body, [] { return new Body; });
}
- (BOOL)save {
  return saved(*_body);
}
BODY
@end
"""


def faults(body):
    return faces_guards.faults(SOURCE.replace("BODY", body))[0]


def unreached(header, before, after):
    """What the check says of this project after a change of a header, but for the calls of the tests."""
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        for name in ("docs", "faces", "sqm"):
            shutil.copytree(ROOT / name, root / name)
        text = (root / header).read_text(encoding="utf-8")
        assert text.count(before) == 1
        (root / header).write_text(text.replace(before, after), encoding="utf-8")
        with unittest.mock.patch.object(faces, "ROOT", root):
            public = set(faces.operations())
            found = faces.faults_of_c(public)[0] + faces.faults_of_objc(public, [])[0]
    return [fault for fault in found if not fault.startswith("no test has called ")]


class Operations(unittest.TestCase):
    def test_all_of_this_project_are_reached(self):
        self.assertEqual(unreached("sqm/store/SQMRecordStore.h", "void LoadFromDisk();", "void LoadFromDisk();"), [])

    def test_a_member_without_a_call_or_a_selector_is_named(self):
        for header, known, member in (
                ("sqm/store/SQMRecordStore.h", "void LoadFromDisk();", "SQMRecordStore::forgotten"),
                ("sqm/upload/SQMUpdaterAgent.h", "void abortSend();", "SQMUpdaterAgent::forgotten"),
                ("sqm/manager/SQMManager.h", "void saveToDisk();", "SQMManager::forgotten")):
            self.assertEqual(unreached(header, known, f"{known} int forgotten(int number) const;"),
                             [f"{member} has no row in docs/c.md", f"{member} is not reached from Objective-C"])

    def test_a_function_outside_the_classes_is_named(self):
        known = "bool isSqmFileName(std::string_view name);"
        self.assertEqual(unreached("sqm/sessionfiles/SQMStore.h", known, f"{known} std::vector<int> forgotten(int number);"),
                         ["sqm::forgotten has no row in docs/c.md", "sqm::forgotten is not reached from Objective-C"])

    def test_what_is_gone_is_named(self):
        self.assertEqual(unreached("sqm/store/SQMRecordStore.h", "void LoadFromDisk();", ""),
                         ["docs/c.md: there is no public operation SQMRecordStore::LoadFromDisk",
                          "[SQMRecordStore LoadFromDisk] has no row in docs/objc.md"])


class Guards(unittest.TestCase):
    def test_methods_inside_a_handler_have_no_fault(self):
        self.assertEqual(faces_guards.faults(SOURCE), ([], 2))
        self.assertEqual(faults("- (int)count { return sqm_count(_body->handle); }"), [])
        self.assertEqual(faults("- (id)kept { if (_body->kept == nil) return nil; return [_body->kept retain]; }"), [])

    def test_a_call_outside_has_a_fault(self):
        self.assertEqual(faults("- (int)count { return _body->store.count(); }"),
                         ["- (int)count: count outside `guarded`"])
        self.assertEqual(faults("- (void)add:(int)number\n    to:(int)list { guarded([] { f(); }); g(number); }"),
                         ["- (void)add:(int)number to:(int)list: g outside `guarded`"])

    def test_a_call_in_a_function_of_the_file_counts_as_the_methods(self):
        self.assertEqual(faults("- (int)count { return stored(*_body); }"), ["- (int)count: count outside `guarded`"])

    def test_what_is_made_outside_has_a_fault(self):
        self.assertEqual(faults("- (Body*)body { return new Body; }"), ["- (Body*)body: new outside `guarded`"])
        self.assertEqual(faults("+ (void)wait { const std::lock_guard lock{all}; }"),
                         ["+ (void)wait: std::lock_guard outside `guarded`"])

    def test_methods_of_a_macro_are_examined(self):
        macro = "#define SQM_TEXT(property) \\\n  -(NSString*)property { \\\n    return _body->property(); \\\n  }"
        self.assertEqual(faults(macro), ["-(NSString*)property: property outside `guarded`"])


if __name__ == "__main__":
    unittest.main()
