// sqmctl play: a scenario is read and checked whole before anything runs.

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tests/tools/Play.h"

namespace {

/// Everything that the library and the tool make lies below the home directory.
void expectNothingHasRun(const Played& played) {
  EXPECT_EQ(played.out(), "");
  EXPECT_FALSE(std::filesystem::exists(played.home()));
}

TEST(SqmctlPlayCheck, TellsWhatIsWrongWithALine) {
  const std::string nested =
      R"({"do":"diagnostics.appendDiscovery","entry":{"a":)" + std::string(99, '[') + std::string(99, ']') + "}}";
  const std::string abyss = R"({"do":"save","a":)" + std::string(1'000'000, '[');
  const struct {
    std::string line;
    std::string fault;
  } cases[] = {
      // Not an object.
      {"save", "not a JSON object: at byte 1: invalid literal"},
      {"[]", "not a JSON object, but a list"},
      {"\"save\"", "not a JSON object, but \"save\""},
      {"null", "not a JSON object, but null"},
      {R"({"do":"save"} {"do":"save"})", "not a JSON object: at byte 15: unexpected '{'; expected end of input"},
      {R"({"do":"save")", "not a JSON object: at byte 13: unexpected end of input; expected '}'"},
      {R"({"do":"save",})", "not a JSON object: at byte 14: unexpected '}'; expected string literal"},
      {R"({"do":"setDeviceType","value":01})",
       "not a JSON object: at byte 32: unexpected number literal; expected '}'"},
      {R"({"do":"advance","seconds":1e999})", "not a JSON object: at byte 31: number overflow\n"},
      {R"({"do":"timeStamp","value":"\ud800"})",
       "not a JSON object: at byte 34: invalid string: surrogate U+D800..U+DBFF must be followed by U+DC00..U+DFFF"},
      {R"({"do":"setDeviceType","value":)" + std::string(1000, '1') + "}",
       "not a JSON object: at byte 1030: number overflow\n"},
      // Bytes.
      {std::string("{\"do\":\0\"save\"}", 14), "a NUL at byte 7; in a text it is written \\u0000"},
      {std::string("{\"do\":\"save\"}\0", 14), "a NUL at byte 14; in a text it is written \\u0000"},
      {"{\"do\":\"timeStamp\",\"value\":\"\xFF\"}", "not well-formed UTF-8"},
      {"{\"do\":\"timeStamp\",\"value\":\"\xED\xA0\x80\"}", "not well-formed UTF-8"},
      {"\xEF\xBB\xBF{\"do\":\"save\"}", "a byte-order mark; only the file may begin with one"},
      // Nesting, and keys that stand twice.
      {nested, "nested too deep: at most 100 objects and lists in each other"},
      {abyss, "nested too deep: at most 100 objects and lists in each other"},
      {R"({"do":"save","do":"save"})", "the key \"do\" stands twice in one object"},
      {R"({"do":"device","params":{"6":"a","7":"b","6":"c"}})", "the key \"6\" stands twice in one object"},
      // The operation.
      {R"({"value":1})", R"("do" is missing: the operation, as in {"do":"save"})"},
      {R"({"do":"Save"})", "there is no operation \"Save\"; there is: setURLs, setDeviceType, "},
      {R"({"do":7})", "there is no operation 7; there is: "},
      {R"({"do":null})", "there is no operation null; there is: "},
      // Arguments that are unknown, missing, or null where nothing may be.
      {R"({"do":"save","now":true})", "save: there is no \"now\" here"},
      {R"({"do":"device","param":{}})", "device: there is no \"param\" here; there is: params"},
      {R"({"do":"upload","timeout":1})", "upload: there is no \"timeout\" here; there is: timeoutSeconds"},
      {R"({"do":"setDeviceType"})", "setDeviceType: \"value\" is missing"},
      {R"({"do":"timeStamp"})", "timeStamp: \"value\" is missing; where there is none it is null"},
      {R"({"do":"connectionStart"})", "connectionStart: \"params\" is missing; where there is none it is null"},
      {R"({"do":"device","params":null})", "device: \"params\" must be an object, not null"},
      {R"({"do":"client","params":null})", "client: \"params\" must be an object, not null"},
      {R"({"do":"userAcceptance","params":null})", "userAcceptance: \"params\" must be an object, not null"},
      {R"({"do":"queue.add","data":"x"})", "queue.add: \"url\" is missing; where there is none it is null"},
      {R"({"do":"queue.add","url":"x"})", "queue.add: \"data\" is missing; where there is none it is null"},
      {R"({"do":"directory.upload","path":"x"})", "directory.upload: \"url\" is missing"},
      {R"({"do":"directory.upload","url":"x"})", "directory.upload: \"path\" is missing"},
      {R"({"do":"diagnostics.appendLoginPoll"})", "diagnostics.appendLoginPoll: \"entry\" is missing"},
      // Texts.
      {R"({"do":"setURLs","client":1})", "setURLs: \"client\" must be a string or null, not 1"},
      {R"({"do":"setURLs","clients":"x"})",
       "setURLs: there is no \"clients\" here; there is: client, connection, device, application, userAcceptance"},
      {R"({"do":"timeStamp","value":5})", "timeStamp: \"value\" must be a string or null, not 5"},
      {R"({"do":"collector.directory","path":null})", "collector.directory: \"path\" must be a string, not null"},
      {R"({"do":"collector.directory","path":"a\u0000b"})",
       "collector.directory: \"path\" must name a file or folder, so without a NUL"},
      {R"({"do":"collector.preConnect","first":"w","forSSID":null})",
       "collector.preConnect: \"forSSID\" must be a string, not null"},
      {R"({"do":"collector.creation","first":"a","lang":"b","username":"c","fullUserName":"d","profileID":"e","installId":"f"})",
       "collector.creation: \"sqmCounter\" is missing"},
      {R"({"do":"collector.postConnect","first":"a","devicetype":3})",
       "collector.postConnect: \"devicetype\" must be a string, not 3"},
      {R"({"do":"diagnostics.set","ssid":["a"]})", "diagnostics.set: \"ssid\" must be a string or null, not a list"},
      {R"({"do":"diagnostics.set","SSID":"a"})", "diagnostics.set: there is no \"SSID\" here; there is: ssid, "},
      // Numbers.
      {R"({"do":"setDeviceType","value":"1"})", R"(setDeviceType: "value" must be an integer of 64 bits, not "1")"},
      {R"({"do":"setDeviceType","value":1.0})", "setDeviceType: \"value\" must be an integer of 64 bits, not 1.0"},
      {R"({"do":"setDeviceType","value":1e3})", "setDeviceType: \"value\" must be an integer of 64 bits, not 1e3"},
      {R"({"do":"setDeviceType","value":true})", "setDeviceType: \"value\" must be an integer of 64 bits, not true"},
      {R"({"do":"setDeviceType","value":9223372036854775808})",
       "setDeviceType: \"value\" must be an integer of 64 bits, not 9223372036854775808"},
      {R"({"do":"collector.errorCode","value":-9223372036854775809})",
       "collector.errorCode: \"value\" must be an integer of 64 bits, not -9223372036854775809"},
      {R"({"do":"collector.autoConnect","value":null})",
       "collector.autoConnect: \"value\" must be an integer of 64 bits, not null"},
      {R"({"do":"collector.disconnect","first":-1})",
       "collector.disconnect: \"first\" must be an integer from 0 to 4294967295, not -1"},
      {R"({"do":"collector.disconnect","first":4294967296})",
       "collector.disconnect: \"first\" must be an integer from 0 to 4294967295, not 4294967296"},
      {R"({"do":"upload","timeoutSeconds":-1})",
       "upload: \"timeoutSeconds\" must be a number of seconds, 0 or more, not -1"},
      {R"({"do":"upload","timeoutSeconds":null})",
       "upload: \"timeoutSeconds\" must be a number of seconds, 0 or more, not null"},
      {R"({"do":"queue.upload","timeoutSeconds":"5"})",
       R"(queue.upload: "timeoutSeconds" must be a number of seconds, 0 or more, not "5")"},
      {R"({"do":"advance","seconds":1})", "advance: the clock stands still only with the option --time"},
      // Session parameters.
      {R"({"do":"device","params":[]})", "device: \"params\" must be an object, not a list"},
      {R"({"do":"connectionStop","params":"6"})", R"(connectionStop: "params" must be an object or null, not "6")"},
      {R"({"do":"device","params":{"ssid":"x"}})",
       R"(device: "params" must have decimal keys of at most 64 bits, not "ssid")"},
      {R"({"do":"device","params":{"":"x"}})", R"(device: "params" must have decimal keys of at most 64 bits, not "")"},
      {R"({"do":"device","params":{"6.0":"x"}})",
       R"(device: "params" must have decimal keys of at most 64 bits, not "6.0")"},
      {R"({"do":"device","params":{" 6":"x"}})",
       R"(device: "params" must have decimal keys of at most 64 bits, not " 6")"},
      {R"({"do":"device","params":{"9223372036854775808":"x"}})",
       R"(device: "params" must have decimal keys of at most 64 bits, not "9223372036854775808")"},
      {R"({"do":"device","params":{"6":1.5}})",
       R"(device: "params" must hold strings, integers of 64 bits and null; under "6" is 1.5)"},
      {R"({"do":"device","params":{"6":18446744073709551615}})",
       R"(device: "params" must hold strings, integers of 64 bits and null; under "6" is 18446744073709551615)"},
      {R"({"do":"device","params":{"6":{}}})",
       R"(device: "params" must hold strings, integers of 64 bits and null; under "6" is an object)"},
      {R"({"do":"device","params":{"6":false}})",
       R"(device: "params" must hold strings, integers of 64 bits and null; under "6" is false)"},
      // Rules.
      {R"({"do":"filter","disable":{}})", "filter: \"disable\" must be a list, not an object"},
      {R"({"do":"filter","disable":null})", "filter: \"disable\" must be a list, not null"},
      {R"({"do":"filter","disable":[{"name":"a"},"b"]})", R"(filter: "disable"[1] must be an object, not "b")"},
      {R"({"do":"filter","disable":[{"subType":"a"}]})",
       R"(filter: "disable"[0] is wrong: "name" is missing; where there is none it is null)"},
      {R"({"do":"filter","disable":[{"name":"a","values":{}}]})",
       R"(filter: "disable"[0] is wrong: there is no "values" here; there is: name, subType)"},
      {R"({"do":"filter","replace":[{"name":"a"}]})", R"(filter: "replace"[0] is wrong: "values" is missing)"},
      {R"({"do":"filter","replace":[{"name":"a","subType":1,"values":{}}]})",
       R"(filter: "replace"[0] is wrong: "subType" must be a string or null, not 1)"},
      {R"({"do":"filter","replace":[{"name":"a","values":{"b":null}}]})",
       R"(filter: "replace"[0] is wrong: "values" must hold strings; under "b" is null)"},
      // Diagnostics.
      {R"({"do":"diagnostics.appendDiscovery","entry":["a"]})",
       "diagnostics.appendDiscovery: \"entry\" must be a string or an object, not a list"},
      {R"({"do":"diagnostics.appendDiscovery","entry":null})",
       "diagnostics.appendDiscovery: \"entry\" must be a string or an object, not null"},
      {R"({"do":"diagnostics.set","discoveryDetails":"a"})",
       R"(diagnostics.set: "discoveryDetails" must be a list or null, not "a")"},
      {R"({"do":"diagnostics.set","loginPollDetails":["a",{},5]})",
       "diagnostics.set: \"loginPollDetails\"[2] must be a string or an object, not 5"},
      // What is long is not shown whole, and what is no text of one line, escaped.
      {R"({"do":"setDeviceType","value":")" + std::string(1000, 'x') + "\"}",
       R"(setDeviceType: "value" must be an integer of 64 bits, not ")" + std::string(40, 'x') + "...\""},
      {R"({"do":"setDeviceType","value":"a\nb\u001b[0m"})",
       R"(setDeviceType: "value" must be an integer of 64 bits, not "a\nb\u001b[0m")"},
      {R"({"do":"setDeviceType","value":)" + std::string(200, '1') + "}",
       "setDeviceType: \"value\" must be an integer of 64 bits, not " + std::string(40, '1') + "...\n"},
  };
  // All in one scenario, the first line of which is sound.
  std::string scenario = "{\"do\":\"save\"}\n";
  for (const auto& each : cases) scenario += each.line + "\n";
  const Played played(scenario);

  EXPECT_EQ(played.status(), 2);
  expectNothingHasRun(played);
  std::size_t number = 1;
  std::size_t at = 0;
  for (const auto& each : cases) {
    const std::string expected = "-:" + std::to_string(++number) + ": " + each.fault;
    const std::size_t end = played.err().find('\n', at) + 1;
    EXPECT_EQ(played.err().substr(at, expected.size()), expected) << each.line.substr(0, 200);
    at = end;
  }
  EXPECT_EQ(at, played.err().size()) << "one message a line";
}

TEST(SqmctlPlayCheck, NamesTheFileAndTheLine) {
  const TemporaryFolder folder;
  putContent(folder / "day.jsonl", "# a comment\n\n{\"do\":\"save\"}\n{\"do\":\"sav\"}\n");
  const Outcome outcome = runProgram({kSqmctl, "--home", folder / "home", "play", folder / "day.jsonl"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err.rfind((folder / "day.jsonl") + ":4: there is no operation \"sav\"", 0), 0U) << outcome.err;
  EXPECT_EQ(folder.names(), std::vector<std::string>{"day.jsonl"});
}

TEST(SqmctlPlayCheck, PassesOverBlankLinesAndComments) {
  const Played played("# a comment\n\n  \t\r\n  # set off \xFF\n#\n{\"do\":\"save\"}\n\n#{\"do\":\"sav\"}");
  EXPECT_EQ(played.status(), 0) << played.err();
  EXPECT_EQ(played.out(), "{\"line\":6,\"do\":\"save\",\"result\":null}\n");
}

TEST(SqmctlPlayCheck, TakesTheLineEndsAndTheMarkOfOtherEditors) {
  const Played played("\xEF\xBB\xBF{\"do\":\"save\"}\r\n  { \"do\" : \"save\" }\t\r\n{\"do\":\"save\"}");
  EXPECT_EQ(played.status(), 0) << played.err();
  EXPECT_EQ(played.out(),
            "{\"line\":1,\"do\":\"save\",\"result\":null}\n{\"line\":2,\"do\":\"save\",\"result\":null}\n"
            "{\"line\":3,\"do\":\"save\",\"result\":null}\n");
}

TEST(SqmctlPlayCheck, AnEmptyScenarioIsOne) {
  for (const char* scenario : {"", "\n", "\xEF\xBB\xBF", "# nothing"}) {
    const Played played(scenario);
    EXPECT_EQ(played.status(), 0) << played.err();
    EXPECT_EQ(played.out(), "");
  }
}

TEST(SqmctlPlayCheck, LinesMayBeLong) {
  const std::string text(10 << 20, 'x');
  const Played played(R"({"do":"queue.add","data":")" + text + "\",\"url\":\"http://127.0.0.1/\"}\n");
  EXPECT_EQ(played.result(1), "true") << played.err().substr(0, 1000);
  EXPECT_NE(played.inApplication("QFRecordUploader.plist").find(text), std::string::npos);
}

TEST(SqmctlPlayCheck, LinesMayBeTooLong) {
  const std::string blanks(65 << 20, ' ');
  const Played played("{\"do\":\"save\"}\n{\"do\":" + blanks + "\"save\"}\n{\"do\":\"sav\"}\n");
  EXPECT_EQ(played.status(), 2);
  expectNothingHasRun(played);
  EXPECT_EQ(played.err().rfind("-:2: longer than 64 MiB, the longest a line may be\n-:3: there is no", 0), 0U)
      << played.err();
}

TEST(SqmctlPlayCheck, NestingIsLimitedAndNotForbidden) {
  // The line's own object, the entry, and 98 lists in it.
  const std::string nested =
      R"({"do":"diagnostics.appendDiscovery","entry":{"a":)" + std::string(98, '[') + std::string(98, ']') + "}}";
  EXPECT_EQ(Played(nested).result(1), "null");
}

TEST(SqmctlPlayCheck, TheFileMustBeReadable) {
  const TemporaryFolder folder;
  const std::string missing = folder / "missing";
  const struct {
    std::vector<std::string> words;
    std::string message;
  } cases[] = {
      {{"play", missing}, "sqmctl: cannot read " + missing + ": No such file or directory\n"},
      {{"play", folder.path()}, "sqmctl: cannot read " + folder.path() + ": Is a directory\n"},
      {{"play"}, "FILE is required"},
      {{"play", "-", "-"}, "expected"},
  };
  for (const auto& each : cases) {
    std::vector<std::string> words = {kSqmctl, "--home", folder / "home"};
    words.insert(words.end(), each.words.begin(), each.words.end());
    const Outcome outcome = runProgram(words, "{\"do\":\"save\"}\n");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find(each.message), std::string::npos) << outcome.err;
    EXPECT_EQ(folder.names(), std::vector<std::string>{});
  }
}

