#include "reader/row_columns.h"

#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include "platform/utf8.h"
#include "reader/records.h"

namespace {

struct ColumnKey {
  std::string_view column;
  std::string_view key;
  Treatment treatment;
};

constexpr std::array<ColumnKey, 6> kColumnKeys{{
    {"font_family", kQBFontInfoFamilyName, Treatment::kAsRead},
    {"font_displayName", kQBFontInfoPostScriptName, Treatment::kAsRead},
    {"font_foundry", kQBFontInfoFoundry, Treatment::kAsRead},
    {"set_displayName", kSetNameKey, Treatment::kAsRead},
    {"font_type", kQBFontInfoFontFormat, Treatment::kFontFormat},
    {"font_path", kQBFontInfoFilePath, Treatment::kTildePath},
}};

unsigned KeyBitOf(std::string_view key) {
  if (key == kQBFontInfoPostScriptName)
    return kPostScriptNameBit;
  if (key == kQBFontInfoFilePath)
    return kFilePathBit;
  if (key == kQBFontInfoFontFormat)
    return kFontFormatBit;
  return 0;
}

RowColumn ColumnNamed(const char* name) {
  RowColumn column;
  if (name == nullptr)
    return column;
  column.name = name;
  if (!cf::IsWellFormedUtf8(name))
    return column;
  std::string_view key = name;
  for (const ColumnKey& mapping : kColumnKeys) {
    if (key == mapping.column) {
      key = mapping.key;
      column.treatment = mapping.treatment;
      break;
    }
  }
  column.key.emplace(key);
  column.key_bit = KeyBitOf(key);
  return column;
}

bool SameName(const RowColumn& column, const char* name) {
  if (name == nullptr || !column.name)
    return name == nullptr && !column.name;
  return std::strcmp(column.name->c_str(), name) == 0;
}

bool Fits(const RowShape& shape, int columnCount, char** names) {
  if (shape.columns.size() != static_cast<size_t>(columnCount))
    return false;
  for (int i = 0; i < columnCount; ++i) {
    if (!SameName(shape.columns[i], names[i]))
      return false;
  }
  return true;
}

RowShape ShapeNamed(int columnCount, char** names) {
  RowShape shape;
  shape.columns.reserve(static_cast<size_t>(columnCount));
  for (int i = 0; i < columnCount; ++i) {
    RowColumn column = ColumnNamed(names[i]);
    for (const RowColumn& earlier : shape.columns) {
      if (column.key && earlier.key && *earlier.key == *column.key)
        column.key_repeated = true;
    }
    if (column.treatment != Treatment::kAsRead || column.key_bit != 0)
      shape.as_read = false;
    shape.columns.push_back(std::move(column));
  }
  return shape;
}

// The shapes met lately. The reader scans a few tables, their rows
// interleaved (a font's row read inside the scan of `rel`), so a handful is
// all it needs; a shape past those is worked out again when it comes back.
class Shapes {
 public:
  // Good until the next call; a copy keeps the shape for as long as needed.
  const std::shared_ptr<const RowShape>& Of(int columnCount, char** names) {
    for (const auto& shape : shapes_) {
      if (Fits(*shape, columnCount, names))
        return shape;
    }
    if (shapes_.size() == kMaxShapes)
      shapes_.erase(shapes_.begin());
    shapes_.push_back(std::make_shared<const RowShape>(ShapeNamed(columnCount, names)));
    return shapes_.back();
  }

 private:
  static constexpr size_t kMaxShapes = 8;
  std::vector<std::shared_ptr<const RowShape>> shapes_;
};

}  // namespace

const std::shared_ptr<const RowShape>& RowShapeNamed(int columnCount, char** names) {
  // Never destroyed, like the values that share its keys.
  static Shapes* shapes = new Shapes;
  return shapes->Of(columnCount, names);
}
