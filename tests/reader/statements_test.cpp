// The reader against a scripted database library: the statements it runs,
// and every failure, including those the real library never reports
// without a text.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "platform/description.h"
#include "reader/font_lookup.h"
#include "reader/records.h"
#include "reader/relationships.h"
#include "reader/set_reader.h"
#include "state.h"
#include "tests/core/plugin_test_support.h"
#include "tests/reader/fake_sqlite.h"
#include "tests/reader/row.h"
#include "watch/watcher.h"

// The connect's watcher start is replaced in every test; this only links.
OSStatus QBFA_RegisterKQueueForFile(const cf::URL*) {
  return noErr;
}

namespace {

using fake_sqlite::Answer;
using fake_sqlite::Column;
using qbfa_test::CapturedLog;

const char kSets[] = "SELECT * FROM sets;";
const char kRel[] = "SELECT * FROM rel;";

std::string FontsWithID(const std::string& id) {
  return "SELECT * FROM fonts WHERE id = '" + id + "';";
}

std::vector<Column> SetRow(const char* id, const char* name) {
  return {{"id", id}, {"set_displayName", name}};
}

std::vector<Column> RelRow(const char* parent, const char* type, const char* child) {
  return {{"parentID", parent}, {"childtype", type}, {"childid", child}};
}

std::vector<Column> FontRow(const char* id, const char* name) {
  return {{"id", id}, {"font_displayName", name}, {"font_type", "(OTF)"}, {"font_path", "/f.otf"}};
}

class Statements : public testing::Test {
 protected:
  Statements() {
    fake_sqlite::Reset();
    db = fake_sqlite::Handle();
  }
  ~Statements() override {
    db = nullptr;
    fake_sqlite::Reset();
  }
};

TEST_F(Statements, OneScanOfSetsAndRelAndOneLookupPerFontLink) {
  fake_sqlite::SetAnswer(kSets, Answer{{SetRow("1", "Root"), SetRow("2", "Child")}});
  fake_sqlite::SetAnswer(kRel, Answer{{RelRow("1", "1", "10"), RelRow("2", "1", "10"),
                                       RelRow("1", "2", "2"), RelRow("1", "1", "it's")}});
  fake_sqlite::SetAnswer(FontsWithID("10"), Answer{{FontRow("10", "Korvel Sans")}});
  cf::Ref<cf::Array> sets = QBFA_CopyFontSets();
  ASSERT_TRUE(sets);
  EXPECT_EQ(fake_sqlite::Statements(),
            (std::vector<std::string>{kSets, kRel, FontsWithID("10"), FontsWithID("10"),
                                      FontsWithID("it's")}));
  EXPECT_EQ(db, nullptr);
}

// Links come mostly grouped by parent; whatever their order, each font
// goes to the set its link names, by the id's whole text.
TEST_F(Statements, EveryLinkFindsItsOwnParentInAnyOrder) {
  fake_sqlite::SetAnswer(kSets,
                         Answer{{SetRow("1", "One"), SetRow("10", "Ten"), SetRow("2", "Two")}});
  fake_sqlite::SetAnswer(
      kRel, Answer{{RelRow("1", "1", "a"), RelRow("1", "1", "b"), RelRow("10", "1", "c"),
                    RelRow("1", "1", "d"), RelRow("01", "1", "e"), RelRow("2", "1", "b"),
                    RelRow("2", "1", "f"), RelRow("10", "1", "a")}});
  for (const char* id : {"a", "b", "c", "d", "e", "f"})
    fake_sqlite::SetAnswer(FontsWithID(id), Answer{{FontRow(id, id)}});
  cf::Ref<cf::Array> sets = QBFA_CopyFontSets();
  ASSERT_TRUE(sets);
  std::map<std::string, std::vector<std::string>> fonts;
  for (const cf::Ref<cf::Object>& set : *sets) {
    const cf::Dictionary* dictionary = set->AsDictionary();
    std::vector<std::string>& ids = fonts[std::string(dictionary->GetString("id")->utf8())];
    for (const cf::Ref<cf::Object>& font : *dictionary->GetArray(kFontsKey))
      ids.emplace_back(font->AsDictionary()->GetString("id")->utf8());
  }
  EXPECT_EQ(fonts, (std::map<std::string, std::vector<std::string>>{
                       {"1", {"a", "b", "d"}}, {"10", {"c", "a"}}, {"2", {"b", "f"}}}));
}

TEST_F(Statements, FailedSetsQueryKeepsTheRowsReadBeforeIt) {
  struct {
    std::optional<std::string> error;
    const char* line;
  } cases[] = {
      {"database is locked", "Unable to find set table error 5: database is locked\n"},
      {std::nullopt, "Unable to set table error 5\n"},
  };
  for (const auto& c : cases) {
    fake_sqlite::SetAnswer(kSets, Answer{{SetRow("1", "Root")}, SQLITE_BUSY, c.error});
    CapturedLog log;
    cf::Ref<cf::Dictionary> containers = QBFA_CopyFontSetContainers();
    ASSERT_TRUE(containers);
    EXPECT_EQ(containers->size(), 1u);
    EXPECT_EQ(log.Take(), c.line);
  }
}

TEST_F(Statements, FailedRelQueryKeepsTheLinksMadeBeforeIt) {
  struct {
    std::optional<std::string> error;
    const char* line;
  } cases[] = {
      {"database disk image is malformed",
       "Unable to find relationship table error 11: database disk image is malformed\n"},
      {std::nullopt, "Unable to find relationship table, error 11\n"},
  };
  for (const auto& c : cases) {
    fake_sqlite::SetAnswer(kSets, Answer{{SetRow("1", "Root"), SetRow("2", "Child")}});
    fake_sqlite::SetAnswer(kRel, Answer{{RelRow("1", "2", "2")}, SQLITE_CORRUPT, c.error});
    CapturedLog log;
    cf::Ref<cf::Array> sets = QBFA_CopyFontSets();
    ASSERT_TRUE(sets);
    ASSERT_EQ(sets->size(), 1u);
    EXPECT_TRUE(sets->at(0)->AsDictionary()->Contains(kChildrenKey));
    EXPECT_EQ(log.Take(), c.line);
    db = fake_sqlite::Handle();
  }
}

TEST_F(Statements, FailedFontLookupKeepsTheFontsReadBeforeIt) {
  struct {
    std::optional<std::string> error;
    const char* line;
  } cases[] = {
      {"database disk image is malformed",
       "Unable to find font with ID 12 error 11: database disk image is malformed\n"},
      {std::nullopt, "Unable to find font with ID 12 error 11\n"},
  };
  cf::Ref<cf::String> id = cf::String::Create("12");
  for (const auto& c : cases) {
    fake_sqlite::SetAnswer(FontsWithID("12"), Answer{{}, SQLITE_CORRUPT, c.error});
    CapturedLog log;
    EXPECT_FALSE(QBFA_CreateArrayForFontsWithID(id.get()));
    EXPECT_EQ(log.Take(), c.line);

    fake_sqlite::SetAnswer(FontsWithID("12"),
                           Answer{{FontRow("12", "Korvel Sans")}, SQLITE_CORRUPT, c.error});
    cf::Ref<cf::Array> fonts = QBFA_CreateArrayForFontsWithID(id.get());
    ASSERT_TRUE(fonts);
    EXPECT_EQ(fonts->size(), 1u);
    EXPECT_EQ(log.Take(), c.line);
  }
}

TEST_F(Statements, FontLookupNeedsAConnectionAndAnId) {
  EXPECT_FALSE(QBFA_CreateArrayForFontsWithID(nullptr));
  db = nullptr;
  EXPECT_FALSE(QBFA_CreateArrayForFontsWithID(cf::String::Create("1").get()));
  EXPECT_TRUE(fake_sqlite::Statements().empty()) << "a lookup never connects";
}

// The id goes into a buffer of three bytes per UTF-16 unit with no room
// kept for the terminating NUL; an id that needs every byte does not fit and
// is looked up as the empty string.
TEST_F(Statements, FontIdBufferHasNoByteToSpareForTheNul) {
  struct {
    const char* id;
    const char* looked_up;
  } cases[] = {
      {"7", "7"},   {"字a", "字a"},  // 4 bytes and the NUL in 6
      {"😀", "😀"},                    // 4 bytes and the NUL in 6: two units
      {"字体", ""},                  // 6 bytes and the NUL in 6
      {"Ω", "Ω"},                    // 2 bytes and the NUL in 3
  };
  for (const auto& c : cases) {
    fake_sqlite::Reset();
    QBFA_CreateArrayForFontsWithID(cf::String::Create(c.id).get());
    EXPECT_EQ(fake_sqlite::Statements(), std::vector<std::string>{FontsWithID(c.looked_up)})
        << c.id;
    // A link row's id, which is looked up from the row's text, alike.
    fake_sqlite::Reset();
    fake_sqlite::SetAnswer(kSets, Answer{{SetRow("1", "Root")}});
    fake_sqlite::SetAnswer(kRel, Answer{{RelRow("1", "1", c.id)}});
    QBFA_CopyFontSets();
    db = fake_sqlite::Handle();
    EXPECT_EQ(fake_sqlite::Statements(),
              (std::vector<std::string>{kSets, kRel, FontsWithID(c.looked_up)}))
        << c.id << " in a link";
  }
}

TEST_F(Statements, SeveralFontsForOneLinkAreAllKeptOnceAndLogged) {
  fake_sqlite::SetAnswer(kSets, Answer{{SetRow("1", "Root")}});
  fake_sqlite::SetAnswer(kRel, Answer{{RelRow("1", "1", "10"), RelRow("1", "1", "10")}});
  fake_sqlite::SetAnswer(
      FontsWithID("10"),
      Answer{{FontRow("10", "Regular"), FontRow("10", "Italic"), FontRow("10", "Regular")}});
  gLogStuff = true;
  CapturedLog log;
  cf::Ref<cf::Array> sets = QBFA_CopyFontSets();
  gLogStuff = false;
  ASSERT_TRUE(sets);
  const cf::Array* fonts = sets->at(0)->AsDictionary()->GetArray(kFontsKey);
  ASSERT_NE(fonts, nullptr);
  ASSERT_EQ(fonts->size(), 2u) << "an equal font is not added again";
  EXPECT_EQ(fonts->at(0)->AsDictionary()->GetString(kQBFontInfoPostScriptName)->utf8(), "Regular");
  EXPECT_EQ(fonts->at(1)->AsDictionary()->GetString(kQBFontInfoPostScriptName)->utf8(), "Italic");
  const std::string text = log.Take();
  // The line shows the rows found for that one link, as they were made.
  cf::Ref<cf::Array> found = cf::Array::Create();
  for (const char* name : {"Regular", "Italic", "Regular"}) {
    qbfa_test::Row row{
        {"id", "10"}, {"font_displayName", name}, {"font_type", "(OTF)"}, {"font_path", "/f.otf"}};
    found->Append(QBFA_CopyDictFromRow(row.count(), row.values(), row.names()));
  }
  const std::string multiple =
      "[QB] This font child id 10 has multiple (3) items. How bizarre, but not unexpected. " +
      cf::Describe(found.get()) + ".\n";
  size_t first = text.find(multiple);
  ASSERT_NE(first, std::string::npos) << text;
  EXPECT_NE(text.find(multiple, first + 1), std::string::npos) << "once per link";
}

}  // namespace
