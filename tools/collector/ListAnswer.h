#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <httplib.h>

#include "tools/support/Number.h"

namespace collector {

/// The text around and between the rows of a list.
struct ListFrame {
  const char* contentType;
  std::string begin;
  std::string between;
  std::string end;
};

/// A number of the query, from 0 on; `otherwise` when there is none. Throws std::invalid_argument.
inline std::int64_t queryNumber(const httplib::Request& request, const char* name, std::int64_t otherwise) {
  if (!request.has_param(name)) return otherwise;
  const auto number = tools::numberIn<std::int64_t>(request.get_param_value(name));
  if (!number || *number < 0) throw std::invalid_argument(std::string(name) + " is to be a whole number from 0 on");
  return *number;
}

/// Answers with the rows that `fetch` returns, at most 256 in memory at a time. The parameter `since` is the id after
/// which the list begins, `limit` the greatest number of rows.
template <typename Row>
void sendList(const httplib::Request& request, httplib::Response& response,
              std::function<std::vector<Row>(std::int64_t since, std::int64_t limit)> fetch, const ListFrame& frame,
              std::function<std::string(const Row&)> toText) {
  constexpr std::int64_t kAtATime = 256;
  std::int64_t since = queryNumber(request, "since", 0);
  std::int64_t left = queryNumber(request, "limit", std::numeric_limits<std::int64_t>::max());
  bool isFirst = true;
  const auto sendNext = [=](std::size_t, httplib::DataSink& sink) mutable {
    std::string text = isFirst ? frame.begin : "";
    const auto rows = fetch(since, std::min(left, kAtATime));
    for (const Row& row : rows) {
      if (!std::exchange(isFirst, false)) text += frame.between;
      text += toText(row);
      since = row.id;
      --left;
    }
    if (rows.empty()) text += frame.end;
    isFirst = isFirst && !rows.empty();
    const bool isSent = text.empty() || sink.write(text.data(), text.size());
    if (rows.empty()) sink.done();
    return isSent;
  };
  response.set_chunked_content_provider(frame.contentType, sendNext);
}

}  // namespace collector
