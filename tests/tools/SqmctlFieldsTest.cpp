// `sqmctl fields`: the check of a field-name table.

#include <string>
#include <vector>

#include "tests/support/Paths.h"
#include "tests/tools/Sqmctl.h"

namespace {

const std::string kSample = paths::sources() + "/examples/SQMFieldNames.plist";

std::vector<std::string> distinctNames(std::size_t count = 91) {
  std::vector<std::string> names;
  for (std::size_t at = 0; at < count; ++at) names.push_back("<string>n" + std::to_string(at) + "</string>");
  return names;
}

class SqmctlFields : public ::testing::Test {
 protected:
  Outcome check(const std::vector<std::string>& elements) {
    std::string text = "<plist version=\"1.0\"><array>";
    for (const std::string& element : elements) text += element;
    putContent(file, text + "</array></plist>");
    return runProgram({kSqmctl, "fields", file});
  }

  /// The lines on standard error, without what each begins with.
  std::vector<std::string> faults(const std::vector<std::string>& elements) {
    const Outcome outcome = check(elements);
    EXPECT_EQ(outcome.status, outcome.err.empty() ? 0 : 1);
    std::vector<std::string> lines;
    const std::string begin = "sqmctl: " + file + ": ";
    for (std::size_t at = 0; at < outcome.err.size();) {
      const std::size_t end = outcome.err.find('\n', at);
      EXPECT_EQ(outcome.err.compare(at, begin.size(), begin), 0) << outcome.err;
      lines.push_back(outcome.err.substr(at + begin.size(), end - at - begin.size()));
      at = end + 1;
    }
    return lines;
  }

  TemporaryFolder folder;
  const std::string file = folder / "names.plist";
};

TEST_F(SqmctlFields, FindsNoFaultInTheSample) {
  const Outcome outcome = runProgram({kSqmctl, "fields", kSample});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  for (const char* const line : {
           "\n  0  environment           client\n",
           "\n  5  connectionRecord      connection/wifi, connection/mobiledata, connection/ethernet\n",
           "\n 35  hotspotId             connection/mobiledata\n",
           "\n 36  unused36              -\n",
           "\n 54  firmware              connection/mobiledata, device/mobileDevice\n",
           "\n 85  vpnGateway            application/vpn\n",
           "\n 90  promptSeconds         useracceptance\n",
       }) {
    EXPECT_NE(outcome.out.find(line), std::string::npos) << line << outcome.out;
  }
}

TEST_F(SqmctlFields, ChecksTheTableOfTheResourcesByItself) {
  EXPECT_EQ(runProgram({kSqmctl, "fields"}).out.find(kPrograms + "/SQMFieldNames.plist\n"), 0U);
  putContent(folder / "SQMFieldNames.plist", "<plist><array/></plist>");
  const Outcome outcome = runProgram({kSqmctl, "--resources", folder.path(), "fields"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "sqmctl: " + folder / "SQMFieldNames.plist" + ": there are 0 names in place of 91\n");
}

TEST_F(SqmctlFields, SaysThatATableCannotBeReached) {
  putContent(file, "<plist><array/></plist>");
  const RestrictedPermissions closed(folder.path(), std::filesystem::perms::none);
  const OrdinaryUser user;
  const Outcome outcome = runProgram({kSqmctl, "fields", file});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "sqmctl: cannot read " + file + ": Permission denied\n");
}

TEST_F(SqmctlFields, FindsWhatIsNoTable) {
  putContent(file, "<plist><dict/></plist>");
  const Outcome outcome = runProgram({kSqmctl, "fields", file});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "sqmctl: cannot read " + file + ": the root of the property list is no array\n");
}

TEST_F(SqmctlFields, CountsTheNames) {
  EXPECT_EQ(faults(distinctNames()), std::vector<std::string>());
  EXPECT_EQ(faults(distinctNames(90)), std::vector<std::string>{"there are 90 names in place of 91"});
  EXPECT_EQ(faults(distinctNames(92)), std::vector<std::string>{"there are 92 names in place of 91"});
}

TEST_F(SqmctlFields, ListsEveryFault) {
  auto names = distinctNames();
  names[1] = "<integer>1</integer>";
  names[2] = "<string></string>";
  names[3] = "<string>9lives</string>";
  names[4] = "<string>a name</string>";
  names[36] = "<string>caf&#233;-\u00B7x.y:z_</string>";
  names[37] = "<string>\u00D7</string>";
  EXPECT_EQ(faults(names), (std::vector<std::string>{
                               "entry 1 is no string",
                               "entry 2 is empty",
                               "entry 3: '9lives' is no name that XML allows: '9' at byte 0",
                               "entry 4: 'a name' is no name that XML allows: ' ' at byte 1",
                               "entry 37: '\u00D7' is no name that XML allows: '\u00D7' at byte 0",
                           }));
}

TEST_F(SqmctlFields, LetsAFieldHaveTheNameThatItsElementHasAnyway) {
  auto names = distinctNames();
  names[85] = "<string>gateway</string>";
  EXPECT_EQ(faults(names), std::vector<std::string>());
}

TEST_F(SqmctlFields, FindsNamesThatStandTwiceInOneRecord) {
  auto names = distinctNames();
  names[23] = "<string>n11</string>";      // both in a Wi-Fi record
  names[84] = "<string>gateway</string>";  // the application record has one of its own
  names[73] = "<string>n23b</string>";
  names[24] = "<string>n23b</string>";  // Ethernet and Wi-Fi: never in one record
  names[36] = "<string>n11</string>";   // in none
  EXPECT_EQ(faults(names), (std::vector<std::string>{
                               "'n11' stands twice in connection/n10: from entry 11 and from entry 23",
                               "'gateway' stands twice in application/vpn: from entry 84 and from the record itself",
                           }));
}

TEST_F(SqmctlFields, LetsNoNameSteerATerminal) {
  auto names = distinctNames();
  names[1] = "<string>&#155;31m</string>";
  check(names);
  const Outcome outcome = runOnTerminal({kSqmctl, "fields", file});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out.find("\u009B"), std::string::npos);
  EXPECT_NE(outcome.out.find("'\\u009B31m' is no name that XML allows"), std::string::npos) << outcome.out;
}

}  // namespace
