#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <unordered_map>

#include "tools/collector/RecordReader.h"
#include "tools/collector/service/FieldMapping.h"

namespace collector {

/// What distinguishes a record from all others: a record that arrives again has the same key.
using RecordKey = std::array<char, 24>;

inline std::string_view bytesOf(const RecordKey& key) { return {key.data(), key.size()}; }

/// Makes the keys of the records of one document, in their order.
///
/// A record that has a client, a session, an event and an index is known by them, its type and its time. Any other is
/// known by its type, its bytes, and its number among the equal ones of its document. A key is made of SHA-256
/// (FIPS 180-4, by OpenSSL). The keys of one client begin alike, so that the records of a post stand together in an
/// index.
class RecordKeys {
 public:
  explicit RecordKeys(const FieldMapping& mapping) : mapping_(mapping) {}

  RecordKey next(const Record& record);

 private:
  const FieldMapping& mapping_;
  std::unordered_map<std::string_view, std::uint64_t> equal_;  // how many times a text has occurred
};

}  // namespace collector