TEST(SqmctlPlayCheck, OptionsThatAreWrongAreBadInput) {
  const struct {
    std::vector<std::string> options;
    std::string message;
  } cases[] = {
      {{"--time", "yesterday"}, "--time: \"yesterday\" is no ISO 8601 date and time; it looks like "},
      {{"--time", ""}, "--time: \"\" is no ISO 8601"},
      {{"--time", "2026-02-29T10:00:00Z"}, "--time: \"2026-02-29T10:00:00Z\" is no ISO 8601"},
      {{"--zone", "Europe/Nowhere"}, "--zone: there is no time zone \"Europe/Nowhere\"; it is called as in the IANA"},
      {{"--zone", ""}, "--zone: there is no time zone \"\""},
      {{"--locale", "xx_YY"}, "--locale: there is no locale \"xx_YY\"; it is a language, or "},
      {{"--locale", ""}, "--locale: there is no locale \"\""},
      {{"--resources", "/nowhere/at/all"}, "--resources: there is no folder /nowhere/at/all"},
  };
  for (const auto& each : cases) {
    const TemporaryFolder folder;
    std::vector<std::string> words = {"/usr/bin/env", "HOME=" + (folder / "home"), kSqmctl, "play", "-"};
    words.insert(words.end(), each.options.begin(), each.options.end());
    const Outcome outcome = runProgram(words, "{\"do\":\"save\"}\n");
    EXPECT_EQ(outcome.status, 2) << each.message;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.rfind("sqmctl: " + each.message, 0), 0U) << outcome.err;
    EXPECT_EQ(folder.names(), std::vector<std::string>{});
  }
}

}  // namespace
