// What the records, their values and the manager share.
#pragma once

#include <memory>

#include "sqm/records/TableRecord.h"

#include "faces/objc/internal/Bridge.h"
#import "faces/objc/sqm-objc/records.h"

namespace sqm::objc {

/// A record with the host that it uses.
struct KeptRecord {
  KeptHost host;
  std::shared_ptr<TableRecord> record;
};

}  // namespace sqm::objc

/* The values of a record, which it shares with the record. */
@interface SQMRecordValues : NSMutableDictionary {
 @private
  std::shared_ptr<sqm::objc::KeptRecord>* _kept;
}

- (id)initWithKeptRecord:(const std::shared_ptr<sqm::objc::KeptRecord>&)kept;
@end

@interface SQMTableRecord (Record)

- (id)initWithRecord:(const std::shared_ptr<sqm::TableRecord>&)record ofHost:(const sqm::objc::KeptHost&)host;

/* A new record of the class, which the caller owns; null for a class that is made by itself. */
- (sqm::TableRecord*)newRecord:(sqm::Host&)host;

- (std::shared_ptr<sqm::TableRecord>)record;
@end
