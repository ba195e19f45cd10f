#pragma once

#include <memory>
#include <string>

#include "tools/collector/storage/Storage.h"

/// A new, empty database of one of the engines, for the tests that all engines must pass. It is removed with this
/// object.
class Engine {
 public:
  Engine() = default;
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
  virtual ~Engine() = default;

  /// What --database names.
  virtual std::string address() const = 0;

  /// Opens the database, once more when it is open already.
  virtual std::unique_ptr<collector::Storage> open(collector::StorageOptions options = {}) = 0;
};

/// The engine of this program.
std::unique_ptr<Engine> makeEngine();
