#include "reader/records.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <vector>

#include "hookwright/hkwprintf.h"
#include "platform/description.h"
#include "platform/utf8.h"
#include "reader/font_paths.h"
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

// Whether a column's text, when it is not empty, becomes a string of the
// row's run: all but font formats, which are mapped to shared strings.
bool MadeInRun(const RowColumn& column) {
  return column.treatment != Treatment::kFontFormat;
}

// Row strings are made in runs of this many columns at most.
constexpr size_t kRun = 16;

// The texts of one run. A font path with a leading tilde goes in expanded,
// its text kept here until the run is made: in one buffer that only grows,
// so a read of many such paths allocates for the first few alone.
class RunTexts {
 public:
  RunTexts() { Expansions().clear(); }

  void Add(const RowColumn& column, const char* text) {
    if (column.treatment == Treatment::kTildePath && *text == '~' && cf::IsWellFormedUtf8(text)) {
      std::string& expansions = Expansions();
      const size_t at = expansions.size();
      if (AppendExpandedFontPath(text, &expansions)) {
        expansions.push_back('\0');
        expanded_[expanded_count_++] = {size_, at};
        text = nullptr;  // Set once the buffer has stopped growing.
      }
    }
    texts_[size_++] = text;
  }

  std::span<const char* const> Texts() {
    for (size_t i = 0; i < expanded_count_; ++i)
      texts_[expanded_[i].text] = Expansions().data() + expanded_[i].offset;
    return {texts_.data(), size_};
  }

 private:
  struct Expanded {
    size_t text;
    size_t offset;
  };
  static std::string& Expansions() {
    // Never destroyed, like the row shapes; rows are converted on one thread.
    static std::string* expansions = new std::string;
    return *expansions;
  }
  std::array<const char*, kRun> texts_;
  std::array<Expanded, kRun> expanded_;
  size_t size_ = 0;
  size_t expanded_count_ = 0;
};

}  // namespace

cf::Ref<cf::Dictionary> QBFA_CopyDictFromRow(int columnCount, char** values, char** names) {
  if (values == nullptr || names == nullptr || columnCount < 0)
    columnCount = 0;
  const size_t count = static_cast<size_t>(columnCount);
  cf::Ref<cf::Dictionary> row = cf::Dictionary::Create(count);
  if (!row)
    return nullptr;
  const std::vector<RowColumn>& columns = RowShapeNamed(columnCount, names)->columns;
  // Texts become strings a run at a time, one allocation for a whole row of
  // the usual size. Empty ones would be left out anyway.
  // A column holds something the dictionary can keep: a value, and a name that is UTF-8.
  auto usable = [&](size_t column) { return values[column] != nullptr && columns[column].key; };
  auto in_run = [&](size_t column) {
    return usable(column) && *values[column] != '\0' && MadeInRun(columns[column]);
  };
  unsigned held = 0;
  for (size_t start = 0; start < count; start += kRun) {
    const size_t end = std::min(count, start + kRun);
    RunTexts texts;
    for (size_t column = start; column < end; ++column) {
      if (in_run(column))
        texts.Add(columns[column], values[column]);
    }
    std::array<cf::Ref<cf::String>, kRun> strings;
    cf::String::CreateRun(texts.Texts(), strings.data());
    size_t next = 0;
    for (size_t column = start; column < end; ++column) {
      const RowColumn& known = columns[column];
      if (!usable(column))
        continue;
      cf::Ref<cf::String> value;
      if (in_run(column)) {
        value = std::move(strings[next++]);
      } else if (!MadeInRun(known)) {
        value = MappedFontFormat(values[column]);
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
