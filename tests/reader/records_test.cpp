#include "reader/records.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>

#include "platform/description.h"
#include "tests/core/plugin_test_support.h"
#include "tests/reader/row.h"
#include "tests/support/environment.h"

namespace {

using qbfa_test::CapturedLog;
using qbfa_test::Row;

// The dictionary's strings by key, for comparing with a table.
std::map<std::string, std::string> Contents(const cf::Dictionary* dictionary) {
  std::map<std::string, std::string> contents;
  for (const auto& entry : *dictionary)
    contents[std::string(entry.key)] = entry.value->AsString()->utf8();
  return contents;
}

cf::Ref<cf::Dictionary> Convert(Row& row) {
  return QBFA_CopyDictFromRow(row.count(), row.values(), row.names());
}

TEST(DictFromRow, RenamesKnownColumnsExactly) {
  struct {
    const char* column;
    const char* key;
  } cases[] = {
      {"font_family", "kQBFontInfoFamilyName"},
      {"font_displayName", "kQBFontInfoPostScriptName"},
      {"font_foundry", "kQBFontInfoFoundry"},
      {"set_displayName", "SetName"},
      {"font_path", "kQBFontInfoFilePath"},
      {"font_type", "kQBFontInfoFontFormat"},
      {"Font_Family", "Font_Family"},
      {"set_displayname", "set_displayname"},
      {"font_displayName ", "font_displayName "},
      {"id", "id"},
      {"font_style", "font_style"},
  };
  for (const auto& c : cases) {
    const bool type = std::string_view(c.column) == "font_type";
    // A path and a format keep a row with a display name complete.
    Row row{{"font_type", "(T1)"}, {"font_path", "/p.pfb"}, {c.column, type ? "(OTF)" : "value"}};
    cf::Ref<cf::Dictionary> dictionary = Convert(row);
    ASSERT_TRUE(dictionary) << c.column;
    std::map<std::string, std::string> expected{{"kQBFontInfoFontFormat", "LWFN"},
                                                {"kQBFontInfoFilePath", "/p.pfb"}};
    expected[c.key] = type ? "OTTO" : "value";
    EXPECT_EQ(Contents(dictionary.get()), expected) << c.column;
  }
}

TEST(DictFromRow, MapsFontFormatsAndLogsUnknownOnes) {
  struct {
    const char* label;
    std::optional<std::string> stored;  // nullopt: no format key
    const char* log;
  } cases[] = {
      {"(TT)", "true", ""},
      {"(TTF)", "true", ""},
      {"(OTF)", "OTTO", ""},
      {"(T1)", "LWFN", ""},
      {"(ttf)", "(ttf)", "[QB] Unknown Font Format: (ttf)\n"},
      {"(XYZ)", "(XYZ)", "[QB] Unknown Font Format: (XYZ)\n"},
      {" (TT)", " (TT)", "[QB] Unknown Font Format:  (TT)\n"},
      {"TTF", "TTF", "[QB] Unknown Font Format: TTF\n"},
      // Logged before the emptiness test drops it.
      {"", std::nullopt, "[QB] Unknown Font Format: \n"},
  };
  CapturedLog log;
  for (const auto& c : cases) {
    Row row{{"id", "f"}, {"font_type", c.label}};
    cf::Ref<cf::Dictionary> dictionary = Convert(row);
    ASSERT_TRUE(dictionary);
    const cf::String* format = dictionary->GetString(kQBFontInfoFontFormat);
    EXPECT_EQ(format ? std::optional(format->utf8()) : std::nullopt, c.stored) << c.label;
    EXPECT_EQ(log.Take(), c.log) << c.label;
  }
}

TEST(DictFromRow, ExpandsOnlyALeadingTildeInFontPaths) {
  qbfa_test::ScopedEnvironmentVariable home("HOME", "/home/tester");
  struct {
    const char* column;
    const char* value;
    const char* stored;
  } cases[] = {
      {"font_path", "~/Library/Fonts/A.otf", "/home/tester/Library/Fonts/A.otf"},
      {"font_path", "~", "/home/tester"},
      {"font_path", "/Library/Fonts/A.otf", "/Library/Fonts/A.otf"},
      {"font_path", "Fonts/a~b.ttf", "Fonts/a~b.ttf"},
      {"font_path", "~nosuchuser-qbfa/C.ttf", "~nosuchuser-qbfa/C.ttf"},
      {"set_comment", "~/not/a/path", "~/not/a/path"},
  };
  for (const auto& c : cases) {
    Row row{{c.column, c.value}};
    cf::Ref<cf::Dictionary> dictionary = Convert(row);
    ASSERT_TRUE(dictionary);
    ASSERT_EQ(dictionary->size(), 1u);
    EXPECT_EQ(dictionary->begin()->value->AsString()->utf8(), c.stored) << c.value;
  }
}

TEST(DictFromRow, KeepsFontsThatCanBeFoundAndLogsTheOthers) {
  struct {
    const char* name;
    std::optional<std::string> displayName, path, type;
    bool kept;
  } cases[] = {
      {"complete", "Korvel Sans", "/f.otf", "(OTF)", true},
      {"unknown format is a format", "Korvel Sans", "/f.otf", "(XYZ)", true},
      {"no path", "Korvel Sans", std::nullopt, "(OTF)", false},
      {"empty path", "Korvel Sans", "", "(OTF)", false},
      {"no format", "Korvel Sans", "/f.otf", std::nullopt, false},
      {"empty format", "Korvel Sans", "/f.otf", "", false},
      {"neither", "Korvel Sans", std::nullopt, std::nullopt, false},
      {"no display name needs nothing", std::nullopt, std::nullopt, std::nullopt, true},
      {"empty display name needs nothing", "", std::nullopt, std::nullopt, true},
  };
  for (const auto& c : cases) {
    Row row{{"id", "7"},
            {"font_displayName", c.displayName},
            {"font_path", c.path},
            {"font_type", c.type},
            {"font_family", "Korvel"}};
    CapturedLog log;
    cf::Ref<cf::Dictionary> dictionary = Convert(row);
    EXPECT_EQ(static_cast<bool>(dictionary), c.kept) << c.name;
    if (c.kept)
      continue;
    // The line shows the row as it stood when it was dropped.
    cf::Ref<cf::Dictionary> dropped = cf::Dictionary::Create();
    dropped->Set("id", cf::MakeString("7"));
    dropped->Set(kQBFontInfoPostScriptName, cf::MakeString(*c.displayName));
    if (c.path && !c.path->empty())
      dropped->Set(kQBFontInfoFilePath, cf::MakeString(*c.path));
    if (c.type && !c.type->empty())
      dropped->Set(kQBFontInfoFontFormat, cf::MakeString("OTTO"));
    dropped->Set(kQBFontInfoFamilyName, cf::MakeString("Korvel"));
    std::string unknown = c.type && c.type->empty() ? "[QB] Unknown Font Format: \n" : "";
    EXPECT_EQ(log.Take(), unknown + "[QB] Cannot include " + *c.displayName +
                              ". It is missing key information. " + cf::Describe(dropped.get()) +
                              "\n")
        << c.name;
  }
}

TEST(DictFromRow, LaterColumnWithTheSameKeyWins) {
  Row names{{"set_displayName", "__Hidden"}, {"SetName", "Visible"}, {"id", "2"}};
  EXPECT_EQ(Convert(names)->GetString(kSetNameKey)->utf8(), "Visible");
  Row reversed{{"SetName", "Visible"}, {"set_displayName", "__Hidden"}};
  EXPECT_EQ(Convert(reversed)->GetString(kSetNameKey)->utf8(), "__Hidden");
  // An empty later value sets nothing, so the earlier one stays.
  Row empty{{"set_displayName", "Kept"}, {"SetName", ""}};
  EXPECT_EQ(Convert(empty)->GetString(kSetNameKey)->utf8(), "Kept");
  Row font{{"kQBFontInfoFamilyName", "Column"}, {"font_family", "Mapped"}};
  EXPECT_EQ(Convert(font)->GetString(kQBFontInfoFamilyName)->utf8(), "Mapped");
}

TEST(DictFromRow, LeavesOutWhatItCannotRead) {
  struct {
    const char* name;
    std::optional<std::string> column, value;
  } cases[] = {
      {"NULL value", "font_foundry", std::nullopt},
      {"NULL name", std::nullopt, "x"},
      {"empty value", "font_foundry", ""},
      {"value not UTF-8", "font_family", "Caf\xe9"},
      {"overlong form", "font_path", "/Bad\xc0\xafName.otf"},
      {"name not UTF-8", "b\xe9", "x"},
  };
  for (const auto& c : cases) {
    Row row{{c.column, c.value}, {"id", "b1"}};
    cf::Ref<cf::Dictionary> dictionary = Convert(row);
    ASSERT_TRUE(dictionary) << c.name;
    EXPECT_EQ(Contents(dictionary.get()), (std::map<std::string, std::string>{{"id", "b1"}}))
        << c.name;
  }
}

TEST(DictFromRow, RowWithNothingReadableIsEmptyNotNull) {
  Row empty{{"set_displayName", ""}, {"id", std::nullopt}};
  cf::Ref<cf::Dictionary> dictionary = Convert(empty);
  ASSERT_TRUE(dictionary);
  EXPECT_TRUE(dictionary->empty());
  for (int count : {0, -1}) {
    cf::Ref<cf::Dictionary> none = QBFA_CopyDictFromRow(count, empty.values(), empty.names());
    ASSERT_TRUE(none);
    EXPECT_TRUE(none->empty());
  }
  EXPECT_TRUE(QBFA_CopyDictFromRow(3, nullptr, nullptr)->empty());
}

}  // namespace
