#include <memory>
#include <optional>

#include "sqm/manager/SQMManager.h"
#include "sqm/manager/SQMSessionParams.h"
#include "sqm/manager/UploadSequence.h"
#include "sqm/records/SQMApplicationRecord.h"

#include "faces/c/internal/Objects.h"

using namespace sqm::c;  // NOLINT(google-build-using-namespace): the functions are in the global namespace

struct sqm_params {
  sqm::SQMSessionParams params;
};

namespace {

void requireStored(std::int64_t status) { require(status == sqm::kRecordOk, "the key is outside 1 to 91"); }

using Creating = bool (sqm::SQMManager::*)(const sqm::SQMSessionParams*);

sqm_status create(sqm_manager* manager, Creating call, const sqm_params* params, bool* result) {
  return attempt([&] {
    sqm::SQMManager& target = *on(manager).manager;
    const bool value = (target.*call)(params == nullptr ? nullptr : &on(params).params);
    if (result != nullptr) *result = value;
  });
}

}  // namespace

sqm_params* sqm_params_create(void) {
  return newHandle<sqm_params>([] { return std::make_unique<sqm_params>(); });
}

void sqm_params_destroy(sqm_params* params) { destroy(params); }

sqm_status sqm_params_set_text(sqm_params* params, int64_t key, const char* value) {
  return attempt([&] { requireStored(on(params).params.setStringValue(textOf(value), key)); });
}

sqm_status sqm_params_set_int(sqm_params* params, int64_t key, int64_t value) {
  return attempt([&] { requireStored(on(params).params.setIntValue(value, key)); });
}

char* sqm_params_value(const sqm_params* params, int64_t key) {
  return textFrom([&] { return on(params).params.valueForKey(key); });
}

sqm_status sqm_params_clear(sqm_params* params) {
  return attempt([&] { on(params).params.clearRecord(); });
}

sqm_manager* sqm_manager_create(sqm_host* host) {
  return newHandle<sqm_manager>([&] {
    const SharedHost& state = on(host).state;
    return std::make_unique<sqm_manager>(sqm_manager{state, std::make_shared<sqm::SQMManager>(state->host)});
  });
}

void sqm_manager_destroy(sqm_manager* manager) { destroy(manager); }

sqm_status sqm_manager_set_url(sqm_manager* manager, int32_t record_type, const char* url) {
  return attempt([&] {
    const auto type = static_cast<sqm::RecordType>(record_type);
    require(sqm::isRecordType(type), "there is no such kind of record");
    on(manager).manager->setURL(type, ownedTextOf(url));
  });
}

sqm_status sqm_manager_set_device_type(sqm_manager* manager, int64_t device_type) {
  return attempt([&] { on(manager).manager->setDeviceType(device_type); });
}

int64_t sqm_manager_device_type(const sqm_manager* manager) {
  return valueOr(std::int64_t{0}, [&] { return on(manager).manager->deviceType(); });
}

char* sqm_media_type_name(int32_t device_type) {
  return textFrom([&] { return sqm::SQMManager::mediaType(device_type); });
}

sqm_status sqm_manager_create_start_record(sqm_manager* manager, const sqm_params* params, bool* result) {
  return create(manager, &sqm::SQMManager::sqmCreateStartRecord, params, result);
}

sqm_status sqm_manager_create_stop_record(sqm_manager* manager, const sqm_params* params, bool* result) {
  return create(manager, &sqm::SQMManager::sqmCreateStopRecord, params, result);
}

sqm_status sqm_manager_create_device_record(sqm_manager* manager, const sqm_params* params, bool* result) {
  return create(manager, &sqm::SQMManager::sqmCreateDeviceRecord, params, result);
}

sqm_status sqm_manager_create_client_record(sqm_manager* manager, const sqm_params* params, bool* result) {
  return create(manager, &sqm::SQMManager::sqmCreateClientRecord, params, result);
}

sqm_status sqm_manager_create_user_acceptance_record(sqm_manager* manager, const sqm_params* params, bool* result) {
  return create(manager, &sqm::SQMManager::sqmCreateUserAcceptanceRecord, params, result);
}

sqm_status sqm_manager_create_application_start_record(sqm_manager* manager, const sqm_params* params, bool* result) {
  return create(manager, &sqm::SQMManager::sqmCreateApplicationStartRecord, params, result);
}

sqm_status sqm_manager_create_application_stop_record(sqm_manager* manager, const sqm_params* params, bool* result) {
  return create(manager, &sqm::SQMManager::sqmCreateApplicationStopRecord, params, result);
}

sqm_status sqm_manager_save(sqm_manager* manager) {
  return attempt([&] { on(manager).manager->saveToDisk(); });
}

sqm_status sqm_manager_upload(sqm_manager* manager) {
  return attempt([&] { on(manager).manager->uploadSQM(); });
}

int32_t sqm_manager_upload_state(const sqm_manager* manager) {
  return valueOr(std::int32_t{-1}, [&] {
    const auto type = sqm::typeInFlight(on(manager).manager->uploadState());
    return type ? static_cast<std::int32_t>(*type) : -1;
  });
}
