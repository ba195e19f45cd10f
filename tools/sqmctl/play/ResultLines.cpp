#include "tools/sqmctl/play/ResultLines.h"

#include <cerrno>
#include <string>
#include <system_error>
#include <unistd.h>
#include <utility>

#include <nlohmann/json.hpp>

#include "tools/sqmctl/Command.h"

namespace sqmctl::play {

void writeResult(std::size_t line, std::string_view operation, Result result) {
  constexpr int kCompact = -1;
  const Result object = {{"line", line}, {"do", operation}, {"result", std::move(result)}};
  const std::string text = object.dump(kCompact, ' ', false, Result::error_handler_t::replace) + "\n";
  for (std::string_view rest = text; !rest.empty();) {
    const ssize_t count = ::write(STDOUT_FILENO, rest.data(), rest.size());
    if (count < 0 && errno != EINTR) {
      throw Problem(kFailure, "cannot write standard output: " + std::generic_category().message(errno));
    }
    if (count > 0) rest.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace sqmctl::play
