// Who may post to the collection server and who may read from it.

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tools/CollectorClient.h"
#include "tools/collector/http/Tokens.h"

namespace {

using collector::Right;
using collector::Tokens;
using Answer = collector::Tokens::Answer;

const std::string kWriteToken = "0123456789abcdef";
const std::string kReadToken = "a-token-to-read-with";
const std::string kFile =
    "# of the clients\nfleet  write  " + kWriteToken + "\n\nada\tread,metrics " + kReadToken + "\r\n";

std::string tokenFile(const TemporaryFolder& folder) {
  putContent(folder / "tokens", kFile);
  return folder / "tokens";
}

httplib::Headers bearer(const std::string& token) { return {{"Authorization", "Bearer " + token}}; }

TEST(Tokens, AllowWhatTheirLineSays) {
  const Tokens tokens(kFile);
  EXPECT_EQ(tokens.check("Bearer " + kWriteToken, Right::write), Answer::allowed);
  EXPECT_EQ(tokens.check("Bearer " + kWriteToken, Right::read), Answer::notAllowed);
  EXPECT_EQ(tokens.check("bearer " + kReadToken, Right::read), Answer::allowed) << "the case of a scheme is free";
  EXPECT_EQ(tokens.check("Bearer " + kReadToken, Right::metrics), Answer::allowed);
  EXPECT_EQ(tokens.check("Bearer " + kReadToken, Right::faults), Answer::notAllowed);
  EXPECT_EQ(tokens.check("Basic YWRhOmEtdG9rZW4tdG8tcmVhZC13aXRo", Right::read), Answer::allowed)
      << "ada:a-token-to-read-with, as a browser sends it";
}

TEST(Tokens, AllowNothingElse) {
  const Tokens tokens(kFile);
  std::vector<std::string> headers = {"",
                                      "Bearer",
                                      "Bearer ",
                                      kWriteToken,
                                      "Basic " + kWriteToken,
                                      "Bearer fleet",
                                      "Bearer " + kWriteToken + " ",
                                      "Bearer  " + kWriteToken,
                                      everyByte()};
  for (std::size_t length = 0; length < kWriteToken.size(); ++length) {
    headers.push_back("Bearer " + kWriteToken.substr(0, length));
    std::string other = "Bearer " + kWriteToken;
    other[7 + length] = 'x';
    headers.push_back(other);
  }
  headers.push_back("Bearer 0123456789ABCDEF");
  for (const std::string& header : headers) {
    EXPECT_EQ(tokens.check(header, Right::write), Answer::unknown) << header;
  }
}

TEST(Tokens, OfAFileThatIsNotAsExpectedAreRejectedWithItsLine) {
  const std::pair<const char*, const char*> files[] = {
      {"", "there is no token"},
      {"# a comment\n", "line 1 is the last"},
      {"fleet write", "line 1 has not three words"},
      {"a read 0123456789abcdef\nfleet write 0123456789abcdef more", "line 2 has not three words"},
      {"fleet admin 0123456789abcdef", "a right that does not exist: 'admin'"},
      {"fleet write,,read 0123456789abcdef", "a right that does not exist: ''"},
      {"fleet write short", "less than 16 characters"},
      {"fl:eet write 0123456789abcdef", "a name with a colon"},
  };
  for (const auto& [file, says] : files) {
    try {
      const Tokens tokens{std::string_view(file)};
      ADD_FAILURE() << file;
    } catch (const std::invalid_argument& error) {
      EXPECT_NE(std::string(error.what()).find(says), std::string::npos) << error.what();
    }
  }
}

class CollectorAccess : public testing::Test {
 protected:
  static int statusOf(const httplib::Result& answer) { return answer ? answer->status : 0; }

  int post(const httplib::Headers& headers) {
    return statusOf(client_.http().Post("/queue", headers, "a", "text/plain"));
  }
  int get(const std::string& path, const httplib::Headers& headers) {
    return statusOf(client_.http().Get(path, headers));
  }

