#include <memory>
#include <type_traits>
#include <utility>

#include "sqm/sessionfiles/SQMDataCollector.h"
#include "sqm/sessionfiles/SQMUploader.h"

#include "faces/c/internal/Objects.h"

using namespace sqm::c;  // NOLINT(google-build-using-namespace): the functions are in the global namespace

struct sqm_collector {
  explicit sqm_collector(const SharedHost& owner) : host(owner), collector(owner->host) {}

  SharedHost host;
  sqm::SQMDataCollector collector;
};

struct sqm_uploader {
  SharedHost host;
  std::unique_ptr<sqm::SQMUploader> uploader;
};

namespace {

/// Calls an operation of a collector whose arguments are texts, which may be absent, and numbers.
template <typename Operation, typename... Arguments>
sqm_status call(sqm_collector* collector, Operation operation, Arguments... arguments) {
  constexpr auto kPassed = [](auto argument) {
    if constexpr (std::is_same_v<decltype(argument), const char*>) {
      return textOf(argument);
    } else {
      return argument;
    }
  };
  return attempt([&] { (on(collector).collector.*operation)(kPassed(arguments)...); });
}

}  // namespace

sqm_collector* sqm_collector_create(sqm_host* host) {
  return newHandle<sqm_collector>([&] { return std::make_unique<sqm_collector>(on(host).state); });
}

void sqm_collector_destroy(sqm_collector* collector) { destroy(collector); }

sqm_status sqm_collector_on_creation(sqm_collector* collector, const char* creation, const char* language,
                                     const char* user_name, const char* full_user_name, const char* profile_id,
                                     const char* install_id, const char* counter) {
  return call(collector, &sqm::SQMDataCollector::collectDataOnCreation, creation, language, user_name, full_user_name,
              profile_id, install_id, counter);
}

sqm_status sqm_collector_on_pre_connect(sqm_collector* collector, const char* pre_connect, const char* ssid,
                                        const char* access_procedure, const char* pop_type, const char* wifi_security,
                                        const char* phone_version, const char* phonebook_date) {
  return call(collector, &sqm::SQMDataCollector::collectDataonPreConnect, pre_connect, ssid, access_procedure, pop_type,
              wifi_security, phone_version, phonebook_date);
}

sqm_status sqm_collector_post_connect(sqm_collector* collector, const char* post_connect, const char* device_type,
                                      const char* client_mac, const char* ap_mac, const char* signal_strength,
                                      const char* client_ip, const char* server_ip) {
  return call(collector, &sqm::SQMDataCollector::collectDataPostConnect, post_connect, device_type, client_mac, ap_mac,
              signal_strength, client_ip, server_ip);
}

sqm_status sqm_collector_on_disconnect(sqm_collector* collector, uint32_t disconnect, int64_t final_signal_strength,
                                       const char* phone_version, const char* phonebook_date, int64_t received_bytes,
                                       int64_t sent_bytes) {
  return call(collector, &sqm::SQMDataCollector::collectDataOnDisconnect, disconnect, final_signal_strength,
              phone_version, phonebook_date, received_bytes, sent_bytes);
}

sqm_status sqm_collector_set_bytes(sqm_collector* collector, const char* sent, const char* received) {
  return call(collector, &sqm::SQMDataCollector::setTxandRxBytes, sent, received);
}

sqm_status sqm_collector_set_connect_start_time(sqm_collector* collector) {
  return call(collector, &sqm::SQMDataCollector::setConnectStartTime);
}

sqm_status sqm_collector_set_login_start_time(sqm_collector* collector) {
  return call(collector, &sqm::SQMDataCollector::setLoginStartTime);
}

sqm_status sqm_collector_set_login_end_time(sqm_collector* collector) {
  return call(collector, &sqm::SQMDataCollector::setLoginEndTime);
}

sqm_status sqm_collector_set_error_code(sqm_collector* collector, int64_t code) {
  return call(collector, &sqm::SQMDataCollector::setErrorCode, code);
}

