#pragma once

#include <cstddef>
#include <cstdint>

#include "sqm/common/FieldNameTable.h"
#include "sqm/manager/SQMManager.h"

#include "tools/fleet/sim/Model.h"

namespace fleet {

/// Reports the events of the model to a manager, with the values of `examples/SQMFieldNames.plist` by their names.
///
/// Ownership: `world` and `names` are borrowed.
/// Failure: std::runtime_error for a table without one of the names.
class Recorder {
 public:
  Recorder(const World& world, const sqm::FieldNameTable& names) : world_(world), names_(names) {}

  /// Makes the records of an event. An event that is no record's, such as an upload, has none.
  void record(sqm::SQMManager& manager, std::uint32_t client, const Day& day, const Event& event) const;

 private:
  const World& world_;
  const sqm::FieldNameTable& names_;
};

}  // namespace fleet
