#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace collector {

/// What a token allows.
enum class Right : std::uint8_t {
  write,    ///< to post
  read,     ///< the page and the data
  metrics,  ///< /metrics
  faults    ///< to set the faults
};

/// The tokens of a file, one on each line: a name, the rights with commas between them, and the token.
class Tokens {
 public:
  enum class Answer : std::uint8_t { allowed, unknown, notAllowed };

  /// Throws std::invalid_argument, whose text names the line and says what is expected.
  explicit Tokens(std::string_view file);

  /// Decides by the value of an `Authorization` header: `Bearer TOKEN` (RFC 6750) or, as browsers send it, `Basic` with
  /// the name and the token (RFC 7617). The time it takes does not depend on how much of a token is right.
  Answer check(std::string_view authorization, Right right) const;

 private:
  struct Token {
    std::string bearer;  ///< the accepted headers
    std::string basic;
    unsigned rights = 0;  ///< a bit for each Right
  };
  std::vector<Token> tokens_;
};

/// The tokens in force, from a file that can be read again.
///
/// Threading: any thread.
class TokenFile {
 public:
  /// Throws std::runtime_error when the file cannot be read or is not as expected.
  explicit TokenFile(std::string file);

  /// Reads the file again. Throws as the constructor, and the tokens then stay as they are.
  void reload();

  Tokens::Answer check(std::string_view authorization, Right right) const;

 private:
  const std::string file_;
  mutable std::mutex mutex_;
  std::shared_ptr<const Tokens> tokens_;
};

}  // namespace collector
