#include "sqm/store/RecordTypes.h"

#include <numeric>
#include <string_view>

namespace sqm {

std::optional<std::string> listDocument(RecordType type, std::span<const std::string> records) {
  constexpr std::string_view kDeclaration = R"(<?xml version="1.0" encoding="utf-8"?>)";
  if (!hasDocument(type, !records.empty())) return std::nullopt;

  const std::string_view element = rowOf(type).element;
  const std::size_t wrapping = kDeclaration.size() + std::string_view("<></>").size() + 2 * element.size();
  std::string text;
  text.reserve(std::accumulate(records.begin(), records.end(), wrapping,
                               [](std::size_t sum, const std::string& record) { return sum + record.size(); }));
  text.append(kDeclaration).append("<").append(element).append(">");
  for (const std::string& record : records) text.append(record);
  text.append("</").append(element).append(">");
  return text;
}

}  // namespace sqm
