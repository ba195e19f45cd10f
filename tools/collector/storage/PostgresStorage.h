#pragma once

#include <memory>

#include "tools/collector/storage/Storage.h"

namespace collector {

/// Opens a PostgreSQL database by its URI, and creates the tables that are missing. Throws CannotOpen; in a build
/// without PostgreSQL, always.
std::unique_ptr<Storage> openPostgres(const StorageOptions& options);

}  // namespace collector
