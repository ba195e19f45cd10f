#include "sqm/platform/files/internal/RequestArchive.h"

#include <algorithm>
#include <string>
#include <utility>

#include "sqm/platform/files/internal/BinaryPropertyList.h"
#include "sqm/platform/files/internal/BinaryPropertyListWriter.h"

namespace sqm::platform {

namespace {

constexpr std::array<std::optional<std::string> UploadRequest::*, kRequestKeys.size()> kEntries = {
    &UploadRequest::uploadURL, &UploadRequest::uploadData};

std::size_t entriesOf(const UploadRequest& request) {
  return static_cast<std::size_t>(
      std::ranges::count_if(kEntries, [&](auto entry) { return (request.*entry).has_value(); }));
}

}  // namespace

void writeRequests(PropertyListWriter& writer, const UploadRequests& requests) {
  writer.beginArray(requests.size());
  for (const UploadRequest& request : requests) {
    writer.beginDictionary(entriesOf(request));
    for (std::size_t entry = 0; entry < kEntries.size(); ++entry) {
      const auto& text = request.*kEntries[entry];
      if (!text) continue;
      writer.key(kRequestKeys[entry]);
      writer.text(*text);
    }
    writer.end();
  }
  writer.end();
}

std::size_t objectsOf(const UploadRequests& requests) {
  std::size_t objects = 1;
  for (const UploadRequest& request : requests) objects += 1 + entriesOf(request);
  return objects;
}

std::optional<UploadRequests> requestsFrom(PropertyListValue value) {
  auto* const array = std::get_if<PropertyListValue::Array>(&value.content);
  if (array == nullptr) return std::nullopt;
  UploadRequests requests;
  requests.reserve(array->size());
  for (PropertyListValue& element : *array) {
    auto* const dictionary = std::get_if<PropertyListValue::Dictionary>(&element.content);
    if (dictionary == nullptr) return std::nullopt;
    UploadRequest& request = requests.emplace_back();
    for (auto& [key, entry] : *dictionary) {
      const auto known = std::ranges::find(kRequestKeys, key);
      if (known == kRequestKeys.end()) continue;
      auto* text = std::get_if<std::string>(&entry.content);
      if (auto* const data = std::get_if<PropertyListValue::Data>(&entry.content)) text = &data->bytes;
      if (text == nullptr) return std::nullopt;
      request.*kEntries.at(static_cast<std::size_t>(known - kRequestKeys.begin())) = std::move(*text);
    }
  }
  return requests;
}

void encodeRequests(const UploadRequests& requests, const ByteSink& sink) {
  BinaryPropertyListWriter list(kRequestKeys.size() + objectsOf(requests), kRequestKeys, sink);
  writeRequests(list, requests);
  list.finish();
}

std::optional<UploadRequests> decodedRequests(std::string_view bytes, std::string_view& problem) {
  auto value = readBinaryValue(bytes, roomForRequests(bytes.size()), problem);
  if (!value) return std::nullopt;
  problem = "it holds something else than upload requests";
  return requestsFrom(*std::move(value));
}

}  // namespace sqm::platform
