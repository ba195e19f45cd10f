#include "sqm/platform/files/internal/RequestArchive.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sqm/platform/files/internal/BinaryPropertyListWriter.h"

namespace sqm::platform {

namespace {

constexpr std::array<std::optional<std::string> UploadRequest::*, kRequestKeys.size()> kEntries = {
    &UploadRequest::uploadURL, &UploadRequest::uploadData};

}  // namespace

PropertyListValue valueOf(const UploadRequests& requests) {
  PropertyListValue::Array array;
  array.reserve(requests.size());
  for (const UploadRequest& request : requests) {
    PropertyListValue::Dictionary dictionary;
    for (std::size_t entry = 0; entry < kEntries.size(); ++entry) {
      if (const auto& text = request.*kEntries.at(entry))
        dictionary.push_back({std::string(kRequestKeys.at(entry)), {*text}});
    }
    array.push_back({std::move(dictionary)});
  }
  return {std::move(array)};
}

void writeRequests(const UploadRequests& requests, const ByteSink& sink) {
  std::size_t objects = kRequestKeys.size() + requests.size() + 1;
  for (const UploadRequest& request : requests) {
    objects += static_cast<std::size_t>(
        std::ranges::count_if(kEntries, [&](const auto entry) { return (request.*entry).has_value(); }));
  }
  BinaryPropertyListWriter writer(objects, sink);
  for (const std::string_view key : kRequestKeys) writer.text(key);
  std::vector<std::uint64_t> dictionaries;
  dictionaries.reserve(requests.size());
  for (const UploadRequest& request : requests) {
    std::array<std::uint64_t, 2 * kEntries.size()> references{};
    std::size_t count = 0;
    for (std::size_t entry = 0; entry < kEntries.size(); ++entry) {
      if (request.*kEntries.at(entry)) references.at(count++) = entry;
    }
    for (const auto entry : kEntries) {
      if (const auto& text = request.*entry) references.at(count++) = writer.text(*text);
    }
    dictionaries.push_back(writer.dictionary(std::span(references).first(count)));
  }
  writer.array(dictionaries);
  writer.finish();
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

}  // namespace sqm::platform
