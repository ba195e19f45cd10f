#include "tests/tools/storage/Engine.h"
#include "tests/tools/storage/PostgresServer.h"

namespace {

class PostgresEngine : public Engine {
 public:
  std::string address() const override { return address_; }

  std::unique_ptr<collector::Storage> open(collector::StorageOptions options) override {
    options.database = address_;
    return collector::openStorage(options);
  }

 private:
  const std::string address_ = PostgresServer::shared().createDatabase();
};

}  // namespace

std::unique_ptr<Engine> makeEngine() { return std::make_unique<PostgresEngine>(); }
