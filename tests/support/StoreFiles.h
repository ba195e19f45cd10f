#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sqm/store/RecordTypes.h"
#include "sqm/testing/FakeHost.h"

/// The SQM folder below the home directory of a `FakeHost`.
inline constexpr std::string_view kSQMFolder = "/home/tester/Library/Application Support/Trelk/Trelk Quenfa/SQM";

/// The file of a record type.
inline std::string storeFile(sqm::RecordType type) {
  return std::string(kSQMFolder) + "/" + std::string(sqm::rowOf(type).file);
}

/// The records that were last saved to the file of a type.
inline std::vector<std::string> savedRecords(const sqm::testing::FakeHost& fakes, sqm::RecordType type) {
  std::vector<std::string> records;
  const auto elements = fakes.propertyLists.file(storeFile(type));
  if (!elements) return records;
  for (const auto& element : *elements) records.emplace_back(element.value());
  return records;
}

/// A list document: the records, already joined, in the element of their type.
inline std::string listDocument(std::string_view element, std::string_view records) {
  std::string text = R"(<?xml version="1.0" encoding="utf-8"?>)";
  text.append("<").append(element).append(">").append(records).append("</").append(element).append(">");
  return text;
}
