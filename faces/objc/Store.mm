#import "faces/objc/sqm-objc/store.h"

#include "sqm/store/SQMRecordStore.h"

#include "faces/c/sqm-c/codes.h"
#include "faces/objc/internal/Bridge.h"

using sqm::objc::guarded;
using sqm::objc::initialized;
using sqm::objc::stringOf;
using sqm::objc::textOf;

struct sqm_objc_store {
  sqm::objc::KeptHost host;
  sqm::SQMRecordStore store{host.services()};
};

namespace {

using Store = sqm::SQMRecordStore;

BOOL save(sqm_objc_store& body, bool (Store::*operation)(Store::TextView), NSString* data) {
  return guarded([&]() -> BOOL { return (body.store.*operation)(textOf(data)); });
}

BOOL result(sqm_objc_store& body, bool (Store::*operation)()) {
  return guarded([&]() -> BOOL { return (body.store.*operation)(); });
}

NSString* document(const sqm_objc_store& body, Store::Text (Store::*operation)() const) {
  return guarded([&] { return stringOf((body.store.*operation)()); });
}

}  // namespace

@implementation SQMRecordStore

- (id)init {
  self = [super init];
  return initialized(self, _body, [] { return new sqm_objc_store; });
}

- (void)dealloc {
  delete _body;
  [super dealloc];
}

- (BOOL)saveSQMRecordType:(int64_t)type withData:(NSString*)data {
  auto& body = *_body;
  return guarded([&]() -> BOOL { return body.store.saveSQMRecordType(type, textOf(data)); });
}

- (BOOL)saveSQMClientRecordToStore:(NSString*)data {
  return save(*_body, &Store::saveSQMClientRecordToStore, data);
}

- (BOOL)saveSQMConnRecordToStore:(NSString*)data {
  return save(*_body, &Store::saveSQMConnRecordToStore, data);
}

- (BOOL)saveSQMDeviceRecordToStore:(NSString*)data {
  return save(*_body, &Store::saveSQMDeviceRecordToStore, data);
}

- (BOOL)saveSQMApplicationRecordToStore:(NSString*)data {
  return save(*_body, &Store::saveSQMApplicationRecordToStore, data);
}

- (BOOL)saveSQMUserAcceptanceRecordToStore:(NSString*)data {
  return save(*_body, &Store::saveSQMUserAcceptanceRecordToStore, data);
}

- (BOOL)deleteSQMClientRecordFromStore {
  return result(*_body, &Store::deleteSQMClientRecordFromStore);
}

- (BOOL)deleteSQMConnectionRecordsFromStore {
  return result(*_body, &Store::deleteSQMConnectionRecordsFromStore);
}

- (BOOL)deleteSQMDeviceRecordFromStore {
  return result(*_body, &Store::deleteSQMDeviceRecordFromStore);
}

- (BOOL)deleteSQMApplicationRecordFromStore {
  return result(*_body, &Store::deleteSQMApplicationRecordFromStore);
}

- (BOOL)deleteSQMUserAcceptanceRecordFromStore {
  return result(*_body, &Store::deleteSQMUserAcceptanceRecordFromStore);
}

- (BOOL)SaveSQMStoreToDisk {
  return result(*_body, &Store::SaveSQMStoreToDisk);
}

- (void)LoadFromDisk {
  auto& body = *_body;
  guarded([&] { body.store.LoadFromDisk(); });
}

- (NSString*)getClientRecordXMLAsString {
  return document(*_body, &Store::getClientRecordXMLAsString);
}

- (NSString*)getConnectionRecordXMLAsString {
  return document(*_body, &Store::getConnectionRecordXMLAsString);
}

- (NSString*)getDeviceRecordXMLAsString {
  return document(*_body, &Store::getDeviceRecordXMLAsString);
}

- (NSString*)getApplicationRecordXMLAsString {
  return document(*_body, &Store::getApplicationRecordXMLAsString);
}

- (NSString*)getUserAcceptanceRecordXMLAsString {
  return document(*_body, &Store::getUserAcceptanceRecordXMLAsString);
}

- (NSString*)getSQMDirectoryPath {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.store.getSQMDirectoryPath()); });
}

- (NSUInteger)storedRecords {
  auto& body = *_body;
  return guarded([&]() -> NSUInteger { return body.store.storedRecords(); });
}

+ (NSString*)nameOfRecordType:(int32_t)type {
  return sqm::objc::tableText(sqm_record_type_name(type));
}

+ (NSString*)fileOfRecordType:(int32_t)type {
  return sqm::objc::tableText(sqm_record_type_file(type));
}

+ (NSString*)elementOfRecordType:(int32_t)type {
  return sqm::objc::tableText(sqm_record_type_element(type));
}

@end
