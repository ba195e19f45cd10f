#include "tests/support/TemporaryFolder.h"
#include "tests/tools/storage/Engine.h"

namespace {

class SqliteEngine : public Engine {
 public:
  std::unique_ptr<collector::Storage> open(collector::StorageOptions options) override {
    options.database = folder_ / "kept.db";
    return collector::openStorage(options, collector::FieldMapping());
  }

 private:
  TemporaryFolder folder_;
};

}  // namespace

std::unique_ptr<Engine> makeEngine() { return std::make_unique<SqliteEngine>(); }
