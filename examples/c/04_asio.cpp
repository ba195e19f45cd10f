// The library on Asio's event loop: no thread is needed for it.
// Usage: 04_asio HOME SERVER, where HOME replaces the user's home directory, and SERVER is an address such as
// http://127.0.0.1:8080. Records a connection, uploads it, and ends when the outcome is known.

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/post.hpp>
#include <cstdio>
#include <sqm.h>
#include <string>

namespace {

/// Runs what the host has to do whenever its descriptor is readable.
void watch(asio::posix::stream_descriptor& wake, sqm_host* host) {
  wake.async_wait(asio::posix::stream_descriptor::wait_read, [&wake, host](const asio::error_code& error) {
    if (!error && sqm_host_run_pending(host, nullptr) == SQM_OK) watch(wake, host);
  });
}

struct Application {
  asio::io_context loop;
  int outcome = SQM_DELIVERY_RETRY;
};

void onDelivery(void* context, const sqm_delivery* delivery) {
  auto& application = *static_cast<Application*>(context);
  application.outcome = delivery->outcome;
  application.loop.stop();
}

void record(sqm_manager* manager) {
  sqm_params* const attempt = sqm_params_create();
  sqm_params_set_text(attempt, 6, "2026-11-21T09:30:00Z");
  sqm_params_set_text(attempt, 26, "Asio");
  sqm_manager_create_start_record(manager, attempt, nullptr);
  sqm_params_destroy(attempt);
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): an error of the loop ends the program
int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s HOME SERVER\n", argv[0]);
    return 2;
  }
  Application application;
  sqm_options* const options = sqm_options_create_recommended();
  sqm_options_set_text(options, SQM_TEXT_HOME_DIRECTORY, argv[1]);
  sqm_options_on_delivery(options, onDelivery, &application);
  sqm_host* const host = sqm_host_create(options);
  sqm_options_destroy(options);
  if (sqm_host_make_folders(host) != SQM_OK) {
    std::fprintf(stderr, "%s\n", sqm_last_error());
    return 1;
  }
  sqm_manager* const manager = sqm_manager_create(host);
  sqm_manager_set_url(manager, SQM_RECORD_CONNECTION, (std::string(argv[2]) + "/connection").c_str());
  sqm_manager_set_device_type(manager, 1);  // Wi-Fi

  asio::posix::stream_descriptor wake(application.loop, sqm_host_wake_fd(host));
  watch(wake, host);
  asio::post(application.loop, [manager] {
    record(manager);
    sqm_manager_upload(manager);
  });
  application.loop.run();
  wake.release();  // the host owns its descriptor

  std::puts(application.outcome == SQM_DELIVERY_DELIVERED ? "  delivered" : "  kept");
  sqm_manager_destroy(manager);  // saves
  sqm_host_destroy(host);
  return application.outcome == SQM_DELIVERY_DELIVERED ? 0 : 1;
}
