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

/// Makes a record, which the caller owns.
using MakeRecord = TableRecord* (*)(Host& host);

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

/* Makes a record of the class; null for one that is not made by itself. */
- (sqm::objc::MakeRecord)maker;

- (std::shared_ptr<sqm::TableRecord>)record;
@end
