// A result row as the database hands it to a row callback.
#ifndef TESTS_READER_ROW_H_
#define TESTS_READER_ROW_H_

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qbfa_test {

// Column names and values as C strings; nullopt is NULL.
class Row {
 public:
  using Column = std::pair<std::optional<std::string>, std::optional<std::string>>;

  Row(std::initializer_list<Column> columns) : Row(std::vector<Column>(columns)) {}
  explicit Row(std::vector<Column> columns) : columns_(std::move(columns)) {
    for (auto& [name, value] : columns_) {
      names_.push_back(name ? name->data() : nullptr);
      values_.push_back(value ? value->data() : nullptr);
    }
    names_.push_back(nullptr);
    values_.push_back(nullptr);
  }
  Row(const Row&) = delete;
  Row& operator=(const Row&) = delete;

  int count() const { return static_cast<int>(columns_.size()); }
  char** names() { return names_.data(); }
  char** values() { return values_.data(); }

 private:
  std::vector<Column> columns_;
  std::vector<char*> names_;
  std::vector<char*> values_;
};

}  // namespace qbfa_test

#endif  // TESTS_READER_ROW_H_
