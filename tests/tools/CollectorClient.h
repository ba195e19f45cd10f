#pragma once

#include <arpa/inet.h>
#include <cerrno>
#include <cstddef>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/time.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include "tests/support/Patience.h"
#include "tests/support/Programs.h"

/// A collection server, and a client that talks to it over one connection.
class CollectorClient {
 public:
  explicit CollectorClient(const std::vector<std::string>& options = {}, const std::string& errorFile = {})
      : collector_(options, 0, errorFile), http_(collector_.address()) {
    http_.set_keep_alive(true);
    http_.set_tcp_nodelay(true);
    http_.set_read_timeout(kPatience);
  }

  Collector& collector() { return collector_; }
  httplib::Client& http() { return http_; }
  int port() const { return collector_.port(); }

  /// The status of the answer; 0 when there was none.
  int post(const std::string& path, const std::string& body, const std::string& contentType = "text/xml") {
    const auto answer = http_.Post(path, body, contentType);
    return answer ? answer->status : 0;
  }

  nlohmann::json get(const std::string& path) {
    const auto answer = http_.Get(path);
    if (!answer || answer->status != 200) {
      ADD_FAILURE() << path << " failed: " << (answer ? answer->body : to_string(answer.error()));
      return {};
    }
    return nlohmann::json::parse(answer->body);
  }

  nlohmann::json putFaults(const nlohmann::json& rules) {
    const auto answer = http_.Put("/_faults", rules.dump(), "application/json");
    EXPECT_TRUE(answer && answer->status == 200);
    return get("/_faults");
  }

 private:
  Collector collector_;
  httplib::Client http_;
};

/// A connection on which the test itself writes every byte.
class RawConnection {
 public:
  explicit RawConnection(int port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    const timeval patience = {.tv_sec = kPatience.count(), .tv_usec = 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): as every call for an address of any family has it
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      ADD_FAILURE() << "cannot connect: " << std::generic_category().message(errno);
    }
  }
  RawConnection(const RawConnection&) = delete;
  RawConnection& operator=(const RawConnection&) = delete;
  ~RawConnection() { ::close(socket_); }

  /// False when the peer has closed the connection.
  bool send(std::string_view text) const {
    while (!text.empty()) {
      const ssize_t count = ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
      if (count < 0) return false;
      text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }

  /// Receives some of what has arrived, without waiting.
  void receiveSome() {
    char buffer[16384];
    const ssize_t count = ::recv(socket_, buffer, sizeof buffer, MSG_DONTWAIT);
    if (count > 0) read_.append(buffer, static_cast<std::size_t>(count));
  }

  /// Nothing more will be sent.
  void finish() const { ::shutdown(socket_, SHUT_WR); }

  /// Everything received up to and including `text`; less when the connection ends before.
  std::string readUntil(std::string_view text) {
    while (read_.find(text) == std::string::npos && readSome() > 0) {
    }
    return read_;
  }

  /// Everything received until the connection ends.
  std::string readAll() {
    while (readSome() > 0) {
    }
    return read_;
  }

  /// True when the connection ended by a reset, as reading found.
  bool isReset() const { return isReset_; }

 private:
  ssize_t readSome() {
    char buffer[65536];
    const ssize_t count = ::recv(socket_, buffer, sizeof buffer, 0);
    if (count > 0) read_.append(buffer, static_cast<std::size_t>(count));
    if (count < 0) isReset_ = errno == ECONNRESET;
    if (count < 0 && !isReset_) ADD_FAILURE() << "nothing was received: " << std::generic_category().message(errno);
    return count;
  }

  int socket_;
  std::string read_;
  bool isReset_ = false;
};

inline const std::string kDocument =
    R"(<?xml version="1.0" encoding="utf-8"?><connectionList>)"
    R"(<connectionRecord><eventTime timestamp="0000000000">2026</eventTime><event>start</event>)"
    R"(<wifi><ssid>Café &amp; Bar</ssid></wifi></connectionRecord>)"
    R"(<connectionRecord><eventTime timestamp="0000000000">2026</eventTime><event>stop</event></connectionRecord>)"
    R"(</connectionList>)";

/// The same document at another time: its records are others, each for itself.
inline std::string documentAt(int time) {
  const std::string text = std::to_string(time);
  std::string document = kDocument;
  for (std::size_t at = 0; (at = document.find("0000000000", at)) != std::string::npos; at += 10) {
    document.replace(at + 10 - text.size(), text.size(), text);
  }
  return document;
}
