#include "reader/records.h"

#include <array>

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

// The font manager's format labels and the file types of the three font kinds.
constexpr std::array<std::pair<std::string_view, std::string_view>, 4> kFontFormats{{
    {"(TT)", "true"},
    {"(TTF)", "true"},
    {"(OTF)", "OTTO"},
    {"(T1)", "LWFN"},
}};

cf::Ref<cf::String> MappedFontFormat(cf::Ref<cf::String> label) {
  for (const auto& [known, fileType] : kFontFormats) {
    if (label->utf8() == known)
      return cf::String::Create(fileType);
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
  for (int column = 0; column < columnCount; ++column) {
    if (values[column] == nullptr || names[column] == nullptr)
      continue;
    cf::Ref<cf::String> value = cf::String::Create(values[column]);
    if (!value)
      continue;
    // A name is used only as a key: checking it needs no string object.
    const std::string_view name = names[column];
    if (!cf::IsWellFormedUtf8(name))
      continue;
    std::string_view key = name;
    for (const ColumnKey& mapping : kColumnKeys) {
      if (name != mapping.column)
        continue;
      key = mapping.key;
      if (mapping.treatment == Treatment::kFontFormat)
        value = MappedFontFormat(std::move(value));
      if (mapping.treatment == Treatment::kTildePath)
        value = ExpandedPath(std::move(value));
      break;
    }
    // The emptiness test comes after the mapping, so an empty format label
    // has been logged as unknown by now.
    if (!value->empty())
      row->Set(key, std::move(value));
  }
  if (!row->Contains(kQBFontInfoPostScriptName))
    return row;
  if (row->Contains(kQBFontInfoFilePath) && row->Contains(kQBFontInfoFontFormat))
    return row;
  hkwprintf("[QB] Cannot include %@. It is missing key information. %@\n",
            row->Get(kQBFontInfoPostScriptName), row);
  return nullptr;
}
