// A few values of a result row, for a row callback that needs no more than
// those: read straight from the row when that gives what the row's
// dictionary would hold, so that no dictionary is made only to be dropped.
#ifndef READER_ROW_VALUES_H_
#define READER_ROW_VALUES_H_

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "platform/values.h"
#include "reader/row_columns.h"

class RowValues {
 public:
  // The row as a row callback gets it; its values must outlive this object.
  RowValues(int columnCount, char** values, char** names);

  // False when QBFA_CopyDictFromRow drops the row.
  explicit operator bool() const { return shape_ != nullptr || dictionary_ != nullptr; }

  // The text of the string the row's dictionary holds under `key`, if any.
  // Good for as long as this object.
  std::optional<std::string_view> Text(std::string_view key) const;
  // The strings under each of `keys`, null where there is none; made in
  // one run (cf::String::CreateRun) when they are read from the row.
  template <size_t N>
  std::array<cf::Ref<cf::String>, N> Strings(const std::array<std::string_view, N>& keys) const {
    static_assert(N <= kMaxKeys);
    std::array<cf::Ref<cf::String>, N> strings;
    Strings(keys, strings.data());
    return strings;
  }

 private:
  static constexpr size_t kMaxKeys = 4;
  void Strings(std::span<const std::string_view> keys, cf::Ref<cf::String>* strings) const;
  // The text of the column the row's dictionary would take for `key`, read
  // straight from the row; null when there is none.
  const char* FindInRow(std::string_view key) const;

  char** values_ = nullptr;
  // Set when the row is read as it is: its columns are all stored as read.
  std::shared_ptr<const RowShape> shape_;
  // Set otherwise: the row converted in full.
  cf::Ref<cf::Dictionary> dictionary_;
};

#endif  // READER_ROW_VALUES_H_
