#pragma once

#include <string>
#include <string_view>

#include "sqm/common/UtilityFunctions.h"
#include "sqm/common/ValueDictionary.h"
#include "sqm/records/internal/RecordLayout.h"

namespace sqm {

/// The values that a layout writes. Missing names are written "(null)"; missing values count as absent.
struct RecordContents {
  const FieldNameTable& names;
  const ValueDictionary& values;  ///< made with `names`
  std::string_view timeStamp;     ///< the attribute's value, with its quotes
  const UtilityFunctions& utilities;
};

/// Assigns the rows' text to `text`: one line, without white space between elements. A text of up to 8 KiB takes one
/// allocation. Failure: std::out_of_range when a row's entry is beyond the end of a short field-name table; `text` is
/// then as it was.
void formatRows(std::string& text, Rows rows, const RecordContents& contents);

}  // namespace sqm
