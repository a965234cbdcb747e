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

// A font path that starts with a tilde, with the tilde expanded when it
// names a home folder. Null when the path is not UTF-8.
cf::Ref<cf::String> ExpandedPath(const char* text) {
  cf::Ref<cf::String> path = cf::String::Create(text);
  if (!path)
    return nullptr;
  cf::Ref<cf::String> expanded = QBFA_CopyExpandedString(path.get());
  if (!expanded || cf::Equal(expanded.get(), path.get()))
    return path;
  return expanded;
}

// Whether a column's text, when it is not empty, becomes a string of the
// row's own as it is read; a font format is mapped and a font path that
// starts with a tilde expanded instead.
bool TakenAsRead(const RowColumn& column, const char* text) {
  return column.treatment == Treatment::kAsRead ||
         (column.treatment == Treatment::kTildePath && *text != '~');
}

// The value of a column that is not taken as read.
cf::Ref<cf::String> TreatedValue(const RowColumn& column, const char* text) {
  return column.treatment == Treatment::kFontFormat ? MappedFontFormat(text) : ExpandedPath(text);
}

// Row strings are made in runs of this many columns at most.
constexpr size_t kRun = 16;

}  // namespace

cf::Ref<cf::Dictionary> QBFA_CopyDictFromRow(int columnCount, char** values, char** names) {
  if (values == nullptr || names == nullptr || columnCount < 0)
    columnCount = 0;
  const size_t count = static_cast<size_t>(columnCount);
  cf::Ref<cf::Dictionary> row = cf::Dictionary::Create(count);
  if (!row)
    return nullptr;
  const std::vector<RowColumn>& columns = RowShapeNamed(columnCount, names)->columns;
  // A column holds something the dictionary can keep: a value, and a name
  // that is UTF-8.
  auto usable = [&](size_t column) { return values[column] != nullptr && columns[column].key; };
  // Texts taken as read become strings a run at a time, one allocation for
  // a whole row of the usual size. Empty ones would be left out anyway.
  auto as_read = [&](size_t column) {
    return usable(column) && *values[column] != '\0' &&
           TakenAsRead(columns[column], values[column]);
  };
  unsigned held = 0;
  for (size_t start = 0; start < count; start += kRun) {
    const size_t end = std::min(count, start + kRun);
    std::array<const char*, kRun> texts;
    size_t made = 0;
    for (size_t column = start; column < end; ++column) {
      if (as_read(column))
        texts[made++] = values[column];
    }
    std::array<cf::Ref<cf::String>, kRun> strings;
    cf::String::CreateRun({texts.data(), made}, strings.data());
    size_t next = 0;
    for (size_t column = start; column < end; ++column) {
      const RowColumn& known = columns[column];
      if (!usable(column))
        continue;
      cf::Ref<cf::String> value;
      if (as_read(column)) {
        value = std::move(strings[next++]);
      } else if (!TakenAsRead(known, values[column])) {
        value = TreatedValue(known, values[column]);
      }
      if (!value)
        continue;
      // The emptiness test comes after the mapping, so an empty format label
      // has been logged as unknown by now. Nothing is ever taken out of a
      // row, so a key once stored stays held.
      if (value->empty())
        continue;
      if (known.key_repeated) {
        row->Set(*known.key, std::move(value));
      } else {
        row->AddNew(*known.key, std::move(value));
      }
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
