#include "reader/records.h"

#include <algorithm>
#include <array>
#include <vector>

#include "core/location.h"
#include "hookwright/hkwprintf.h"
#include "platform/description.h"
#include "reader/row_columns.h"

namespace {

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

// The file type for a known format label, with no string made for the label;
// any other label kept as it is, and logged. Null when it is not UTF-8.
cf::Ref<cf::String> MappedFontFormat(const char* label) {
  for (const auto& [known, fileType] : FontFormats()) {
    if (label == known)
      return fileType;
  }
  cf::Ref<cf::String> unknown = cf::String::Create(label);
  if (unknown)
    hkwprintf("[QB] Unknown Font Format: %@\n", unknown);
  return unknown;
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
  if (values == nullptr || names == nullptr || columnCount < 0)
    columnCount = 0;
  cf::Ref<cf::Dictionary> row = cf::Dictionary::Create(static_cast<size_t>(columnCount));
  if (!row)
    return nullptr;
  const std::vector<RowColumn>& columns = RowShapeNamed(columnCount, names)->columns;
  unsigned held = 0;
  for (int column = 0; column < columnCount; ++column) {
    const RowColumn& known = columns[static_cast<size_t>(column)];
    if (values[column] == nullptr || !known.key)
      continue;
    cf::Ref<cf::String> value = known.treatment == Treatment::kFontFormat
                                    ? MappedFontFormat(values[column])
                                    : cf::String::Create(values[column]);
    if (!value)
      continue;
    if (known.treatment == Treatment::kTildePath)
      value = ExpandedPath(std::move(value));
    // The emptiness test comes after the mapping, so an empty format label
    // has been logged as unknown by now. Nothing is ever taken out of a row,
    // so a key once stored stays held.
    if (!value->empty()) {
      row->Set(*known.key, std::move(value));
      held |= known.key_bit;
    }
  }
  if ((held & kPostScriptNameBit) == 0)
    return row;
  if ((held & (kFilePathBit | kFontFormatBit)) == (kFilePathBit | kFontFormatBit))
    return row;
  hkwprintf("[QB] Cannot include %@. It is missing key information. %@\n",
            row->Get(kQBFontInfoPostScriptName), row);
  return nullptr;
}
