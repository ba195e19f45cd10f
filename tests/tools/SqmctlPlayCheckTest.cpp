// sqmctl play: the whole scenario is checked before the first operation runs.

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tests/tools/Play.h"

namespace {

/// All files that the library and the tool create are in the home directory.
void expectNothingHasRun(const Played& played) {
  EXPECT_EQ(played.out(), "");
  EXPECT_FALSE(std::filesystem::exists(played.home()));
}

TEST(SqmctlPlayCheck, ReportsTheFaultOfEachLine) {
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
      {std::string("{\"do\":\0\"save\"}", 14), "a NUL at byte 7; in a string it is written \\u0000"},
      {std::string("{\"do\":\"save\"}\0", 14), "a NUL at byte 14; in a string it is written \\u0000"},
      {"{\"do\":\"timeStamp\",\"value\":\"\xFF\"}", "not well-formed UTF-8"},
      {"{\"do\":\"timeStamp\",\"value\":\"\xED\xA0\x80\"}", "not well-formed UTF-8"},
      {"\xEF\xBB\xBF{\"do\":\"save\"}", "a byte-order mark; only the file may begin with one"},
      // Nesting and duplicate keys.
      {nested, "nested too deeply: more than 100 levels of objects and lists"},
      {abyss, "nested too deeply: more than 100 levels of objects and lists"},
      {R"({"do":"save","do":"save"})", "duplicate key \"do\" in one object"},
      {R"({"do":"device","params":{"6":"a","7":"b","6":"c"}})", "duplicate key \"6\" in one object"},
      // The operation.
      {R"({"value":1})", R"("do" is missing: the name of the operation, as in {"do":"save"})"},
      {R"({"do":"Save"})", "unknown operation \"Save\"; the operations are: setURLs, setDeviceType, "},
      {R"({"do":7})", "unknown operation 7; the operations are: "},
      {R"({"do":null})", "unknown operation null; the operations are: "},
      // Arguments that are unknown, missing, or null without being nullable.
      {R"({"do":"save","now":true})", "save: unknown key \"now\""},
      {R"({"do":"device","param":{}})", "device: unknown key \"param\"; the keys are: params"},
      {R"({"do":"upload","timeout":1})", "upload: unknown key \"timeout\"; the keys are: timeoutSeconds"},
      {R"({"do":"setDeviceType"})", "setDeviceType: \"value\" is missing"},
      {R"({"do":"timeStamp"})", "timeStamp: \"value\" is missing; null stands for an absent value"},
      {R"({"do":"connectionStart"})", "connectionStart: \"params\" is missing; null stands for an absent value"},
      {R"({"do":"device","params":null})", "device: \"params\" must be an object, not null"},
      {R"({"do":"client","params":null})", "client: \"params\" must be an object, not null"},
      {R"({"do":"userAcceptance","params":null})", "userAcceptance: \"params\" must be an object, not null"},
      {R"({"do":"queue.add","data":"x"})", "queue.add: \"url\" is missing; null stands for an absent value"},
      {R"({"do":"queue.add","url":"x"})", "queue.add: \"data\" is missing; null stands for an absent value"},
      {R"({"do":"directory.upload","path":"x"})", "directory.upload: \"url\" is missing"},
      {R"({"do":"directory.upload","url":"x"})", "directory.upload: \"path\" is missing"},
      {R"({"do":"diagnostics.appendLoginPoll"})", "diagnostics.appendLoginPoll: \"entry\" is missing"},
      // Texts.
      {R"({"do":"setURLs","client":1})", "setURLs: \"client\" must be a string or null, not 1"},
      {R"({"do":"setURLs","clients":"x"})",
       "setURLs: unknown key \"clients\"; the keys are: client, connection, device, application, userAcceptance"},
      {R"({"do":"timeStamp","value":5})", "timeStamp: \"value\" must be a string or null, not 5"},
      {R"({"do":"collector.directory","path":null})", "collector.directory: \"path\" must be a string, not null"},
      {R"({"do":"collector.directory","path":"a\u0000b"})",
       "collector.directory: \"path\" must be a path, without a NUL"},
      {R"({"do":"collector.preConnect","first":"w","forSSID":null})",
       "collector.preConnect: \"forSSID\" must be a string, not null"},
      {R"({"do":"collector.creation","first":"a","lang":"b","username":"c","fullUserName":"d","profileID":"e","installId":"f"})",
       "collector.creation: \"sqmCounter\" is missing"},
      {R"({"do":"collector.postConnect","first":"a","devicetype":3})",
       "collector.postConnect: \"devicetype\" must be a string, not 3"},
      {R"({"do":"diagnostics.set","ssid":["a"]})", "diagnostics.set: \"ssid\" must be a string or null, not a list"},
      {R"({"do":"diagnostics.set","SSID":"a"})", "diagnostics.set: unknown key \"SSID\"; the keys are: ssid, "},
      // Numbers.
      {R"({"do":"setDeviceType","value":"1"})", R"(setDeviceType: "value" must be a 64-bit integer, not "1")"},
      {R"({"do":"setDeviceType","value":1.0})", "setDeviceType: \"value\" must be a 64-bit integer, not 1.0"},
      {R"({"do":"setDeviceType","value":1e3})", "setDeviceType: \"value\" must be a 64-bit integer, not 1e3"},
      {R"({"do":"setDeviceType","value":true})", "setDeviceType: \"value\" must be a 64-bit integer, not true"},
      {R"({"do":"setDeviceType","value":9223372036854775808})",
       "setDeviceType: \"value\" must be a 64-bit integer, not 9223372036854775808"},
      {R"({"do":"collector.errorCode","value":-9223372036854775809})",
       "collector.errorCode: \"value\" must be a 64-bit integer, not -9223372036854775809"},
      {R"({"do":"collector.autoConnect","value":null})",
       "collector.autoConnect: \"value\" must be a 64-bit integer, not null"},
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
      {R"({"do":"advance","seconds":1})", "advance: the clock can be moved only with the option --time"},
      // Session parameters.
      {R"({"do":"device","params":[]})", "device: \"params\" must be an object, not a list"},
      {R"({"do":"connectionStop","params":"6"})", R"(connectionStop: "params" must be an object or null, not "6")"},
      {R"({"do":"device","params":{"ssid":"x"}})", R"(device: "params" must have 64-bit decimal keys, not "ssid")"},
      {R"({"do":"device","params":{"":"x"}})", R"(device: "params" must have 64-bit decimal keys, not "")"},
      {R"({"do":"device","params":{"6.0":"x"}})", R"(device: "params" must have 64-bit decimal keys, not "6.0")"},
      {R"({"do":"device","params":{" 6":"x"}})", R"(device: "params" must have 64-bit decimal keys, not " 6")"},
      {R"({"do":"device","params":{"9223372036854775808":"x"}})",
       R"(device: "params" must have 64-bit decimal keys, not "9223372036854775808")"},
      {R"({"do":"device","params":{"6":1.5}})",
       R"(device: "params" must hold strings, 64-bit integers and null, not 1.5 under "6")"},
      {R"({"do":"device","params":{"6":18446744073709551615}})",
       R"(device: "params" must hold strings, 64-bit integers and null, not 18446744073709551615 under "6")"},
      {R"({"do":"device","params":{"6":{}}})",
       R"(device: "params" must hold strings, 64-bit integers and null, not an object under "6")"},
      {R"({"do":"device","params":{"6":false}})",
       R"(device: "params" must hold strings, 64-bit integers and null, not false under "6")"},
      // Rules.
      {R"({"do":"filter","disable":{}})", "filter: \"disable\" must be a list, not an object"},
      {R"({"do":"filter","disable":null})", "filter: \"disable\" must be a list, not null"},
      {R"({"do":"filter","disable":[{"name":"a"},"b"]})", R"(filter: "disable"[1] must be an object, not "b")"},
      {R"({"do":"filter","disable":[{"subType":"a"}]})",
       R"(filter: "disable"[0] is invalid: "name" is missing; null stands for an absent value)"},
      {R"({"do":"filter","disable":[{"name":"a","values":{}}]})",
       R"(filter: "disable"[0] is invalid: unknown key "values"; the keys are: name, subType)"},
      {R"({"do":"filter","replace":[{"name":"a"}]})", R"(filter: "replace"[0] is invalid: "values" is missing)"},
      {R"({"do":"filter","replace":[{"name":"a","subType":1,"values":{}}]})",
       R"(filter: "replace"[0] is invalid: "subType" must be a string or null, not 1)"},
      {R"({"do":"filter","replace":[{"name":"a","values":{"b":null}}]})",
       R"(filter: "replace"[0] is invalid: "values" must hold strings, not null under "b")"},
      // Diagnostics.
      {R"({"do":"diagnostics.appendDiscovery","entry":["a"]})",
       "diagnostics.appendDiscovery: \"entry\" must be a string or an object, not a list"},
      {R"({"do":"diagnostics.appendDiscovery","entry":null})",
       "diagnostics.appendDiscovery: \"entry\" must be a string or an object, not null"},
      {R"({"do":"diagnostics.set","discoveryDetails":"a"})",
       R"(diagnostics.set: "discoveryDetails" must be a list or null, not "a")"},
      {R"({"do":"diagnostics.set","loginPollDetails":["a",{},5]})",
       "diagnostics.set: \"loginPollDetails\"[2] must be a string or an object, not 5"},
      // Long values are shortened, and control characters are escaped.
      {R"({"do":"setDeviceType","value":")" + std::string(1000, 'x') + "\"}",
       R"(setDeviceType: "value" must be a 64-bit integer, not ")" + std::string(40, 'x') + "...\""},
      {R"({"do":"setDeviceType","value":")" + std::string(39, 'x') + "\u00E9z\"}",
       R"(setDeviceType: "value" must be a 64-bit integer, not ")" + std::string(39, 'x') + "...\"\n"},
      {R"({"do":"setDeviceType","value":"a\nb\u001b[0m"})",
       R"(setDeviceType: "value" must be a 64-bit integer, not "a\nb\u001b[0m")"},
      {R"({"do":"setDeviceType","value":)" + std::string(200, '1') + "}",
       "setDeviceType: \"value\" must be a 64-bit integer, not " + std::string(40, '1') + "...\n"},
  };
  // All in one scenario, whose first line is valid.
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
  EXPECT_EQ(outcome.err.rfind((folder / "day.jsonl") + ":4: unknown operation \"sav\"", 0), 0U) << outcome.err;
  EXPECT_EQ(folder.names(), std::vector<std::string>{"day.jsonl"});
}

