#pragma once

#include <memory>
#include <string>
#include <utility>

#include "tools/collector/storage/Arrival.h"

namespace bench {

inline constexpr int kRecordsOfPost = 20;

/// A post of a client: the records of ten connections.
inline std::string bodyOf(int post) {
  std::string body = "<connectionList>";
  for (int i = 0; i < kRecordsOfPost; ++i) {
    const std::string number = std::to_string(i / 2);
    body +=
        "<connectionRecord><eventTime timestamp=\"1795340000\">2026-11-22T09:00:" + std::to_string(10 + i) +
        "Z</eventTime><clientId>client-" + std::to_string(post % 100'000) + "</clientId><event>" +
        (i % 2 == 0 ? "start" : "stop") + "</event><recordIndex>" + std::to_string(i % 2) +
        "</recordIndex><wifi><sessionId>" + std::to_string(post) + "-" + number +
        "</sessionId><connectionStatus>connected</connectionStatus><userName>ada</userName>"
        "<adapterName>Wireless-AC 9560</adapterName><profileName>Office</profileName><ipAddress>10.0.0.17</ipAddress>"
        "<driverVersion>22.120.0.3</driverVersion><bytesSent>104857</bytesSent><bytesReceived>5242880</bytesReceived>"
        "<signalStrength>-61</signalStrength><channel>36</channel><securityMode>WPA2</securityMode><ssid>office-" +
        std::to_string(post % 50) +
        "</ssid><accessPoint>00:11:22:33:44:55</accessPoint><band>5</band><linkSpeed>866</linkSpeed>"
        "<loginSeconds>1.25</loginSeconds></wifi></connectionRecord>";
  }
  return body + "</connectionList>";
}

/// That post as it arrived at a time.
inline std::unique_ptr<collector::Arrival> arrivalOf(int post, const std::string& time) {
  collector::RequestRow head;
  head.time = time;
  head.method = "POST";
  head.path = "/connection";
  head.contentType = "text/xml; charset=utf-8";
  head.answered = "200";
  return std::make_unique<collector::Arrival>(std::move(head), R"([["Host","localhost"]])", bodyOf(post),
                                              collector::FieldMapping());
}

}  // namespace bench
