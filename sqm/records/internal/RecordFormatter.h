#pragma once

#include <string>
#include <string_view>

#include "sqm/common/UtilityFunctions.h"
#include "sqm/common/ValueDictionary.h"
#include "sqm/records/internal/RecordLayout.h"

namespace sqm {

/// What a layout is filled from. Missing names are written "(null)"; missing values count as absent.
struct RecordContents {
  const FieldNameTable* names;    ///< null without a field-name table
  const ValueDictionary* values;  ///< null without a value dictionary; otherwise made with `names`
  std::string_view timeStamp;     ///< the attribute's value, with its quotes
  const UtilityFunctions* utilities;
};

/// Appends what the rows give to `out`: one line, without white space between elements. Grows `out` once.
/// Failure: std::out_of_range, with `out` as it was, when a row's entry lies beyond a short field-name table.
void appendRows(std::string& out, Rows rows, const RecordContents& contents);

}  // namespace sqm
