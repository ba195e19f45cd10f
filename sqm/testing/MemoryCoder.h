#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/KeyedCoder.h"

namespace sqm::testing {

/// A keyed coder in memory.
///
/// Threading: one thread.
class MemoryCoder : public KeyedCoder {
 public:
  void encodeObject(const std::optional<UploadRequests>& object, std::string_view forKey) override {
    objects[std::string(forKey)] = object;
  }
  std::optional<UploadRequests> decodeObjectForKey(std::string_view key) override {
    const auto found = objects.find(std::string(key));
    return found == objects.end() ? std::nullopt : found->second;
  }

  std::map<std::string, std::optional<UploadRequests>> objects;
};

}  // namespace sqm::testing