sqm_status sqm_collector_set_auto_connect(sqm_collector* collector, int64_t auto_connect) {
  return call(collector, &sqm::SQMDataCollector::setAutoConnect, auto_connect);
}

sqm_status sqm_collector_set_text(sqm_collector* collector, int64_t position, const char* value) {
  return call(collector, &sqm::SQMDataCollector::setStringValueForField, position, value);
}

sqm_status sqm_collector_set_int(sqm_collector* collector, int64_t position, int64_t value) {
  return call(collector, &sqm::SQMDataCollector::setIntValueForField, position, value);
}

char* sqm_collector_value(const sqm_collector* collector, int64_t position) {
  return textFrom([&] { return on(collector).collector.valueForField(position); });
}

sqm_status sqm_collector_clear(sqm_collector* collector) { return call(collector, &sqm::SQMDataCollector::clear); }

sqm_status sqm_collector_set_record_type(sqm_collector* collector, uint64_t type) {
  return call(collector, &sqm::SQMDataCollector::setRecordType, type);
}

uint64_t sqm_collector_record_type(const sqm_collector* collector) {
  return valueOr(std::uint64_t{0}, [&] { return on(collector).collector.recordType(); });
}

char* sqm_collector_record_name(const sqm_collector* collector) {
  return textFrom([&] { return on(collector).collector.recordName(); });
}

char* sqm_collector_os_version(const sqm_collector* collector) {
  return textFrom([&] { return on(collector).collector.getOSVersion(); });
}

sqm_status sqm_collector_set_folder(sqm_collector* collector, const char* folder) {
  return call(collector, &sqm::SQMDataCollector::setSQMDirPath, folder);
}

char* sqm_collector_file_name(const sqm_collector* collector) {
  return textFrom([&] { return on(collector).collector.getSQMFileName(); });
}

sqm_status sqm_collector_save(const sqm_collector* collector) {
  return attempt([&] {
    if (!on(collector).collector.saveRec()) throw Failure(SQM_FAILED, "the file was not written");
  });
}

sqm_uploader* sqm_uploader_create(sqm_host* host) {
  return newHandle<sqm_uploader>([&] {
    const SharedHost& state = on(host).state;
    auto uploader = sqm::SQMUploader::create(state->host);
    if (!uploader) throw Failure(SQM_FAILED, "the host has no transaction or no log");
    return std::make_unique<sqm_uploader>(sqm_uploader{state, std::move(uploader)});
  });
}

void sqm_uploader_destroy(sqm_uploader* uploader) { destroy(uploader); }

sqm_status sqm_uploader_set_url(sqm_uploader* uploader, const char* url) {
  return attempt([&] { on(uploader).uploader->setSQMUploadUrl(textOf(url)); });
}

char* sqm_uploader_url(const sqm_uploader* uploader) {
  return textFrom([&] { return on(uploader).uploader->sqmUploadUrl(); });
}

sqm_status sqm_uploader_set_folder(sqm_uploader* uploader, const char* folder) {
  return attempt([&] { on(uploader).uploader->setSQMDirPath(textOf(folder)); });
}

char* sqm_uploader_folder(const sqm_uploader* uploader) {
  return textFrom([&] { return on(uploader).uploader->SQMDirPath(); });
}

sqm_status sqm_uploader_start(sqm_uploader* uploader) {
  return attempt([&] { on(uploader).uploader->startSend(); });
}

sqm_status sqm_uploader_abort(sqm_uploader* uploader) {
  return attempt([&] { on(uploader).uploader->abortSend(); });
}

int32_t sqm_uploader_status(const sqm_uploader* uploader) {
  return valueOr(std::int32_t{-1}, [&] { return std::int32_t{on(uploader).uploader->getActivityStatus()}; });
}

sqm_observer* sqm_uploader_observe(sqm_uploader* uploader, const char* name, sqm_notification_callback callback,
                                   void* context) {
  return valueOr<sqm_observer*>(nullptr, [&] {
    sqm_uploader& sender = on(uploader);
    return newObserver(sender.host, name, sender.uploader.get(), callback, context);
  });
}
