#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/collector/storage/Storage.h"

/// A request with this body that arrived at /connection.
inline std::unique_ptr<collector::Arrival> arrivalOf(const std::string& body,
                                                     const std::string& time = "2026-11-22T10:00:00.000Z") {
  collector::RequestRow head;
  head.time = time;
  head.method = "POST";
  head.path = "/connection";
  head.answered = "200";
  return std::make_unique<collector::Arrival>(std::move(head), "[]", body, collector::FieldMapping());
}

/// A document of these records.
inline std::string documentOf(const std::vector<std::string>& records) {
  std::string document = "<connectionList>";
  for (const std::string& record : records) document += record;
  return document + "</connectionList>";
}

/// A record that is known by its client, session, event and index.
inline std::string knownRecord(const std::string& client, const std::string& session,
                               const std::string& event = "start", const std::string& more = "") {
  return "<connectionRecord><eventTime timestamp=\"1\">2026-11-22T09:00:00Z</eventTime><clientId>" + client +
         "</clientId><event>" + event + "</event><recordIndex>0</recordIndex><wifi><sessionId>" + session +
         "</sessionId>" + more + "</wifi></connectionRecord>";
}

/// A record that is known by its bytes.
inline std::string plainRecord(const std::string& value) { return "<r><a>" + value + "</a></r>"; }

/// Stores a request and returns its row.
inline collector::RequestRow add(collector::Storage& storage, const std::string& body,
                                 const std::string& time = "2026-11-22T10:00:00.000Z") {
  const auto arrival = arrivalOf(body, time);
  collector::Arrival* const group[] = {arrival.get()};
  storage.add(group);
  return arrival->request;
}

/// All rows, which `next` gives piece by piece after a number.
template <typename Next>
auto allRows(const Next& next) {
  auto all = next(std::int64_t{0});
  for (bool isMore = !all.empty(); isMore;) {
    const auto more = next(all.back().id);
    all.insert(all.end(), more.begin(), more.end());
    isMore = !more.empty();
  }
  return all;
}

inline std::vector<collector::RequestRow> requestsOf(collector::Storage& storage) {
  return allRows([&storage](std::int64_t since) { return storage.requests(since, 1000); });
}

/// The texts of all stored records.
inline std::vector<std::string> recordsOf(collector::Storage& storage) {
  std::vector<std::string> texts;
  for (const auto& row : allRows([&storage](std::int64_t since) { return storage.records(since, 1000); })) {
    texts.push_back(row.raw);
  }
  return texts;
}
