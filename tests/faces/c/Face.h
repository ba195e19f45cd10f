#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "faces/c/sqm.h"
#include "tests/support/Paths.h"
#include "tests/support/TemporaryFolder.h"

namespace face {

/// Handles that are destroyed as a C program destroys them.
template <auto destroy>
struct Destroy {
  template <typename Handle>
  void operator()(Handle* handle) const {
    destroy(handle);
  }
};
using Options = std::unique_ptr<sqm_options, Destroy<sqm_options_destroy>>;
using Host = std::unique_ptr<sqm_host, Destroy<sqm_host_destroy>>;
using Observer = std::unique_ptr<sqm_observer, Destroy<sqm_observer_destroy>>;
using Params = std::unique_ptr<sqm_params, Destroy<sqm_params_destroy>>;
using Manager = std::unique_ptr<sqm_manager, Destroy<sqm_manager_destroy>>;
using Target = std::unique_ptr<sqm_target, Destroy<sqm_target_destroy>>;
using Record = std::unique_ptr<sqm_record, Destroy<sqm_record_destroy>>;
using Collector = std::unique_ptr<sqm_collector, Destroy<sqm_collector_destroy>>;
using Uploader = std::unique_ptr<sqm_uploader, Destroy<sqm_uploader_destroy>>;
using Diagnostics = std::unique_ptr<sqm_diagnostics, Destroy<sqm_diagnostics_destroy>>;

/// A text that a call has returned; "(absent)" for NULL.
inline std::string take(char* text) {
  std::string taken = text == nullptr ? "(absent)" : text;
  sqm_string_free(text);
  return taken;
}

inline const std::string kSqmFolder = "Library/Application Support/Trelk/Trelk Quenfa/SQM";

/// Options of a host with this home directory and the field-name table of the examples.
inline Options optionsFor(const TemporaryFolder& home) {
  Options options(sqm_options_create());
  sqm_options_set_text(options.get(), SQM_TEXT_HOME_DIRECTORY, home.path().c_str());
  sqm_options_set_text(options.get(), SQM_TEXT_RESOURCE_DIRECTORY, (paths::sources() + "/examples").c_str());
  return options;
}

/// An HTTP service that keeps its requests until the test ends them.
struct Http {
  struct Post {
    sqm_http_request* handle;
    std::string url;
    std::string body;
  };

  static void send(void* context, sqm_http_request* request, const char* url, const char* body, size_t size) {
    static_cast<Http*>(context)->posts.push_back({request, url, std::string(body, size)});
  }
  static void abort(void* context, sqm_http_request* request) {
    static_cast<Http*>(context)->aborted.push_back(request);
  }

  sqm_http_service service() { return {sizeof(sqm_http_service), this, send, abort}; }

  /// Ends the newest request with a whole response.
  void complete(int status, std::string_view body = "", std::vector<sqm_http_header> headers = {}) const {
    const sqm_http_response response = {.size = sizeof(sqm_http_response),
                                        .outcome = SQM_HTTP_COMPLETED,
                                        .status = status,
                                        .body = body.data(),
                                        .body_size = body.size(),
                                        .retry_after_seconds = 0,
                                        .reason = nullptr,
                                        .headers = headers.data(),
                                        .header_count = headers.size()};
    EXPECT_EQ(sqm_http_request_end(posts.back().handle, &response), SQM_OK) << sqm_last_error();
  }
  void end(int outcome, const char* reason) const {
    sqm_http_response response{};
    response.size = sizeof response;
    response.outcome = outcome;
    response.reason = reason;
    EXPECT_EQ(sqm_http_request_end(posts.back().handle, &response), SQM_OK) << sqm_last_error();
  }

  std::vector<Post> posts;
  std::vector<sqm_http_request*> aborted;
};

/// A host with an HTTP service of the test.
class CFace : public testing::Test {
 protected:
  /// Makes the host, with the options as they are by then.
  sqm_host* makeHost() {
    const sqm_http_service service = http.service();
    EXPECT_EQ(sqm_options_set_http(options.get(), &service), SQM_OK);
    host.reset(sqm_host_create(options.get()));
    EXPECT_NE(host, nullptr) << sqm_last_error();
    EXPECT_EQ(sqm_host_make_folders(host.get()), SQM_OK) << sqm_last_error();
    return host.get();
  }

  /// A manager that posts each kind of record to "http://server/KIND".
  Manager makeManager() {
    Manager manager(sqm_manager_create(host.get()));
    for (int type = 0; type < SQM_RECORD_TYPES; ++type) {
      const std::string url = "http://server/" + take(sqm_record_type_name(type));
      EXPECT_EQ(sqm_manager_set_url(manager.get(), type, url.c_str()), SQM_OK);
    }
    EXPECT_EQ(sqm_manager_set_device_type(manager.get(), 1), SQM_OK);
    return manager;
  }

  static Params event(const char* network) {
    Params params(sqm_params_create());
    EXPECT_EQ(sqm_params_set_text(params.get(), 6, "2026-11-21T09:30:00Z"), SQM_OK);
    EXPECT_EQ(sqm_params_set_text(params.get(), 26, network), SQM_OK);
    return params;
  }

  void recordConnection(sqm_manager* manager, const char* network) {
    EXPECT_EQ(sqm_manager_create_start_record(manager, event(network).get(), nullptr), SQM_OK) << sqm_last_error();
  }

  /// Runs the tasks that are due, and those that they post.
  void runPending() {
    for (size_t ran = 1; ran > 0;) ASSERT_EQ(sqm_host_run_pending(host.get(), &ran), SQM_OK);
  }

  std::string folder() const { return home / kSqmFolder; }

  const TemporaryFolder home;
  Options options = optionsFor(home);
  Http http;
  Host host;
};

}  // namespace face
