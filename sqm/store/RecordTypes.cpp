#include "sqm/store/RecordTypes.h"

#include <string_view>

namespace sqm {

std::optional<std::string> listDocument(RecordType type, const TextArray& records, std::string_view before) {
  constexpr std::string_view kDeclaration = R"(<?xml version="1.0" encoding="utf-8"?>)";
  if (!hasDocument(type, !records.empty())) return std::nullopt;

  const std::string_view element = rowOf(type).element;
  const std::size_t wrapping =
      before.size() + kDeclaration.size() + std::string_view("<></>").size() + 2 * element.size();
  std::string text;
  text.reserve(wrapping + records.joined().size());
  text.append(before).append(kDeclaration).append("<").append(element).append(">");
  text.append(records.joined()).append("</").append(element).append(">");
  return text;
}

}  // namespace sqm
