#include "sqm/platform/files/internal/RequestArchive.h"

#include <array>
#include <vector>

#include "sqm/platform/files/internal/BinaryPropertyList.h"
#include "sqm/platform/files/internal/BinaryPropertyListWriter.h"

namespace sqm::platform {

namespace {

/// The entries of a request, under the keys of the file format: not to change.
struct Entry {
  std::string_view key;
  std::optional<std::string> UploadRequest::*value;
};
constexpr std::array<Entry, 2> kEntries = {{
    {"uploadURL", &UploadRequest::uploadURL},
    {"uploadData", &UploadRequest::uploadData},
}};

/// A part of a list may stand in it many times, so that a small file could ask for any amount of memory and time. What
/// a list unfolds to is counted, and may be this many times the size of the file, and some more. A list of ours holds
/// everything once, and never comes near it.
constexpr std::size_t kMostUnfolding = 8;
constexpr std::size_t kSomeMore = std::size_t{1} << 24;
/// What a request, and an entry of one, counts beside its text.
constexpr std::size_t kPerPart = 64;

constexpr std::string_view kNoList = "it is no binary property list, or a damaged one";
constexpr std::string_view kNoRequests = "it holds something else than upload requests";
constexpr std::string_view kTooMuch = "it unfolds to too much text";

using Kind = BinaryPropertyList::Kind;
using Object = BinaryPropertyList::Object;

bool take(std::size_t& room, std::size_t bytes) {
  if (bytes > room) return false;
  room -= bytes;
  return true;
}

/// The dictionary's request, which may take `room` bytes; otherwise nothing, and why.
std::optional<UploadRequest> decodedRequest(const BinaryPropertyList& list, const Object& dictionary, std::size_t& room,
                                            std::string_view& problem) {
  UploadRequest request;
  for (std::size_t index = 0; index < dictionary.count; ++index) {
    const auto key = list.object(list.reference(dictionary, index));
    const auto value = list.object(list.reference(dictionary, dictionary.count + index));
    if (!key || !value) {
      problem = kNoList;
      return std::nullopt;
    }
    if (!take(room, kPerPart + value->body.size())) {
      problem = kTooMuch;
      return std::nullopt;
    }
    for (const auto& [name, member] : kEntries) {
      if (key->kind != Kind::bytesText || key->body != name) continue;
      request.*member = BinaryPropertyList::bytesOf(*value);
      if (!(request.*member)) {
        problem = kNoRequests;
        return std::nullopt;
      }
    }
  }
  return request;
}

}  // namespace

void encodeRequests(const UploadRequests& requests, const std::function<void(std::string_view piece)>& sink) {
  using Number = BinaryPropertyListWriter::Number;
  std::size_t objects = kEntries.size() + 1;
  for (const UploadRequest& request : requests) {
    ++objects;
    for (const auto& [key, member] : kEntries) {
      if (request.*member) ++objects;
    }
  }

  BinaryPropertyListWriter list(objects, sink);
  std::array<Number, kEntries.size()> keyNumbers{};
  for (std::size_t entry = 0; entry < kEntries.size(); ++entry) keyNumbers[entry] = list.addText(kEntries[entry].key);
  std::vector<Number> dictionaries;
  dictionaries.reserve(requests.size());
  for (const UploadRequest& request : requests) {
    std::array<Number, kEntries.size()> keys{};
    std::array<Number, kEntries.size()> values{};
    std::size_t count = 0;
    for (std::size_t entry = 0; entry < kEntries.size(); ++entry) {
      const auto& value = request.*kEntries[entry].value;
      if (!value) continue;
      keys[count] = keyNumbers[entry];
      values[count] = list.addText(*value);
      ++count;
    }
    dictionaries.push_back(list.addDictionary(std::span(keys).first(count), std::span(values).first(count)));
  }
  list.addArray(dictionaries);
  list.finish();
}

std::optional<UploadRequests> decodedRequests(std::string_view bytes, std::string_view& problem) {
  const auto list = BinaryPropertyList::open(bytes);
  const auto root = list ? list->object(list->root()) : std::nullopt;
  if (!root) {
    problem = kNoList;
    return std::nullopt;
  }
  if (root->kind != Kind::array) {
    problem = kNoRequests;
    return std::nullopt;
  }
  std::size_t room = kMostUnfolding * bytes.size() + kSomeMore;
  UploadRequests requests;
  for (std::size_t index = 0; index < root->count; ++index) {
    const auto dictionary = list->object(list->reference(*root, index));
    if (!dictionary || dictionary->kind != Kind::dictionary) {
      problem = dictionary ? kNoRequests : kNoList;
      return std::nullopt;
    }
    if (!take(room, kPerPart)) {
      problem = kTooMuch;
      return std::nullopt;
    }
    auto request = decodedRequest(*list, *dictionary, room, problem);
    if (!request) return std::nullopt;
    requests.push_back(*std::move(request));
  }
  return requests;
}

}  // namespace sqm::platform
