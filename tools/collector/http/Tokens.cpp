#include "tools/collector/http/Tokens.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "sqm/common/internal/Base64.h"

namespace collector {

namespace {

constexpr std::size_t kShortestToken = 16;
constexpr std::array<std::string_view, 4> kRights = {"write", "read", "metrics", "faults"};  // in the order of Right

[[noreturn]] void reject(std::size_t line, const std::string& what) {
  throw std::invalid_argument("line " + std::to_string(line) + " " + what +
                              "; a line is a name, the rights and a token, as in: fleet write 8Hq2…; the rights are "
                              "write, read, metrics and faults, with commas between them");
}

unsigned bitOf(Right right) { return 1U << static_cast<unsigned>(right); }

unsigned rightsIn(const std::string& text, std::size_t line) {
  unsigned rights = 0;
  std::istringstream names(text);
  for (std::string name; std::getline(names, name, ',');) {
    const auto* const found = std::ranges::find(kRights, name);
    if (found == kRights.end()) reject(line, "has a right that does not exist: '" + name + "'");
    rights |= bitOf(static_cast<Right>(found - kRights.begin()));
  }
  return rights;
}

/// Compares in a time that depends on the lengths alone.
bool areEqual(std::string_view one, std::string_view other) {
  if (one.size() != other.size()) return false;
  unsigned difference = 0;
  for (std::size_t i = 0; i < one.size(); ++i) {
    difference |= static_cast<unsigned>(static_cast<unsigned char>(one[i]) ^ static_cast<unsigned char>(other[i]));
  }
  return difference == 0;
}

/// The header with its scheme in lower case.
std::string normalised(std::string_view header) {
  std::string text(header);
  const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(text.find(' '), text.size()));
  std::transform(text.begin(), end, text.begin(),
                 [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
  return text;
}

}  // namespace

Tokens::Tokens(std::string_view file) {
  std::istringstream lines{std::string(file)};
  std::size_t number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    std::istringstream words(line);
    const std::vector<std::string> parts{std::istream_iterator<std::string>(words), {}};
    if (parts.empty() || parts[0].starts_with('#')) continue;
    if (parts.size() != 3) reject(number, "has not three words");
    if (parts[0].find(':') != std::string::npos) reject(number, "has a name with a colon");
    if (parts[2].size() < kShortestToken) reject(number, "has a token of less than 16 characters");
    tokens_.push_back({.bearer = "bearer " + parts[2],
                       .basic = "basic " + sqm::base64Of(parts[0] + ":" + parts[2]),
                       .rights = rightsIn(parts[1], number)});
  }
  if (tokens_.empty()) reject(number, "is the last, and there is no token");
}

Tokens::Answer Tokens::check(std::string_view authorization, Right right) const {
  const std::string header = normalised(authorization);
  bool isKnown = false;
  bool isAllowed = false;
  for (const Token& token : tokens_) {
    const bool isSame = areEqual(header, token.bearer) || areEqual(header, token.basic);
    isKnown |= isSame;
    isAllowed |= isSame && (token.rights & bitOf(right)) != 0;
  }
  return isAllowed ? Answer::allowed : isKnown ? Answer::notAllowed : Answer::unknown;
}

TokenFile::TokenFile(std::string file) : file_(std::move(file)) { reload(); }

void TokenFile::reload() {
  std::ifstream stream(file_, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(stream), {}};
  if (!stream) throw std::runtime_error("the token file '" + file_ + "' cannot be read");
  try {
    auto tokens = std::make_shared<const Tokens>(text);
    const std::lock_guard lock(mutex_);
    tokens_ = std::move(tokens);
  } catch (const std::invalid_argument& error) {
    throw std::runtime_error("the token file '" + file_ + "': " + error.what());
  }
}

Tokens::Answer TokenFile::check(std::string_view authorization, Right right) const {
  std::unique_lock lock(mutex_);
  const auto tokens = tokens_;
  lock.unlock();
  return tokens->check(authorization, right);
}

}  // namespace collector
