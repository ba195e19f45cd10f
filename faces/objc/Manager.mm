#import "faces/objc/sqm-objc/manager.h"

#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

#include "sqm/manager/SQMManager.h"
#include "sqm/manager/SQMSessionParams.h"
#include "sqm/manager/UploadSequence.h"
#include "sqm/records/SQMApplicationRecord.h"

#include "faces/c/internal/Objects.h"
#include "faces/objc/internal/Records.h"
#import "faces/objc/internal/SQMManager+Handle.h"
#import "faces/objc/internal/SQMUpdaterAgent+Borrowed.h"

using sqm::objc::GivenNotification;
using sqm::objc::guarded;
using sqm::objc::initialized;
using sqm::objc::stringOf;
using sqm::objc::textOf;

struct sqm_objc_params {
  sqm::SQMSessionParams params;
};

struct sqm_objc_manager {
  sqm_objc_manager() : handle(sqm_manager_create(host.handle())) {
    if (handle == nullptr) throw std::runtime_error(sqm_last_error());
    if (manager().uploadAgent() == nullptr) return;
    const std::shared_ptr<sqm::SQMUpdaterAgent> shared(handle->manager, manager().uploadAgent());
    agent = [[SQMUpdaterAgent alloc] initWithAgent:shared ofHost:host];
  }
  sqm_objc_manager(const sqm_objc_manager&) = delete;
  sqm_objc_manager& operator=(const sqm_objc_manager&) = delete;
  ~sqm_objc_manager() {
    [agent end];
    [agent release];
    [application release];
    sqm_manager_destroy(handle);
  }

  sqm::SQMManager& manager() const { return *handle->manager; }

  sqm::objc::KeptHost host;
  sqm_manager* handle;
  SQMUpdaterAgent* agent = nil;
  std::mutex mutex;  // guards the next
  SQMApplicationRecord* application = nil;
};

namespace {

/// Calls an operation of the manager that creates a record.
BOOL create(const sqm_objc_manager& body, bool (sqm::SQMManager::*operation)(const sqm::SQMSessionParams*),
            const sqm_objc_params* params) {
  return guarded([&]() -> BOOL { return (body.manager().*operation)(params == nullptr ? nullptr : &params->params); });
}

}  // namespace

@interface SQMSessionParams (Body)
- (const sqm_objc_params*)body;
@end

@implementation SQMSessionParams

- (id)init {
  self = [super init];
  return initialized(self, _body, [] { return new sqm_objc_params; });
}

- (void)dealloc {
  delete _body;
  [super dealloc];
}

- (int64_t)setStringValue:(NSString*)value forKey:(int64_t)key {
  auto& body = *_body;
  return guarded([&] { return body.params.setStringValue(textOf(value), key); });
}

- (int64_t)setIntValue:(int64_t)value forKey:(int64_t)key {
  auto& body = *_body;
  return guarded([&] { return body.params.setIntValue(value, key); });
}

- (NSString*)valueForKey:(int64_t)key {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.params.valueForKey(key)); });
}

- (BOOL)clearRecord {
  auto& body = *_body;
  return guarded([&]() -> BOOL { return body.params.clearRecord(); });
}

- (const sqm_objc_params*)body {
  return _body;
}

@end

@implementation SQMManager

- (id)init {
  self = [super init];
  return initialized(self, _body, [] { return new sqm_objc_manager; });
}

- (void)dealloc {
  delete _body;
  [super dealloc];
}

- (struct sqm_manager*)handle {
  return _body->handle;
}

- (void)SetSQMConnectionURL:(NSString*)url {
  auto& body = *_body;
  guarded([&] { body.manager().SetSQMConnectionURL(textOf(url)); });
}

- (void)SetSQMClientURL:(NSString*)url {
  auto& body = *_body;
  guarded([&] { body.manager().SetSQMClientURL(textOf(url)); });
}

