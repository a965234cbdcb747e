#include "reader/records.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "core/location.h"
#include "hookwright/hkwprintf.h"
#include "platform/description.h"
#include "platform/utf8.h"

namespace {

enum class Treatment { kAsRead, kFontFormat, kTildePath };

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

// What a column becomes in a row's dictionary.
struct Column {
  std::string name;
  cf::Key key;
  Treatment treatment;
};

Column ColumnCalled(std::string_view name) {
  for (const ColumnKey& mapping : kColumnKeys) {
    if (name == mapping.column)
      return Column{std::string(name), cf::Key(mapping.key), mapping.treatment};
  }
  return Column{std::string(name), cf::Key(name), Treatment::kAsRead};
}

// The columns met so far, each with its key made once, so that the rows of a
// table share their keys rather than copy them. Rows name their columns in
// the same order each time, so a search starts after the column found last.
// Used on the thread that reads, as the values are.
class ColumnCache {
 public:
  // The column called `name`, or null when the name is not UTF-8. Good
  // until the next call.
  const Column* Find(std::string_view name) {
    for (size_t tried = 0; tried < columns_.size(); ++tried, ++next_) {
      if (next_ == columns_.size())
        next_ = 0;
      if (columns_[next_].name == name)
        return &columns_[next_++];
    }
    if (!cf::IsWellFormedUtf8(name))
      return nullptr;
    // Only a database with columns by the thousand gets here; it is read
    // correctly, just without the savings.
    if (columns_.size() == kMaxColumns)
      columns_.clear();
    columns_.push_back(ColumnCalled(name));
    next_ = columns_.size();
    return &columns_.back();
  }

 private:
  static constexpr size_t kMaxColumns = 1024;
  std::vector<Column> columns_;
  size_t next_ = 0;
};

ColumnCache& Columns() {
  // Never destroyed, like the values that share its keys.
  static ColumnCache* cache = new ColumnCache;
  return *cache;
}

// The font manager's format labels and the file types of the three font
// kinds; every font of a kind shares the one string.
struct FontFormat {
  std::string_view label;
  cf::Ref<cf::String> fileType;
};

const std::array<FontFormat, 4>& FontFormats() {
  static const std::array<FontFormat, 4>* formats = new std::array<FontFormat, 4>{{
      {"(TT)", cf::String::Create("true")},
      {"(TTF)", cf::String::Create("true")},
      {"(OTF)", cf::String::Create("OTTO")},
      {"(T1)", cf::String::Create("LWFN")},
  }};
  return *formats;
}

cf::Ref<cf::String> MappedFontFormat(cf::Ref<cf::String> label) {
  for (const auto& [known, fileType] : FontFormats()) {
    if (label->utf8() == known)
      return fileType;
  }
  hkwprintf("[QB] Unknown Font Format: %@\n", label);
  return label;
}

cf::Ref<cf::String> ExpandedPath(cf::Ref<cf::String> path) {
  if (!path->HasPrefix("~"))
    return path;
  cf::Ref<cf::String> expanded = QBFA_CopyExpandedString(path.get());
  if (!expanded || cf::Equal(expanded.get(), path.get()))
    return path;
  return expanded;
}

}  // namespace

cf::Ref<cf::Dictionary> QBFA_CopyDictFromRow(int columnCount, char** values, char** names) {
  cf::Ref<cf::Dictionary> row = cf::Dictionary::Create();
  if (!row)
    return nullptr;
  if (values == nullptr || names == nullptr)
    columnCount = 0;
  row->Reserve(static_cast<size_t>(std::max(columnCount, 0)));
  for (int column = 0; column < columnCount; ++column) {
    if (values[column] == nullptr || names[column] == nullptr)
      continue;
    cf::Ref<cf::String> value = cf::String::Create(values[column]);
    if (!value)
      continue;
    const Column* known = Columns().Find(names[column]);
    if (known == nullptr)
      continue;
    if (known->treatment == Treatment::kFontFormat)
      value = MappedFontFormat(std::move(value));
    if (known->treatment == Treatment::kTildePath)
      value = ExpandedPath(std::move(value));
    // The emptiness test comes after the mapping, so an empty format label
    // has been logged as unknown by now.
    if (!value->empty())
      row->Set(known->key, std::move(value));
  }
  if (!row->Contains(kQBFontInfoPostScriptName))
    return row;
  if (row->Contains(kQBFontInfoFilePath) && row->Contains(kQBFontInfoFontFormat))
    return row;
  hkwprintf("[QB] Cannot include %@. It is missing key information. %@\n",
            row->Get(kQBFontInfoPostScriptName), row);
  return nullptr;
}
