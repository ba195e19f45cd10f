#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sqm/platform/http/HttpExchange.h"

#include "tests/platform/http/HttpFixture.h"

namespace sqm::tests {

/// A client whose exchanges are recorded.
class ExchangeFixture : public HttpFixture {
 protected:
  using Exchange = platform::HttpExchange;

  void watchClient(const HttpOptions& options = {}) {
    client.emplace(mainThread, notifications, logs, options,
                   [this](const Exchange& exchange) { exchanges.push_back(exchange); });
  }

  Exchange exchangeAt(std::optional<std::string_view> url, std::string body = "body") {
    exchanges.clear();
    Caller caller(*client, notifications);
    caller.transaction->startSession("s", "SQMHttp.log");
    caller.send(url, std::move(body));
    EXPECT_TRUE(loop.runUntil([&] { return !caller.outcomes.empty(); }, kPatience));
    EXPECT_EQ(exchanges.size(), 1U);
    return exchanges.empty() ? Exchange{} : exchanges.front();
  }

  std::vector<Exchange> exchanges;
};

}  // namespace sqm::tests
