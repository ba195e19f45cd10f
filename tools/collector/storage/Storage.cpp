#include "tools/collector/storage/Storage.h"

#include "tools/collector/storage/PostgresStorage.h"
#include "tools/collector/storage/SqliteStorage.h"

namespace collector {

std::unique_ptr<Storage> openStorage(const StorageOptions& options, const FieldMapping& fields) {
  const bool isPostgres = options.database.starts_with("postgresql://") || options.database.starts_with("postgres://");
  return isPostgres ? openPostgres(options) : openSqlite(options, fields);
}

}  // namespace collector
