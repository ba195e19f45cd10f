// The library on Qt's event loop: no thread is needed for it.
// Usage: 05_qt HOME SERVER, where HOME replaces the user's home directory, and SERVER is an address such as
// http://127.0.0.1:8080. Records a connection, uploads it, and ends when the outcome is known.

#include <QCoreApplication>
#include <QSocketNotifier>
#include <cstdio>
#include <sqm.h>
#include <string>

namespace {

void onDelivery(void* context, const sqm_delivery* delivery) {
  *static_cast<int*>(context) = delivery->outcome;
  QCoreApplication::quit();
}

void record(sqm_manager* manager) {
  sqm_params* const attempt = sqm_params_create();
  sqm_params_set_text(attempt, 6, "2026-11-21T09:30:00Z");
  sqm_params_set_text(attempt, 26, "Qt");
  sqm_manager_create_start_record(manager, attempt, nullptr);
  sqm_params_destroy(attempt);
}

}  // namespace

int main(int argc, char** argv) {
  const QCoreApplication application(argc, argv);
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s HOME SERVER\n", argv[0]);
    return 2;
  }
  int outcome = SQM_DELIVERY_RETRY;
  sqm_options* const options = sqm_options_create_recommended();
  sqm_options_set_text(options, SQM_TEXT_HOME_DIRECTORY, argv[1]);
  sqm_options_on_delivery(options, onDelivery, &outcome);
  sqm_host* const host = sqm_host_create(options);
  sqm_options_destroy(options);
  if (sqm_host_make_folders(host) != SQM_OK) {
    std::fprintf(stderr, "%s\n", sqm_last_error());
    return 1;
  }
  sqm_manager* const manager = sqm_manager_create(host);
  sqm_manager_set_url(manager, SQM_RECORD_CONNECTION, (std::string(argv[2]) + "/connection").c_str());
  sqm_manager_set_device_type(manager, 1);  // Wi-Fi

  {
    QSocketNotifier wake(sqm_host_wake_fd(host), QSocketNotifier::Read);
    QObject::connect(&wake, &QSocketNotifier::activated, [host] { sqm_host_run_pending(host, nullptr); });
    record(manager);
    sqm_manager_upload(manager);
    QCoreApplication::exec();
  }

  std::puts(outcome == SQM_DELIVERY_DELIVERED ? "  delivered" : "  kept");
  sqm_manager_destroy(manager);  // saves
  sqm_host_destroy(host);
  return outcome == SQM_DELIVERY_DELIVERED ? 0 : 1;
}
