"""tools/dev/faces_guards.py on given methods."""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools/dev"))
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
