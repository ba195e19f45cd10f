#include "tests/support/TemporaryFolder.h"
#include "tests/tools/storage/Engine.h"

namespace {

class SqliteEngine : public Engine {
 public:
  std::string address() const override { return folder_ / "kept.db"; }

  std::unique_ptr<collector::Storage> open(collector::StorageOptions options) override {
    options.database = address();
    return collector::openStorage(options, collector::FieldMapping());
  }

 private:
  TemporaryFolder folder_;
};

}  // namespace

std::unique_ptr<Engine> makeEngine() { return std::make_unique<SqliteEngine>(); }
