#include "tools/collector/storage/PostgresStorage.h"

namespace collector {

std::unique_ptr<Storage> openPostgres(const StorageOptions& /*options*/) {
  throw CannotOpen("this program was built without PostgreSQL; build it with -DSQM_BUILD_FLEET=ON");
}

}  // namespace collector
