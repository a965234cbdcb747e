// A few values of a result row, for a row callback that needs no more than
// those: read straight from the row when that gives what the row's
// dictionary would hold, so that no dictionary is made only to be dropped.
#ifndef READER_ROW_VALUES_H_
#define READER_ROW_VALUES_H_

#include <memory>
#include <optional>
#include <string_view>

#include "platform/values.h"
#include "reader/row_columns.h"

class RowValues {
 public:
  // The row as a row callback gets it; its values must outlive this object.
  RowValues(int columnCount, char** values, char** names);

  // False when QBFA_CopyDictFromRow drops the row.
  explicit operator bool() const { return shape_ != nullptr || dictionary_ != nullptr; }

  // The text of the string the row's dictionary holds under `key`, if any,
  // followed by a NUL. Good for as long as this object.
  std::optional<std::string_view> Text(std::string_view key) const;

 private:
  // The text of the column the row's dictionary would take for `key`, read
  // straight from the row; nothing when there is none.
  std::optional<std::string_view> FindInRow(std::string_view key) const;

  char** values_ = nullptr;
  // Set when the row is read as it is: its columns are all stored as read.
  std::shared_ptr<const RowShape> shape_;
  // Set otherwise: the row converted in full.
  cf::Ref<cf::Dictionary> dictionary_;
};

#endif  // READER_ROW_VALUES_H_
