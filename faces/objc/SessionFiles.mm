#import "faces/objc/sqm-objc/sessionfiles.h"

#include <memory>
#include <optional>

#include "sqm/sessionfiles/SQMDataCollector.h"
#include "sqm/sessionfiles/SQMStore.h"
#include "sqm/sessionfiles/SQMUploader.h"

#include "faces/objc/internal/Bridge.h"
#import "faces/objc/sqm-objc/upload.h"

using sqm::objc::GivenNotification;
using sqm::objc::guarded;
using sqm::objc::initialized;
using sqm::objc::stringOf;
using sqm::objc::textOf;

struct sqm_objc_session {
  sqm::objc::KeptHost host;
  std::unique_ptr<sqm::SQMRecord> record;
};

namespace {

using MakeRow = std::unique_ptr<sqm::SQMRecord> (*)(sqm::Host& host);

template <typename Row>
std::unique_ptr<sqm::SQMRecord> makeRow(sqm::Host& host) {
  return std::make_unique<Row>(host);
}

}  // namespace

@interface SQMRecord (Row)

/* Makes a row of the class. */
- (MakeRow)maker;
@end

@implementation SQMRecord

- (id)init {
  self = [super init];
  const MakeRow make = [self maker];
  return initialized(self, _body, [&] {
    auto body = std::make_unique<sqm_objc_session>();
    body->record = make(body->host.services());
    return body.release();
  });
}

- (void)dealloc {
  delete _body;
  [super dealloc];
}

- (MakeRow)maker {
  return makeRow<sqm::SQMRecord>;
}

- (void)clear {
  auto& body = *_body;
  guarded([&] { body.record->clear(); });
}

- (void)setIntValueForField:(int64_t)field value:(int64_t)value {
  auto& body = *_body;
  guarded([&] { body.record->setIntValueForField(field, value); });
}

- (void)setStringValueForField:(int64_t)field value:(NSString*)value {
  auto& body = *_body;
  guarded([&] { body.record->setStringValueForField(field, textOf(value)); });
}

- (NSString*)valueForField:(int64_t)field {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.record->valueForField(field)); });
}

- (void)setSQMDir:(NSString*)folder {
  auto& body = *_body;
  guarded([&] { body.record->setSQMDir(textOf(folder)); });
}

- (NSString*)getSQMFileName {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.record->getSQMFileName()); });
}

- (BOOL)saveRec {
  auto& body = *_body;
  return guarded([&]() -> BOOL { return body.record->saveRec(); });
}

- (NSString*)recordName {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.record->recordName()); });
}

- (uint64_t)recordType {
  auto& body = *_body;
  return guarded([&] { return body.record->recordType(); });
}

- (void)setRecordType:(uint64_t)type {
  auto& body = *_body;
  guarded([&] { body.record->setRecordType(type); });
}

@end

namespace {

using Collector = sqm::SQMDataCollector;

Collector& collectorOf(const sqm_objc_session& body) { return static_cast<Collector&>(*body.record); }

}  // namespace

@implementation SQMDataCollector

- (MakeRow)maker {
  return makeRow<Collector>;
}

- (void)collectDataOnCreation:(NSString*)first
                         lang:(NSString*)lang
                     username:(NSString*)username
                 fullUserName:(NSString*)fullUserName
                    profileID:(NSString*)profileID
                    installId:(NSString*)installId
                   sqmCounter:(NSString*)sqmCounter {
  auto& body = *_body;
  guarded([&] {
    collectorOf(body).collectDataOnCreation(textOf(first), textOf(lang), textOf(username), textOf(fullUserName),
                                            textOf(profileID), textOf(installId), textOf(sqmCounter));
  });
}

- (void)collectDataonPreConnect:(NSString*)first
                        forSSID:(NSString*)ssid
                accessProcedure:(NSString*)accessProcedure
                        popType:(NSString*)popType
                   wiFiSecurity:(NSString*)wiFiSecurity
                       phoneVer:(NSString*)phoneVer
                   pbUpdateDate:(NSString*)pbUpdateDate {
  auto& body = *_body;
  guarded([&] {
    collectorOf(body).collectDataonPreConnect(textOf(first), textOf(ssid), textOf(accessProcedure), textOf(popType),
                                              textOf(wiFiSecurity), textOf(phoneVer), textOf(pbUpdateDate));
  });
}

- (void)collectDataPostConnect:(NSString*)first
                    devicetype:(NSString*)devicetype
              clientMacAddress:(NSString*)clientMacAddress
                  apMacAddress:(NSString*)apMacAddress
                signalstrength:(NSString*)signalstrength
                      clientIP:(NSString*)clientIP
                      serverIP:(NSString*)serverIP {
  auto& body = *_body;
  guarded([&] {
    collectorOf(body).collectDataPostConnect(textOf(first), textOf(devicetype), textOf(clientMacAddress),
                                             textOf(apMacAddress), textOf(signalstrength), textOf(clientIP),
                                             textOf(serverIP));
  });
}

