#include "tools/collector/RequestHead.h"

#include <algorithm>
#include <strings.h>

namespace collector {

RequestHead parseHead(std::string_view text) {
  RequestHead head;
  const auto takeLine = [&text] {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
  };
  const auto trimmed = [](std::string_view value) {
    const auto begin = std::min(value.find_first_not_of(" \t"), value.size());
    return value.substr(begin, value.find_last_not_of(" \t") + 1 - begin);
  };
  std::string_view target = takeLine();
  target.remove_prefix(std::min(target.find(' ') + 1, target.size()));
  target = target.substr(0, target.find(' '));
  const auto query = target.find('?');
  head.path = target.substr(0, query);
  if (query != std::string_view::npos) head.query = target.substr(query + 1);
  for (std::string_view line = takeLine(); !line.empty(); line = takeLine()) {
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) continue;
    head.headers.emplace_back(line.substr(0, colon), trimmed(line.substr(colon + 1)));
    const auto& [name, value] = head.headers.back();
    if (strcasecmp(name.c_str(), "Content-Type") == 0) head.contentType = value;
  }
  return head;
}

}  // namespace collector
