#pragma once

#include <memory>
#include <string>

/// A client that uses one connection as long as the server keeps it open.
class HttpsClient {
 public:
  /// `authority` is a PEM file; only its certificates are trusted. Empty: those of the system are.
  explicit HttpsClient(std::string address, std::string authority = {});

  struct Answer {
    long status = 0;  ///< 0: there was none
    std::string body;
    std::string error;
    bool isOnNewConnection = false;
  };

  /// A token that is not empty is sent with the request.
  Answer get(const std::string& path, const std::string& token = {});
  Answer post(const std::string& path, const std::string& body, const std::string& token = {});

 private:
  Answer perform(const std::string& path, const std::string& token);

  std::string address_;
  std::shared_ptr<void> curl_;
};
