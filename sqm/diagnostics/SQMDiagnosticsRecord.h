#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "sqm/common/Host.h"
#include "sqm/common/Json.h"

namespace sqm {

/// Collects the details of the current connection attempt, which the host sets as the attempt proceeds, and makes a
/// report of them: a compressed JSON text.
///
/// Ownership: the process's record is never destroyed. The record owns its strings. The two arrays are shared with the
/// caller of their setters and getters, who may append entries.
/// Threading: one thread at a time. The first call of `sharedSQMDiagnosticsRecord` may come from any thread.
/// Failure: a report that cannot be made, or is too long, is the empty string; std::bad_alloc.
class SQMDiagnosticsRecord {
 public:
  using Text = std::optional<std::string>;
  using Array = std::shared_ptr<JsonArray>;

  /// The length of the longest report, in characters. A longer one is dropped.
  static constexpr std::size_t kMostUnits = 4000;

  /// The shared record of the process, created on the first call and never destroyed. Null while no host is installed
  /// (see `Host::install`).
  static SQMDiagnosticsRecord* sharedSQMDiagnosticsRecord();

  /// A record that is independent of the shared one. Its arrays are empty and its strings absent.
  explicit SQMDiagnosticsRecord(Host& host) : host_(host) {}
  SQMDiagnosticsRecord(const SQMDiagnosticsRecord&) = delete;
  SQMDiagnosticsRecord& operator=(const SQMDiagnosticsRecord&) = delete;

  /// `delete` does not compile, so that nothing destroys the process's record. An independent record is a local
  /// variable, a member, or made by `std::make_shared`.
  void operator delete(void*) = delete;

  /// Validates the record and returns the report, or the empty string when it would exceed `kMostUnits`.
  std::string formattedDiagnosticJsonBlob();

  /// The array as JSON text; empty for an empty or absent array, nothing when the JSON writer returns nothing.
  Text formatDiscoveryDetails() const { return formatted(discoveryDetails_); }
  Text formatLoginPollDetails() const { return formatted(loginPollDetails_); }

  /// Sets every absent string to the empty string, except `security` and `authUagent`.
  void validate();

  /// Call this when a new connection attempt begins. Empties the strings of the attempt and both arrays; leaves the
  /// four strings of the probe, `security` and `authUagent` unchanged.
  void resetDiagnosticsRecord();

  /// Call this before a new probe. Empties its address, response and status; leaves its user agent unchanged.
  void resetRavixDiagnosticsRecord();

  // The network link and the interface.
  const Text& ssid() const { return ssid_; }
  void setSsid(Text ssid) { ssid_ = std::move(ssid); }
  const Text& sigStrength() const { return sigStrength_; }
  void setSigStrength(Text strength) { sigStrength_ = std::move(strength); }
  const Text& security() const { return security_; }  // not reported
  void setSecurity(Text security) { security_ = std::move(security); }
  const Text& apmac() const { return apmac_; }
  void setApmac(Text address) { apmac_ = std::move(address); }
  const Text& nic() const { return nic_; }
  void setNic(Text nic) { nic_ = std::move(nic); }

  // The connectivity probe.
  const Text& ravixUrl() const { return ravixUrl_; }
  void setRavixUrl(Text url) { ravixUrl_ = std::move(url); }
  const Text& ravixUagent() const { return ravixUagent_; }
  void setRavixUagent(Text agent) { ravixUagent_ = std::move(agent); }
  const Text& ravixResp() const { return ravixResp_; }
  void setRavixResp(Text response) { ravixResp_ = std::move(response); }
  const Text& ravixHttpStatusCode() const { return ravixHttpStatusCode_; }
  void setRavixHttpStatusCode(Text code) { ravixHttpStatusCode_ = std::move(code); }

  // The authentication.
  const Text& authProtocol() const { return authProtocol_; }
  void setAuthProtocol(Text protocol) { authProtocol_ = std::move(protocol); }
  const Text& dirID() const { return dirID_; }
  void setDirID(Text directory) { dirID_ = std::move(directory); }
  const Text& authUagent() const { return authUagent_; }  // not reported
  void setAuthUagent(Text agent) { authUagent_ = std::move(agent); }
  const Text& loginURL() const { return loginURL_; }
  void setLoginURL(Text url) { loginURL_ = std::move(url); }
  const Array& discoveryDetails() const { return discoveryDetails_; }
  void setDiscoveryDetails(Array details) { discoveryDetails_ = std::move(details); }
  const Array& loginPollDetails() const { return loginPollDetails_; }
  void setLoginPollDetails(Array details) { loginPollDetails_ = std::move(details); }

  // The final error.
  const Text& errorCode() const { return errorCode_; }
  void setErrorCode(Text code) { errorCode_ = std::move(code); }
  const Text& errorDetails() const { return errorDetails_; }
  void setErrorDetails(Text details) { errorDetails_ = std::move(details); }

 private:
  JsonObject report() const;
  JsonObject authentication() const;
  Text formatted(const Array& array) const;

  Host& host_;
  Text ssid_;
  Text sigStrength_;
  Text security_;
  Text apmac_;
  Text nic_;
  Text ravixUrl_;
  Text ravixUagent_;
  Text ravixResp_;
  Text ravixHttpStatusCode_;
  Text authProtocol_;
  Text dirID_;
  Text authUagent_;
  Text loginURL_;
  Array discoveryDetails_ = std::make_shared<JsonArray>();
  Array loginPollDetails_ = std::make_shared<JsonArray>();
  Text errorCode_;
  Text errorDetails_;
};

}  // namespace sqm
