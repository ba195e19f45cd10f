#pragma once

#include <memory>

#include "tools/collector/storage/Storage.h"

namespace collector {

/// Opens an SQLite file, or a temporary one. Throws CannotOpen.
std::unique_ptr<Storage> openSqlite(const StorageOptions& options, const FieldMapping& fields);

}  // namespace collector