  const TemporaryFolder folder_;
  const std::string tokens_ = tokenFile(folder_);
  const std::string log_ = folder_ / "log";
  CollectorClient client_{{"--token-file", tokens_}, log_};
};

TEST_F(CollectorAccess, IsByToken) {
  EXPECT_EQ(post(bearer(kWriteToken)), 200);
  EXPECT_EQ(get("/_requests", bearer(kReadToken)), 200);
  EXPECT_EQ(get("/", bearer(kReadToken)), 200);
  EXPECT_EQ(get("/", {}), 401);
  EXPECT_EQ(get("/_records", bearer("a token that is wrong")), 401);
  EXPECT_EQ(get("/_records", bearer(kWriteToken)), 403) << "every client has it";
  EXPECT_EQ(statusOf(client_.http().Put("/_faults", bearer(kReadToken), "[]", "application/json")), 403);
  EXPECT_EQ(client_.http().Get("/")->get_header_value("WWW-Authenticate"),
            R"(Basic realm="sqm-collector", charset="UTF-8")");
}

// A client takes any status for the receipt of its post. One with a wrong token must lose nothing.
TEST_F(CollectorAccess, OfAPostWithoutItIsResetSoThatNothingIsLost) {
  EXPECT_EQ(post({}), 0);
  EXPECT_EQ(post(bearer("a token that is wrong")), 0);
  EXPECT_EQ(post(bearer(kReadToken)), 0);
  RawConnection raw(client_.port());
  raw.send("POST /queue HTTP/1.1\r\nContent-Length: 99999999999\r\n\r\na");
  EXPECT_EQ(raw.readAll(), "") << "nor does it learn that it is too long";
  EXPECT_TRUE(raw.isReset());
  EXPECT_EQ(client_.http().Get("/_requests", bearer(kReadToken))->body, "[]\n");
  const std::string log = contentOf(log_);
  EXPECT_NE(log.find("127.0.0.1 \"POST /queue HTTP/1.1\" was reset: it has no valid token (1 so far)\n"),
            std::string::npos)
      << log;
  EXPECT_EQ(log.find('\n'), log.size() - 1) << "a line in ten seconds: " << log;
}

TEST_F(CollectorAccess, LeavesNoTokenBehind) {
  EXPECT_EQ(post(bearer(kWriteToken)), 200);
  EXPECT_EQ(post(bearer("a-token-that-is-wrong")), 0);
  const std::string request = client_.http().Get("/_requests/1", bearer(kReadToken))->body;
  EXPECT_NE(request.find("Content-Length"), std::string::npos) << request;
  EXPECT_EQ(request.find(kWriteToken), std::string::npos) << request;
  EXPECT_EQ(contentOf(log_).find("a-token-that-is-wrong"), std::string::npos);
}

TEST_F(CollectorAccess, ChangesWithTheFileWhenAskedTo) {
  putContent(tokens_, "fleet write another-token-of-the-fleet\n");
  EXPECT_EQ(post(bearer(kWriteToken)), 200) << "not before";
  client_.collector().reload();
  while (post(bearer(kWriteToken)) != 0) {
  }
  EXPECT_EQ(post(bearer("another-token-of-the-fleet")), 200);

  putContent(tokens_, "no token at all\n");
  client_.collector().reload();
  while (contentOf(log_).find("the token file") == std::string::npos) {
  }
  EXPECT_NE(contentOf(log_).find("line 1 has not three words"), std::string::npos) << contentOf(log_);
  EXPECT_EQ(post(bearer("another-token-of-the-fleet")), 200) << "what was read before stays in force";
}

TEST(CollectorOpen, OtherMachinesNeedATokenUnlessToldOtherwise) {
  const TemporaryFolder folder;
  const std::string program = kPrograms + "/sqm-collector";
  const Outcome outcome = runProgram({program, "--port", "0", "--listen", "0.0.0.0"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(outcome.err.find("'0.0.0.0' lets other machines in: give --token-file, or --open"), std::string::npos)
      << outcome.err;
  EXPECT_EQ(Collector({"--listen", "0.0.0.0", "--open"}).end(), 0);
  EXPECT_EQ(Collector({"--listen", "0.0.0.0", "--token-file", tokenFile(folder)}).end(), 0);
}

TEST(CollectorOpen, ATokenFileThatCannotBeUsedIsAFailure) {
  const TemporaryFolder folder;
  const Outcome outcome = runProgram({kPrograms + "/sqm-collector", "--port", "0", "--token-file", folder / "none"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("/none' cannot be read"), std::string::npos) << outcome.err;
}

}  // namespace
