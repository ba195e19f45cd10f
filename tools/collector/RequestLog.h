#pragma once

#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace collector {

/// One post, whole.
struct Request {
  std::size_t id;
  std::string time;  ///< of arrival: UTC, ISO 8601
  std::string path;
  std::string contentType;
  std::string body;
};

/// The posts that arrived, in order.
///
/// Threading: any thread.
class RequestLog {
 public:
  /// Keeps a post and gives its number, from 1 on.
  std::size_t add(std::string path, std::string contentType, std::string body);

  std::optional<Request> find(std::size_t id) const;

  /// All of them, as JSON: an array of objects without the bodies, whose lengths stand for them.
  std::string asJson() const;

 private:
  mutable std::mutex mutex_;
  std::vector<Request> requests_;
};

}  // namespace collector
