#pragma once

#include <string>
#include <string_view>

#include "sqm/common/UtilityFunctions.h"
#include "sqm/common/ValueDictionary.h"
#include "sqm/records/internal/RecordLayout.h"

namespace sqm {

/// The values that a layout writes. Missing names are written "(null)"; missing values count as absent.
struct RecordContents {
  const FieldNameTable* names;    ///< null without a field-name table
  const ValueDictionary* values;  ///< null without a value dictionary; otherwise made with `names`
  std::string_view timeStamp;     ///< the attribute's value, with its quotes
  const UtilityFunctions* utilities;
};

/// Appends the rows' text to `out`: one line, without white space between elements. Grows `out` once.
/// Failure: std::out_of_range, with `out` unchanged, when a row's entry is beyond the end of a short field-name table.
void appendRows(std::string& out, Rows rows, const RecordContents& contents);

}  // namespace sqm