- (void)collectDataOnDisconnect:(uint32_t)first
               finalSigStrength:(int64_t)finalSigStrength
                       phoneVer:(NSString*)phoneVer
                   pbUpdateDate:(NSString*)pbUpdateDate
                        rxBytes:(int64_t)rxBytes
                        txBytes:(int64_t)txBytes {
  auto& body = *_body;
  guarded([&] {
    collectorOf(body).collectDataOnDisconnect(first, finalSigStrength, textOf(phoneVer), textOf(pbUpdateDate), rxBytes,
                                              txBytes);
  });
}

- (void)setTxandRxBytes:(NSString*)sent RxBytes:(NSString*)received {
  auto& body = *_body;
  guarded([&] { collectorOf(body).setTxandRxBytes(textOf(sent), textOf(received)); });
}

- (void)setConnectStartTime {
  auto& body = *_body;
  guarded([&] { collectorOf(body).setConnectStartTime(); });
}

- (void)setLoginStartTime {
  auto& body = *_body;
  guarded([&] { collectorOf(body).setLoginStartTime(); });
}

- (void)setLoginEndTime {
  auto& body = *_body;
  guarded([&] { collectorOf(body).setLoginEndTime(); });
}

- (void)setErrorCode:(int64_t)code {
  auto& body = *_body;
  guarded([&] { collectorOf(body).setErrorCode(code); });
}

- (void)setAutoConnect:(int64_t)autoConnect {
  auto& body = *_body;
  guarded([&] { collectorOf(body).setAutoConnect(autoConnect); });
}

- (NSString*)getOSVersion {
  auto& body = *_body;
  return guarded([&] { return stringOf(collectorOf(body).getOSVersion()); });
}

- (void)setSQMDirPath:(NSString*)folder {
  [self setSQMDir:folder];
}

- (void)saveRecord {
  auto& body = *_body;
  guarded([&] { collectorOf(body).saveRecord(); });
}

@end

struct sqm_objc_folder {
  sqm::objc::KeptHost host;
  sqm::SQMStore store{host.services()};
};

@implementation SQMStore

- (id)init {
  self = [super init];
  return initialized(self, _body, [] { return new sqm_objc_folder; });
}

- (void)dealloc {
  delete _body;
  [super dealloc];
}

- (void)setSQMDirPath:(NSString*)folder {
  auto& body = *_body;
  guarded([&] { body.store.setSQMDirPath(textOf(folder)); });
}

- (NSString*)SQMDirPath {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.store.SQMDirPath()); });
}

- (NSString*)getDataFromSQMRec {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.store.getDataFromSQMRec()); });
}

- (void)deleteSQMRecord {
  auto& body = *_body;
  guarded([&] { body.store.deleteSQMRecord(); });
}

@end

struct sqm_objc_uploader {
  sqm_objc_uploader(const sqm::objc::KeptHost& kept, std::unique_ptr<sqm::SQMUploader> made, id sender)
      : host(kept),
        uploader(std::move(made)),
        announcer(host.services(), {TrelkSQMUploadComplete, TrelkSQMUploadError}, uploader.get(), sender) {}

  sqm::objc::KeptHost host;
  std::unique_ptr<sqm::SQMUploader> uploader;
  sqm::objc::Announcer announcer;
};

@implementation SQMUploader

- (id)init {
  self = [super init];
  id const sender = self;
  return initialized(self, _body, [&] {
    const sqm::objc::KeptHost host;
    auto uploader = sqm::SQMUploader::create(host.services());
    return uploader ? new sqm_objc_uploader(host, std::move(uploader), sender) : nullptr;
  });
}

- (void)dealloc {
  delete _body;
  [super dealloc];
}

- (void)setSQMUploadUrl:(NSString*)url {
  auto& body = *_body;
  guarded([&] { body.uploader->setSQMUploadUrl(textOf(url)); });
}

- (NSString*)sqmUploadUrl {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.uploader->sqmUploadUrl()); });
}

- (void)setSQMDirPath:(NSString*)folder {
  auto& body = *_body;
  guarded([&] { body.uploader->setSQMDirPath(textOf(folder)); });
}

- (NSString*)SQMDirPath {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.uploader->SQMDirPath()); });
}

- (void)startSend {
  auto& body = *_body;
  guarded([&] { body.uploader->startSend(); });
}

- (void)abortSend {
  auto& body = *_body;
  guarded([&] { body.uploader->abortSend(); });
}

- (int16_t)getActivityStatus {
  auto& body = *_body;
  return guarded([&] { return body.uploader->getActivityStatus(); });
}

- (void)httpStatus:(NSNotification*)notification {
  auto& body = *_body;
  guarded([&] { body.uploader->httpStatus(GivenNotification(notification)); });
}

@end
