#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/ManagerTest.h"

/// The body with one record of a type, as the fixture stores it.
inline std::string bodyOf(sqm::RecordType type) {
  return listDocument(sqm::rowOf(type).element, "<r" + std::to_string(static_cast<int>(type)) + "/>");
}

inline const std::string kEmptyConnectionBody = listDocument("connectionList", "");

class ManagerUpload : public ManagerTest {
 protected:
  ManagerUpload() { setAddresses(); }

  void setAddresses() {
    manager->SetSQMClientURL("http://sqm.test/client");
    manager->SetSQMConnectionURL("http://sqm.test/connection");
    manager->SetSQMDeviceURL("http://sqm.test/device");
    manager->SetSQMApplicationURL("http://sqm.test/application");
    manager->SetSQMUserAcceptanceURL("http://sqm.test/useracceptance");
  }

  /// Replaces the manager by one that holds a record of each of these types.
  void restartWith(const std::vector<sqm::RecordType>& types) {
    manager.reset();
    for (const sqm::RecordType type : sqm::kRecordTypes) fakes.propertyLists.put(storeFile(type), sqm::TextArray{});
    for (const sqm::RecordType type : types) {
      fakes.propertyLists.put(storeFile(type), sqm::TextArray{"<r" + std::to_string(static_cast<int>(type)) + "/>"});
    }
    restart();
    setAddresses();
  }

  /// The bodies of the posts so far, in order.
  std::vector<std::string> bodies() const {
    std::vector<std::string> all;
    for (const auto& request : fakes.http.requests()) all.push_back(request.data);
    return all;
  }

  /// The addresses of the posts so far, in order.
  std::vector<std::optional<std::string>> urls() const {
    std::vector<std::optional<std::string>> all;
    for (const auto& request : fakes.http.requests()) all.push_back(request.url);
    return all;
  }

  /// The types of which there are records.
  std::vector<sqm::RecordType> heldTypes() {
    std::vector<sqm::RecordType> types;
    for (const sqm::RecordType type : sqm::kRecordTypes) {
      if (!stored(type).empty()) types.push_back(type);
    }
    return types;
  }

  /// Completes every post, those that follow included.
  void completeAll() {
    for (std::size_t completed = 0; completed < fakes.http.requests().size(); ++completed) fakes.http.complete(200);
  }
};
