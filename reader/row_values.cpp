#include "reader/row_values.h"

#include "platform/utf8.h"
#include "reader/records.h"

RowValues::RowValues(int columnCount, char** values, char** names) {
  if (values != nullptr && names != nullptr && columnCount > 0) {
    const std::shared_ptr<const RowShape>& shape = RowShapeNamed(columnCount, names);
    if (shape->as_read) {
      values_ = values;
      shape_ = shape;
      return;
    }
  }
  dictionary_ = QBFA_CopyDictFromRow(columnCount, values, names);
}

std::optional<std::string_view> RowValues::Text(std::string_view key) const {
  if (dictionary_) {
    const cf::String* string = dictionary_->GetString(key);
    if (string == nullptr)
      return std::nullopt;
    return string->utf8();
  }
  return FindInRow(key);
}

std::optional<std::string_view> RowValues::FindInRow(std::string_view key) const {
  if (!shape_)
    return std::nullopt;
  // The dictionary keeps the last column stored under a key, and stores
  // only what is UTF-8 and not empty.
  for (size_t column = shape_->columns.size(); column-- > 0;) {
    const std::optional<cf::Key>& columnKey = shape_->columns[column].key;
    const char* value = values_[column];
    if (!columnKey || value == nullptr || *value == '\0' || columnKey->view() != key)
      continue;
    const std::string_view text = value;
    if (cf::IsWellFormedUtf8(text))
      return text;
  }
  return std::nullopt;
}