TEST(SqmctlPlayCheck, SkipsBlankLinesAndComments) {
  const Played played("# a comment\n\n  \t\r\n  # set off \xFF\n#\n{\"do\":\"save\"}\n\n#{\"do\":\"sav\"}");
  EXPECT_EQ(played.status(), 0) << played.err();
  EXPECT_EQ(played.out(), "{\"line\":6,\"do\":\"save\",\"result\":null}\n");
}

TEST(SqmctlPlayCheck, AcceptsCarriageReturnsAndAByteOrderMark) {
  const Played played("\xEF\xBB\xBF{\"do\":\"save\"}\r\n  { \"do\" : \"save\" }\t\r\n{\"do\":\"save\"}");
  EXPECT_EQ(played.status(), 0) << played.err();
  EXPECT_EQ(played.out(),
            "{\"line\":1,\"do\":\"save\",\"result\":null}\n{\"line\":2,\"do\":\"save\",\"result\":null}\n"
            "{\"line\":3,\"do\":\"save\",\"result\":null}\n");
}

TEST(SqmctlPlayCheck, AnEmptyScenarioIsValid) {
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
  EXPECT_EQ(played.err().rfind("-:2: longer than 64 MiB, the limit of a line\n-:3: unknown operation", 0), 0U)
      << played.err();
}

TEST(SqmctlPlayCheck, NestingUpToTheLimitIsAccepted) {
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

TEST(SqmctlPlayCheck, InvalidOptionsAreBadInput) {
  const struct {
    std::vector<std::string> options;
    std::string message;
  } cases[] = {
      {{"--time", "yesterday"}, "--time: \"yesterday\" is not an ISO 8601 date and time, such as "},
      {{"--time", ""}, "--time: \"\" is not an ISO 8601"},
      {{"--time", "2026-02-29T10:00:00Z"}, "--time: \"2026-02-29T10:00:00Z\" is not an ISO 8601"},
      {{"--zone", "Europe/Nowhere"}, "--zone: unknown time zone \"Europe/Nowhere\"; use a name of the IANA"},
      {{"--zone", ""}, "--zone: unknown time zone \"\""},
      {{"--locale", "xx_YY"}, "--locale: unknown locale \"xx_YY\"; use a language, or "},
      {{"--locale", ""}, "--locale: unknown locale \"\""},
      {{"--resources", "/nowhere/at/all"}, "--resources: no such folder: /nowhere/at/all"},
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
