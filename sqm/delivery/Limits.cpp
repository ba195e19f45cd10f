#include "sqm/delivery/Limits.h"

#include <algorithm>

namespace sqm::delivery {

namespace {

std::size_t bytesOf(const UploadRequest& request) { return request.uploadData ? request.uploadData->size() : 0; }

std::size_t bytesOf(const TextArray::value_type& text) { return text.value_or("").size(); }

/// How many of the oldest must go so that the rest has at most `limit` bytes.
template <typename Texts>
std::size_t countBeyond(std::uint64_t limit, std::uint64_t bytes, const Texts& texts) {
  std::size_t count = 0;
  while (bytes > limit && count < texts.size()) bytes -= bytesOf(texts[count++]);
  return count;
}

template <typename Texts>
Surplus surplusOf(const Limit& limit, const Texts& texts, std::uint64_t bytes, const StoredTimes& times,
                  std::int64_t now) {
  if (limit.age) {
    const std::uint64_t old = times.countBefore(now - std::max<std::int64_t>(limit.age->count(), 0));
    if (old > 0) return {static_cast<std::size_t>(std::min<std::uint64_t>(old, texts.size())), Removal::age};
  }
  if (limit.records && texts.size() > *limit.records) {
    return {static_cast<std::size_t>(texts.size() - *limit.records), Removal::records};
  }
  if (limit.bytes) return {countBeyond(*limit.bytes, bytes, texts), Removal::bytes};
  return {};
}

}  // namespace

Limits Limits::ofEach(const Limit& limit) {
  Limits limits;
  limits.lists.fill(limit);
  limits.queue = limit;
  return limits;
}

Surplus surplusOf(const Limit& limit, const TextArray& list, const StoredTimes& times, std::int64_t now) {
  return surplusOf(limit, list, list.joined().size(), times, now);
}

Surplus surplusOf(const Limit& limit, const UploadRequests& queue, const StoredTimes& times, std::int64_t now) {
  std::uint64_t bytes = 0;
  if (limit.bytes) {
    for (const UploadRequest& request : queue) bytes += bytesOf(request);
  }
  return surplusOf(limit, queue, bytes, times, now);
}

}  // namespace sqm::delivery
