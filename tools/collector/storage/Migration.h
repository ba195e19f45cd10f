#pragma once

#include <string>

#include "tools/collector/storage/Storage.h"

namespace collector {

/// Copies the requests of the database `from`, and with them their records, to another, where they get new numbers and
/// keep their times. Prints a line for each transaction. When it is called again for the same file and target, it
/// continues behind the last transaction: nothing is copied twice. A request that cannot be read ends it.
void migrate(const std::string& from, const StorageOptions& to, const FieldMapping& fields);

}  // namespace collector