- (void)SetSQMDeviceURL:(NSString*)url {
  auto& body = *_body;
  guarded([&] { body.manager().SetSQMDeviceURL(textOf(url)); });
}

- (void)SetSQMApplicationURL:(NSString*)url {
  auto& body = *_body;
  guarded([&] { body.manager().SetSQMApplicationURL(textOf(url)); });
}

- (void)SetSQMUserAcceptanceURL:(NSString*)url {
  auto& body = *_body;
  guarded([&] { body.manager().SetSQMUserAcceptanceURL(textOf(url)); });
}

- (void)setDeviceType:(int64_t)deviceType {
  auto& body = *_body;
  guarded([&] { body.manager().setDeviceType(deviceType); });
}

- (int64_t)deviceType {
  auto& body = *_body;
  return guarded([&] { return body.manager().deviceType(); });
}

- (NSString*)mediaType:(int32_t)type {
  return guarded([&] { return stringOf(sqm::SQMManager::mediaType(type)); });
}

- (BOOL)sqmCreateStartRecord:(SQMSessionParams*)params {
  return create(*_body, &sqm::SQMManager::sqmCreateStartRecord, [params body]);
}

- (BOOL)sqmCreateStopRecord:(SQMSessionParams*)params {
  return create(*_body, &sqm::SQMManager::sqmCreateStopRecord, [params body]);
}

- (BOOL)sqmCreateDeviceRecord:(SQMSessionParams*)params {
  return create(*_body, &sqm::SQMManager::sqmCreateDeviceRecord, [params body]);
}

- (BOOL)sqmCreateClientRecord:(SQMSessionParams*)params {
  return create(*_body, &sqm::SQMManager::sqmCreateClientRecord, [params body]);
}

- (BOOL)sqmCreateUserAcceptanceRecord:(SQMSessionParams*)params {
  return create(*_body, &sqm::SQMManager::sqmCreateUserAcceptanceRecord, [params body]);
}

- (BOOL)sqmCreateApplicationStartRecord:(SQMSessionParams*)params {
  return create(*_body, &sqm::SQMManager::sqmCreateApplicationStartRecord, [params body]);
}

- (BOOL)sqmCreateApplicationStopRecord:(SQMSessionParams*)params {
  return create(*_body, &sqm::SQMManager::sqmCreateApplicationStopRecord, [params body]);
}

- (SQMApplicationRecord*)sqmAppLicationRecord {
  auto& body = *_body;
  return guarded([&]() -> SQMApplicationRecord* {
    const std::lock_guard lock(body.mutex);
    const std::shared_ptr<sqm::TableRecord> current = body.manager().sqmAppLicationRecord();
    if (!current) return nil;
    if (body.application == nil || [body.application record] != current) {
      [body.application release];
      body.application = [[SQMApplicationRecord alloc] initWithRecord:current ofHost:body.host];
    }
    return [[body.application retain] autorelease];
  });
}

- (void)setSqmAppLicationRecord:(SQMApplicationRecord*)record {
  auto& body = *_body;
  guarded([&] {
    const std::lock_guard lock(body.mutex);
    const auto given = record == nil ? nullptr : [record record];
    body.manager().setSqmAppLicationRecord(std::static_pointer_cast<sqm::SQMApplicationRecord>(given));
    [record retain];
    [body.application release];
    body.application = record;
  });
}

- (void)saveToDisk {
  auto& body = *_body;
  guarded([&] { body.manager().saveToDisk(); });
}

- (void)uploadSQM {
  auto& body = *_body;
  guarded([&] { body.manager().uploadSQM(); });
}

- (void)httpStatus:(NSNotification*)notification {
  auto& body = *_body;
  guarded([&] { body.manager().httpStatus(GivenNotification(notification)); });
}

- (SQMUpdaterAgent*)uploadAgent {
  return _body->agent;
}

- (int32_t)uploadState {
  return sqm_manager_upload_state(_body->handle);
}

@end
