// What each column of a result row becomes in the row's dictionary, worked
// out once per shape of row - its column names in order - rather than once
// per row.
#ifndef READER_ROW_COLUMNS_H_
#define READER_ROW_COLUMNS_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/values.h"

// What is done to a column's text before it is stored.
enum class Treatment { kAsRead, kFontFormat, kTildePath };

// The keys a font row cannot be kept without, as bits, so that a row notes
// which of them it holds while it is built instead of looking them up after.
enum KeyBit : unsigned {
  kPostScriptNameBit = 1,
  kFilePathBit = 2,
  kFontFormatBit = 4,
};

struct RowColumn {
  // Null when the column has no name.
  std::optional<std::string> name;
  // The key its value is stored under; null when the column is left out
  // (no name, or one that is not UTF-8).
  std::optional<cf::Key> key;
  Treatment treatment = Treatment::kAsRead;
  unsigned key_bit = 0;
  // An earlier column of the row has the same key, so storing this one may
  // replace what that one stored.
  bool key_repeated = false;
};

struct RowShape {
  std::vector<RowColumn> columns;
  // Every column is stored as read and none is one a font row is checked
  // for, so converting such a row logs nothing and never drops it.
  bool as_read = true;
};

// The shape of a row whose column names are `names`. The rows of one table
// share one, and with it their keys. The reference is good until the next
// call, a copy of it for as long as it is kept. Used on the thread that
// reads, as the values are.
const std::shared_ptr<const RowShape>& RowShapeNamed(int columnCount, char** names);

#endif  // READER_ROW_COLUMNS_H_
